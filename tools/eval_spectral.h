#pragma once

#include <optional>
#include <span>

namespace quel::tools {

/// Log-spectral distortion in dB: how far the short-time spectrum of `test` is from that of `ref`,
/// whatever the phases do.
///
/// Frames of 20 ms, 10 ms apart, Hann windows, transform of the next power of two. Of each frame,
/// the root over the mean of the squared differences of both power spectra in dB, 0 Hz and the
/// Nyquist frequency included; of these, the mean over the active frames. Active is a frame whose
/// reference has a mean square above -50 dBov (full-scale square wave = 0 dBov). Powers below the
/// mean spectrum of 16-bit rounding noise (variance 1/12) count as that much: what lies below is no
/// property of the sound.
///
/// ref, test  of one length, in units of 16-bit PCM
/// rate       Hz, >= 100
///
/// Nothing where no frame is active.
std::optional<double> log_spectral_distortion(std::span<const float> ref,
                                              std::span<const float> test, int rate);

}  // namespace quel::tools
