#pragma once

#include <array>
#include <cstdint>

namespace quel {

/// Mean ISF vector, removed before prediction: [0..8] Hz, [9] the last ISP times 650. Rising over
/// [0..8]; the last entry is no frequency.
inline constexpr std::array<float, 10> mean_isf = {
    378.342377f, 575.895447f, 974.590332f, 1444.87488f, 1809.43079f,
    2258.49902f, 2609.08813f, 3025.10718f, 3291.44971f, 96.4561005f};

/// Rows of the five codebooks, each of which codes two entries of the prediction residual. Powers
/// of two, so that a word masked to its field always names a row.
inline constexpr std::int32_t taille_dic1 = 64;
inline constexpr std::int32_t taille_dic2 = 128;
inline constexpr std::int32_t taille_dic3 = 128;
inline constexpr std::int32_t taille_dic4 = 128;
inline constexpr std::int32_t taille_dic5 = 32;

/// Moving-average prediction: this part of the previous residual is expected again.
inline constexpr float isf_prediction = 0.33f;

/// The last ISP is a coefficient, not a cosine; its ISF is the coefficient times this.
inline constexpr float last_isf_scale = 650.0f;

/// Spacing that `reorder_isf` gives quantised ISFs, Hz.
inline constexpr float isf_min_dist = 50.0f;

/// ISFs to ISPs: isp[i] = cos(isf[i] * pi / 4000) for i = 0..8, isp[9] = isf[9] / 650.
///
/// isf  [0..9] Hz, last entry on the scale of 650
/// isp  [0..9] output; may be isf
void isf_to_isp(const float* isf, float* isp);

}  // namespace quel
