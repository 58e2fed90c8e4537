#pragma once

#include <array>
#include <cstdint>

#include "dsp/lp_fir.h"
#include "wideband/autocorr16.h"
#include "wideband/cod45_85.h"
#include "wideband/q_gains.h"
#include "wideband/q_lsp.h"
#include "wideband/start_values.h"

namespace quel {

/// The 16 kHz encoder; one per stream.
///
/// A frame is 160 samples in two subframes of 80. The analysis span is the newest 480 samples; the
/// frame being coded is its samples 240..399, 80 samples behind the newest.
struct WidebandEncoder {
  /// [0..15] filter history, [16..495] analysis span; the newest frame goes to [336..495].
  std::array<float, 16 + 480> speech{};
  std::array<float, 480> prefiltered{};     ///< analysis span through the pre-filter
  std::array<float, 16 + 160> coded{};      ///< filter history, then the frame being coded
  std::array<float, 160> res{};             ///< its LP residual
  std::array<float, 93 + 160> wsp{};        ///< decimated history, then weighted speech
  std::array<float, 292 + 160> exc{};       ///< past excitation, then the frame's
  std::array<float, 16> mem_w{};            ///< outputs of the weighting filter
  std::array<float, 16> mem_target{};       ///< weighted error at the last subframe's end
  std::array<float, 1 + 80> impulse{1.0f};  ///< input of the impulse response
  std::array<float, 17> autocorrelation{};  ///< of the last span, lag-windowed; voice activity
  std::array<float, 17> last_filter = wideband::flat_filter;  ///< last frame's, of subframe 2
  std::array<float, 17> last_prefilter = wideband::flat_filter;
  std::array<float, 16> old_lsp = wideband::neutral_lsp();  ///< last frame's quantised pairs
  std::array<float, 17> lag_window = lag_window16;  ///< a host of the plug-in may fill it anew

  // What init_coder_wb16 leaves alone: predictor memories run on from stream to stream in a
  // process-wide codec, and a decoder in the same process does likewise.
  LsfQuantizer lsf;
  CodeGainQuantizer gains;
  LpFir decimator;
  AcelpSettings settings;  ///< the host may change it between frames

  AcelpWork acelp;
};

/// Resets everything above the predictor memories to its value at load.
void init_coder_wb16(WidebandEncoder& state);

/// [0..159] the place where the next frame's samples go, in 16-bit PCM units.
float* new_speech2(WidebandEncoder& state);

/// Lags that a closed-loop search tries, both ends included.
struct LagWindow16 {
  int min = 30;
  int max = 42;
};

/// The first subframe's window: 13 lags around the open-loop lag, held inside 30..281.
LagWindow16 first_lag_window16(int T_op);

/// Encodes the frame whose samples were put at `new_speech2`.
///
/// prm  [0..21] output: LSF predictor selector and five split indices, then for each subframe
///      delay, pitch gain, five track indices and code gain
///
/// The decoder's output is 80 samples late. Never fails; samples that are no numbers give valid
/// indices, but stay in the filter memories until init_coder_wb16.
void coder_wb16(WidebandEncoder& state, std::int32_t* prm);

}  // namespace quel
