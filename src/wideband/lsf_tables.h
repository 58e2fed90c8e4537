#pragma once

#include <cstddef>
#include <iterator>

// What quantiser and dequantiser of the line spectral frequencies agree on. The tables have
// internal linkage: each of the two units holds its own copy, from this one source.
namespace quel {

inline constexpr std::size_t lsf_order = 16;

/// Smallest distance of neighbouring frequencies, and of the first one from 0, Hz.
inline constexpr float lsf_min_dist = 50.0f;

/// Cosine to Hz, 8000/pi; Hz to cosine, pi/8000. Applied in double.
inline constexpr double lsp_to_hz = 2546.479f;
inline constexpr double hz_to_lsp = 0.0003926991f;

/// Prediction coefficients, by selector bit.
inline constexpr double qu[2] = {0.12, 0.5};

/// Mean frequencies, Hz.
constexpr float mean_lsf[] = {335.0f,  628.0f,  1110.0f, 1641.0f, 2108.0f, 2592.0f,
                              3053.0f, 3512.0f, 3978.0f, 4423.0f, 4942.0f, 5429.0f,
                              5977.0f, 6421.0f, 6921.0f, 7250.0f};

// Codevectors of the prediction residual, Hz: one row for frequencies 0..2, 3..5, 6..8, 9..11 and
// 12..15.
constexpr float dico1_lsf[][3] = {
#include "wideband/dico1_lsf.inc"
};
constexpr float dico2_lsf[][3] = {
#include "wideband/dico2_lsf.inc"
};
constexpr float dico3_lsf[][3] = {
#include "wideband/dico3_lsf.inc"
};
constexpr float dico4_lsf[][3] = {
#include "wideband/dico4_lsf.inc"
};
constexpr float dico5_lsf[][4] = {
#include "wideband/dico5_lsf.inc"
};
static_assert(std::size(mean_lsf) == lsf_order);
static_assert(std::size(dico1_lsf) == 128 && std::size(dico2_lsf) == 256);
static_assert(std::size(dico3_lsf) == 128 && std::size(dico4_lsf) == 128);
static_assert(std::size(dico5_lsf) == 128);

}  // namespace quel
