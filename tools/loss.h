#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quel::tools {

/// Draws which frames are lost, the same for a seed everywhere.
class LossPattern {
 public:
  /// Nothing is lost.
  LossPattern() = default;

  /// Each frame by itself.
  ///
  /// percent  0..100, the probability that a frame is lost
  LossPattern(double percent, std::uint64_t seed) : share_(percent / 100.0), state_(seed) {}

  /// Runs of lost frames, as E. N. Gilbert's channel of two states gives them (1960).
  ///
  /// percent  0..100, of the frames in the long run
  /// run      mean length of a run, frames; at least shortest_run(percent)
  static LossPattern bursts(double percent, double run, std::uint64_t seed);

  /// As written down, over and over again.
  ///
  /// lost  one entry a frame, at least one
  static LossPattern listed(std::vector<bool> lost);

  /// Whether the next frame is lost.
  bool lost();

 private:
  double uniform();

  double share_ = 0.0;
  double run_ = 0.0;  // 0: each frame by itself
  std::uint64_t state_ = 0;
  bool started_ = false, in_run_ = false;
  std::vector<bool> listed_;
  std::size_t next_ = 0;
};

/// The shortest mean run that loses so many percent: with less, a received frame would have to be
/// lost with a probability above 1.
double shortest_run(double percent);

/// Reads a file of '1' (lost) and '0' (received), one per frame; white space is skipped, and so is
/// the rest of a line after '#'. Throws FileError.
std::vector<bool> read_losses(const std::string& path);

}  // namespace quel::tools
