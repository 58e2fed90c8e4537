#pragma once

#include <array>
#include <cstdint>

namespace quel {

/// What the background sounds like.
struct Background {
  /// Spectral frequencies as the coder counts them: 10 narrowband, 16 wideband.
  std::array<float, 16> frequencies{};
  float level = 0.0f;       ///< mean square of the samples, dB, 16-bit scale
  float correction = 0.0f;  ///< mean correction of the predicted code gain, dB
};

/// Memory of a decoder for frames that were not sent: what the background was in the frames that
/// were, and what is played of it. One per stream; a reset makes it anew.
struct ComfortNoise {
  Background heard;         ///< average over the frames received last
  Background played;        ///< the frame played last, on its way to `heard`
  std::int32_t frames = 0;  ///< that `heard` is made of; counts no further than it matters
  std::int32_t in_row = 0;  ///< received since the last one that was not sent, or since the start
  std::int32_t begun = 0;   ///< 1 once noise was played; before, there is no way to go
  std::uint32_t random = 1;
};

/// Takes note of a frame that was received and decoded. A frame 6 dB quieter than the average
/// begins a new one, so that of the speech before a pause nothing is left in it.
///
/// pcm          [0..n-1] the frame as it is heard
/// frequencies  [0..order-1]
/// correction   dB
void hear_frame(ComfortNoise& state, const std::int16_t* pcm, int n, const float* frequencies,
                int order, float correction);

/// What to play next, a step further towards what was heard last. Only where `frames` is above 0.
const Background& next_background(ComfortNoise& state);

/// Noise that a synthesis filter turns into noise of this level.
///
/// response  [0..n-1] of the filter to an impulse, so far as it matters
/// level     of what the filter shall give, dB
/// x         [0..length-1] output: white, evenly distributed
void noise_for_level(std::uint32_t& random, const float* response, int n, float level, float* x,
                     int length);

}  // namespace quel
