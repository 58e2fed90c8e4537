#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace quel::tools {

/// Watches sound, full scale 1, for samples that 16 bits cannot hold.
class LevelMeter {
 public:
  void add(std::span<const float> x);

  /// What to tell of samples beyond full scale; nothing where there are none.
  ///
  /// gain_db  that they have had, of which the note says how much would have fitted
  std::optional<std::string> note(double gain_db) const;

 private:
  std::uint64_t samples_ = 0;
  std::uint64_t clipped_ = 0;
  float peak_ = 1.0f;
};

/// Watches how channels add up.
class ChannelMeter {
 public:
  /// joint     a frame's samples
  /// mean      of these
  void add(std::span<const float> joint, float mean);

  /// What to tell where the mean is far quieter than channels that have nothing in common would
  /// make it; nothing where all is well.
  std::optional<std::string> note() const;

 private:
  std::uint64_t frames_ = 0;
  std::size_t channels_ = 0;
  double apart_ = 0.0;  // mean energies of the channels
  double mean_ = 0.0;   // energies of their mean
};

}  // namespace quel::tools
