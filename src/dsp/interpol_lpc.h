#pragma once

namespace quel {

/// ISP vector before the first frame: nearly equidistant frequencies.
inline constexpr float isf_ini[10] = {0.9595f,  0.8413f,  0.6549f,  0.4154f,  0.1423f,
                                      -0.1423f, -0.4154f, -0.6549f, -0.8413f, -0.9595f};

/// One order-10 LP filter per subframe, from ISPs interpolated linearly with the weights
/// (k + 0.5)/n of the new vector: each belongs to its subframe's centre.
///
/// isp_new, isp_old  [0..9] this frame's and the previous frame's ISPs
/// A                 [0..11*nb_subfr-1] output, one block of 11 per subframe
/// nb_subfr          subframes, >= 0
void interpol_lpc(const float* isp_new, const float* isp_old, float* A, int nb_subfr);

namespace plain {
/// The definition of `interpol_lpc`.
void interpol_lpc(const float* isp_new, const float* isp_old, float* A, int nb_subfr);
}  // namespace plain

}  // namespace quel
