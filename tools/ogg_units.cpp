#include "tools/ogg_units.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace quel::tools {
namespace {

constexpr std::size_t map_bytes(std::uint64_t units) {
  return static_cast<std::size_t>(1 + (units + 7) / 8);
}
static_assert(map_bytes(most_mapped_units) < 19, "shorter than any unit");

bool was_sent(std::span<const std::uint8_t> packet, std::uint64_t unit) {
  return (packet[static_cast<std::size_t>(1 + unit / 8)] >> (unit % 8) & 1) != 0;
}

std::uint64_t sent_before(std::span<const std::uint8_t> packet, std::uint64_t end) {
  std::uint64_t count = 0;
  for (std::uint64_t unit = 0; unit < end; ++unit) count += was_sent(packet, unit) ? 1 : 0;
  return count;
}

}  // namespace

std::vector<std::uint8_t> pack_units(const std::vector<bool>& sent,
                                     std::span<const std::uint8_t> units) {
  std::vector<std::uint8_t> packet;
  if (std::find(sent.begin(), sent.end(), false) != sent.end()) {
    if (sent.size() > most_mapped_units || units.empty()) {
      throw std::invalid_argument("too many units in a row that were not sent");
    }
    packet.resize(map_bytes(sent.size()));
    packet[0] = static_cast<std::uint8_t>(sent.size());
    for (std::size_t unit = 0; unit < sent.size(); ++unit) {
      if (sent[unit]) packet[1 + unit / 8] |= static_cast<std::uint8_t>(1u << (unit % 8));
    }
  }
  packet.insert(packet.end(), units.begin(), units.end());
  return packet;
}

std::optional<std::uint64_t> count_units(std::span<const std::uint8_t> packet,
                                         std::uint64_t unit_bytes, bool mapped) {
  if (packet.empty()) return {};
  if (packet.size() % unit_bytes == 0) return packet.size() / unit_bytes;
  if (!mapped) return {};
  const std::uint64_t units = packet[0];
  const std::size_t map = map_bytes(units);
  if (units == 0 || units > most_mapped_units || packet.size() < map) return {};
  const std::uint64_t sent = sent_before(packet, units);
  // Bits behind the last unit are 0, and where all were sent there is no map.
  const bool rest = units % 8 != 0 && packet[map - 1] >> (units % 8) != 0;
  if (rest || sent == 0 || sent == units || packet.size() != map + sent * unit_bytes) return {};
  return units;
}

UnitRun run_at(std::span<const std::uint8_t> packet, std::uint64_t unit_bytes,
               std::uint64_t first) {
  if (packet.size() % unit_bytes == 0) {
    return {packet.size() / unit_bytes - first, true,
            packet.subspan(static_cast<std::size_t>(first * unit_bytes))};
  }
  const std::uint64_t units = packet[0];
  if (first >= units) return {};
  UnitRun run;
  run.sent = was_sent(packet, first);
  while (first + run.units < units && was_sent(packet, first + run.units) == run.sent) ++run.units;
  if (run.sent) {
    const std::uint64_t from = map_bytes(units) + sent_before(packet, first) * unit_bytes;
    run.bytes = packet.subspan(static_cast<std::size_t>(from),
                               static_cast<std::size_t>(run.units * unit_bytes));
  }
  return run;
}

}  // namespace quel::tools
