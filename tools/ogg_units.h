#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace quel::tools {

/// Units that a packet with a map stands for, at most, sent or not. Its map then has fewer bytes
/// than any unit, so that the packet's length tells that there is one; and a file cannot claim any
/// length of sound that it has next to nothing of.
inline constexpr std::uint64_t most_mapped_units = 64;

/// Units of a data packet in a row of which all were sent, or none.
struct UnitRun {
  std::uint64_t units = 0;  ///< 0 past the packet's end
  bool sent = true;
  std::span<const std::uint8_t> bytes;  ///< of these units; none where they were not sent
};

/// The packet of these units.
///
/// sent   for each unit
/// units  those that were sent, back to back; at least one
///
/// Throws std::invalid_argument where no packet holds so many.
std::vector<std::uint8_t> pack_units(const std::vector<bool>& sent,
                                     std::span<const std::uint8_t> units);

/// How many units a packet stands for; nothing where it is no packet of units.
///
/// mapped  whether the stream may have packets with a map
std::optional<std::uint64_t> count_units(std::span<const std::uint8_t> packet,
                                         std::uint64_t unit_bytes, bool mapped);

/// The run that starts at unit `first` of a packet that count_units took.
UnitRun run_at(std::span<const std::uint8_t> packet, std::uint64_t unit_bytes, std::uint64_t first);

}  // namespace quel::tools
