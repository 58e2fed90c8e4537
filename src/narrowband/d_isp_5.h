#pragma once

#include <array>
#include <cstdint>

#include "narrowband/isf_tables.h"

namespace quel {

/// Decoder memory of the ISF quantiser; one per pair of narrowband decoders, which share it.
struct IsfDequantizer {
  /// [0..9] the previous frame's quantised residual, Hz, last entry on the scale of 650. 0 at load
  /// and after init_d_isf_ma.
  std::array<float, 10> past_r{};
  /// [0..9] the previous frame's decoded ISFs, Hz, last entry on the scale of 650. 0 at load,
  /// mean_isf after init_d_isf_ma.
  std::array<float, 10> past_isf{};
};

void init_d_isf_ma(IsfDequantizer& state);

/// Decodes or conceals one frame's ISPs.
///
/// indices  [0..4] codebook rows; only the 6, 7, 7, 7 and 5 low bits count. Not read in mode 2
/// isp_q    [0..9] output
/// mode     0  good frame
///          1  lost frame, indices being those of the frame after it: halfway between the frame
///             before and what the indices, decoded next, will give
///          2  (and any other value) lost frame without help: a tenth of the way to mean_isf, and
///             the next good frame is decoded without prediction
void d_isf_ma(IsfDequantizer& state, const std::int32_t* indices, float* isp_q, int mode);

/// The codebook rows that five indices name: the residual of a good frame.
///
/// residual  [0..9] output, Hz
void isf_residual(const std::int32_t* indices, float* residual);

/// The nearest residual within the range of the codebooks, entry by entry, in place. Whatever
/// frames are decoded behind such a one stay as far apart as decoded frames always are.
///
/// residual  [0..9] Hz
void hold_residual(float* residual);

}  // namespace quel
