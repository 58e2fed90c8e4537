#pragma once

#include <array>
#include <cstdint>

#include "bitstream/mode.h"
#include "narrowband/q_gain2.h"
#include "narrowband/q_isp_5.h"

namespace quel {

/// Encoder of flavors 0, 1 and 2; one per stream. Everything is 0 at load.
///
/// The speech buffer holds 130 past samples and the new frame. The frame that is coded starts at
/// its position 10, so the coder looks 120 samples (15 ms) ahead: the LP analysis window, the last
/// 240 samples, is then centred on the end of the coded frame.
struct NarrowbandEncoder {
  static constexpr int speech_past = 130;
  static constexpr int wsp_past = 143;  ///< the largest lag
  static constexpr int exc_past = 154;  ///< the largest lag and the reach of its interpolation
  static constexpr int coded_start = 10;

  IsfQuantizer isf;
  GainQuantizer gains;
  /// [0..9] ISPs of the previous frame, unquantised and quantised. isf_ini after init.
  std::array<float, 10> isp_old{}, ispq_old{};
  /// [0..1] high-pass input memory x[n-1], x[n-2]. Its output memory is the end of `speech`'s past.
  std::array<float, 2> hp_memx{};
  /// High-passed speech, PCM scale: [0..129] past, then this frame. 0 after init, as all below.
  std::array<float, speech_past + max_len_frame> speech{};
  /// Weighted speech: [0..142] past, then this frame.
  std::array<float, wsp_past + max_len_frame> wsp{};
  /// Total excitation: [0..153] past, then this frame.
  std::array<float, exc_past + max_len_frame> exc{};
  std::array<float, 10> mem_w{};    ///< weighting filter, for the weighted speech
  std::array<float, 10> mem_syn{};  ///< synthesis filter
  std::array<float, 10> mem_err{};  ///< last samples of speech minus synthesis
  std::array<float, 10> mem_w0{};   ///< target filter: last samples of the weighted error
  /// [0..10] autocorrelations of the last analysis window, lag-windowed; for voice activity.
  std::array<float, 11> autocorrelation{};
  /// Quantised pitch gain of the previous subframe; picks the codebook in flavor 2.
  float old_gain_pit = 0.0f;
};

/// Back to the start of a stream.
void init_cod_swt(NarrowbandEncoder& state);

/// Codes one frame.
///
/// mode    set for the flavor in prm[0]
/// speech  [0..len_frame-1] 16-bit samples at 8 kHz
/// prm     [0..20] prm[0] is the flavor, 0..2, given; 1..20 are written
///
/// A mode of another flavor codes the frame length it says, as far as prm has room; one never set
/// for a flavor, or with frames too short to fill the analysis window, codes nothing.
void cod_swt(NarrowbandEncoder& state, const Mode& mode, const std::int16_t* speech,
             std::int32_t* prm);

}  // namespace quel
