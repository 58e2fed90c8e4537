#pragma once

namespace quel::narrowband {

/// Interpolation filters at a third of a sample, for correlations (4 taps a side) and for the
/// excitation (10 taps a side). Even entries: the phase of whole samples, symmetric about its
/// largest; odd entries: the phase one third after a sample, and, read backwards, one third before.
/// The whole-sample phase is a low-pass too, not the identity.
inline constexpr float inter3_1[16] = {
    0.0157379992f, 0.0f,          -0.0476239994f, 0.0162850004f,  0.084077999f,   -0.105570003f,
    0.900838971f,  0.760083973f,  0.084077999f,   0.424082011f,   -0.0476239994f, -0.121119998f,
    0.0157379992f, 0.0312169995f, 0.0f,           -0.00592500018f};
inline constexpr float inter3_2[40] = {0.00104999996f,
                                       0.00277999998f,
                                       -0.00365799991f,
                                       -0.00502699986f,
                                       0.00939999986f,
                                       0.00902900007f,
                                       -0.0193399992f,
                                       -0.0137550002f,
                                       0.0335430019f,
                                       0.0167740006f,
                                       -0.0508349985f,
                                       -0.0141690001f,
                                       0.0689359978f,
                                       -0.0f,
                                       -0.0849189982f,
                                       0.0369520001f,
                                       0.0959149972f,
                                       -0.134333f,
                                       0.898517013f,
                                       0.769271016f,
                                       0.0959149972f,
                                       0.448635012f,
                                       -0.0849189982f,
                                       -0.178527996f,
                                       0.0689359978f,
                                       0.0955329984f,
                                       -0.0508349985f,
                                       -0.050404001f,
                                       0.0335430019f,
                                       0.0230829995f,
                                       -0.0193399992f,
                                       -0.00746600004f,
                                       0.00939999986f,
                                       0.0f,
                                       -0.00365799991f,
                                       0.00238099997f,
                                       0.00104999996f,
                                       -0.00240499992f,
                                       0.0f,
                                       0.00214500003f};

/// Normalised correlation of the target with the filtered past excitation, for each lag k:
/// corr[k] = <xn, e_k * h> / sqrt(0.01 + |e_k * h|^2), e_k the excitation delayed by k.
///
/// exc    [-t_max..47] excitation, [0] the subframe's start; below 0 the past. Lags under 48 read
///        past the start, where the encoder has put the LP residual
/// xn     [0..47] target
/// h      [0..47] impulse response with h[0] = 1
/// t_min  > 0
/// t_max  >= t_min
/// corr   [t_min..t_max] output, indexed by lag: corr[0] need not exist
void norm_corr(const float* exc, const float* xn, const float* h, int t_min, int t_max,
               float* corr);

namespace plain {
/// The definition of `norm_corr`.
void norm_corr(const float* exc, const float* xn, const float* h, int t_min, int t_max,
               float* corr);
}  // namespace plain

}  // namespace quel::narrowband

namespace quel {

/// Closed-loop lag, whole samples first, then thirds within two thirds of the best.
///
/// exc      [-(t0_max+4)..47] as in narrowband::norm_corr
/// xn       [0..47] target
/// h        [0..47] impulse response with h[0] = 1
/// t0_min   > 4
/// t0_max   >= t0_min
/// i_subfr  0 in subframes whose lag is coded absolutely: 85 and above stay whole samples there
/// frac     output, -1..1 thirds of a sample
///
/// Returns the integer lag, t0_min - 1 (frac 1) .. t0_max + 1 (frac -1).
int pitch_fr(const float* exc, const float* xn, const float* h, int t0_min, int t0_max, int i_subfr,
             int* frac);

/// The unquantised pitch gain within its limits, 0..1.2, or 0..0.95 where the frame's frequencies
/// are crowded.
float limited_pitch_gain(double gain, bool crowded);

/// y[j] = x interpolated at j + frac/3.
///
/// x       [-L_half+1..n-1+L_half] for frac >= 0, [-L_half..n-2+L_half] below
/// y       [0..n-1] output, in increasing order; may be a later part of x's array, and then feeds
///         on itself
/// tab     [0..4*L_half-1] filter, laid out as inter3_1
/// L_half  taps a side
/// frac    only the sign counts: a lag stepped through in concealment can leave other values
/// n       outputs
void interpol(const float* x, float* y, const float* tab, int L_half, int frac, int n);

/// Adaptive-codebook vector: the excitation at delay T0 + frac/3, repeating itself where the delay
/// is shorter than the vector.
///
/// exc   [-154..L-1] excitation; [0..L-1] written
/// T0    19..144; beyond 11..144 the nearest of these is taken, which keeps every read within the
///       past 154 samples and off samples not yet written
/// frac  -1..1 thirds of a sample; of other values the sign counts
/// L     samples, > 0
void pred_lt(float* exc, int T0, int frac, int L);

}  // namespace quel
