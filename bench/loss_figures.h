#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace quel::bench {

/// How the sound that was decoded with losses stands beside the one without, in blocks of 10 ms of
/// which the latter is above -50 dBov (full-scale square wave = 0 dBov).
struct LossFigures {
  std::size_t blocks = 0;        ///< compared
  std::size_t above_6 = 0;       ///< more than 6 dB above the clean block
  std::size_t above_12 = 0;      ///< more than 12 dB above
  std::size_t loud = 0;          ///< more than 6 dB above, and above -30 dBov
  std::size_t below_12 = 0;      ///< more than 12 dB below
  double highest = 0.0;          ///< dB, of the block that is furthest above
  std::vector<double> recovery;  ///< s, one per loss: until the two meet
};

/// lost  one entry a frame, in the order in which they are heard
/// frame samples of a frame
///
/// A loss has recovered where from there to the next loss no 10 ms differ from the clean sound by
/// more than a tenth of its level, or by -60 dBov, whichever is more.
LossFigures loss_figures(std::span<const std::int16_t> clean, std::span<const std::int16_t> heard,
                         const std::vector<bool>& lost, std::size_t frame, int rate);

}  // namespace quel::bench
