#pragma once

namespace quel {

// Second-order high-pass filters at 8 kHz. The feedback tables hold the signs with which the terms
// are added; a[0] is not used.
inline constexpr float b_200[3] = {0.908681333f, -1.81725323f, 0.908681333f};  // encoder input
inline constexpr float a_200[3] = {1.0f, 1.86490726f, -0.87584132f};
inline constexpr float b_100[3] = {0.939805806f, -1.87958336f, 0.939805806f};  // decoder output
inline constexpr float a_100[3] = {1.0f, 1.93307352f, -0.935891986f};

/// Second-order IIR filter in place:
/// y[n] = b[0] x[n] + b[1] x[n-1] + b[2] x[n-2] + a[1] y[n-1] + a[2] y[n-2].
///
/// sig   [0..lg-1] input, overwritten by the output
/// lg    samples, >= 1
/// a, b  [0..2] coefficients
/// memx  [0..1] x[n-1], x[n-2]; moves on
/// memy  [0..1] y[n-1], y[n-2]; moves on
void hp_2nd(float* sig, int lg, const float* a, const float* b, float* memx, float* memy);

}  // namespace quel
