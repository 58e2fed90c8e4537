#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace quel::bench {

/// Speech with pauses, without and with noise over it.
struct Scene {
  std::vector<float> clean;   ///< 16-bit scale; exact zeros in the pauses that were put in
  std::vector<bool> pause;    ///< per sample: one of these pauses
  std::vector<bool> speech;   ///< per sample: a block of 10 ms within 15.9 dB of the active level
  double active_level = 0.0;  ///< mean square of the blocks of speech
};

/// Puts pauses of 1 to 3 s into speech, every 3 to 6 s, where it is quietest.
Scene with_pauses(std::span<const std::int16_t> speech, int rate, std::uint64_t seed);

/// Noise of mean square 1: "white"; "pink", 3 dB down per octave; "babble", eight voices of the
/// speech at once, each from another place.
std::vector<float> make_noise(const std::string& kind, std::size_t samples,
                              std::span<const std::int16_t> speech, std::uint64_t seed);

/// The scene with noise so many dB under the active level.
std::vector<std::int16_t> mixed(const Scene& scene, std::span<const float> noise, double snr);

}  // namespace quel::bench
