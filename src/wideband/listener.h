#pragma once

#include <array>

#include "wideband/start_values.h"

namespace quel::wideband {

/// What a stronger encoder knows of the listener: a predictor B(z) of the sound itself, not of the
/// pre-filtered one, whose W(z) = B(z/0.95) / B(z/0.4) counts errors the less the more sound there
/// is to mask them. The designed weighting judges errors of the pre-filtered speech, which nobody
/// hears.
struct Listener {
  std::array<float, 17> last_r{1.0f};  ///< last frame's correlations
  std::array<float, 2 * 17> zeros{};   ///< B(z/0.95) of both subframes
  std::array<float, 2 * 17> poles{};   ///< B(z/0.4) of both subframes
};

/// Takes a frame's sound in.
///
/// x           [-1..479] the encoder's analysis span and the sample before it
/// lag_window  [0..16]
void follow_sound(Listener& listener, const float* x, const float* lag_window);

/// The way of an excitation error to the listener during a subframe: 1/A(z), the decoder's inverse
/// pre-filter, W(z). Where the decoder fades from one pre-filter to the next, the new one stands
/// for both.
struct ErrorPath {
  const float* synthesis;  ///< [0..16] quantised A(z)
  const float* prefilter;  ///< [0..16]
  const float* zeros;      ///< [0..16] of W(z)
  const float* poles;      ///< [0..16] of W(z)
};

/// What the filters of that way remember: their last outputs, oldest first. The zeros of W(z) get
/// what the pre-filter gives.
struct ErrorMemory {
  std::array<float, 16> synthesis{}, prefilter{}, weighted{};
};

/// What comes out behind each filter in 80 samples.
struct Heard {
  std::array<float, 80> synthesis, prefilter, weighted;
};

/// x [0..79] on its way, from what `memory` holds, which stays as it is.
void hear(const ErrorPath& path, const ErrorMemory& memory, const float* x, Heard& heard);

/// The same, and the way's impulse response beside it, in little more than the time of one.
void hear_with_impulse(const ErrorPath& path, const ErrorMemory& memory, const float* x,
                       Heard& heard, Heard& impulse);

/// The memory behind a subframe whose residual was heard as `target`, and which was coded as `exc`
/// [0..79]; error [0..79] is what is heard of the difference.
ErrorMemory heard_error(const Heard& target, const Heard& impulse, const float* exc,
                        const float* error);

}  // namespace quel::wideband
