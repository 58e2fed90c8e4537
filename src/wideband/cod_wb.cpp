#include "wideband/cod_wb.h"

#include <algorithm>
#include <cstddef>

#include "dsp/convolve.h"
#include "dsp/lev_dur.h"
#include "dsp/residu.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "dsp/vector.h"
#include "dsp/weight_a.h"
#include "wideband/a2lsf.h"
#include "wideband/autocorr16.h"
#include "wideband/effort16.h"
#include "wideband/lag3.h"
#include "wideband/lsf2a.h"
#include "wideband/pit_fr3s.h"
#include "wideband/pitch_16.h"
#include "wideband/pred_lt16.h"
#include "wideband/window16.h"

namespace quel {
namespace {

constexpr int order = 16;
constexpr int span = 480;  // LP analysis
constexpr int frame = 160;
constexpr int subframe = 80;
constexpr int coded_start = 240;  // of the frame being coded, in the span
constexpr int fade = 30;          // samples from one pre-filter to the next
constexpr int pit_min = 30;
constexpr int pit_max = 281;
constexpr int wsp_past = 93;
constexpr int exc_past = 292;
constexpr float pre_gamma = 0.5f;
constexpr float weight_gamma = 0.85f;

template <std::size_t n>
void shift_left(std::array<float, n>& buffer, int by) {
  std::copy(buffer.begin() + by, buffer.end(), buffer.begin());
}

/// Removes part of the spectral envelope with a filter that the decoder knows already, and puts the
/// frame to be coded into `coded`.
void prefilter(WidebandEncoder& state) {
  const float* x = state.speech.data() + order;
  Scratch Ap_pre(order + 1);
  Scratch side(fade);
  weight_a(state.last_filter.data(), Ap_pre.data(), pre_gamma, order);
  residu16(Ap_pre.data(), order, x, state.prefiltered.data(), span);
  residu16(state.last_prefilter.data(), order, x + coded_start, side.data(), fade);
  std::copy_n(Ap_pre.data(), order + 1, state.last_prefilter.begin());

  const float* pre = state.prefiltered.data() + coded_start;
  float* s = state.coded.data() + order;
  std::copy_n(pre, frame, s);
  float fac = 1.0f;
  for (int n = 0; n < fade; ++n) {
    s[n] = static_cast<float>((1.0 - fac) * pre[n] + static_cast<double>(fac) * side[n]);
    fac -= 0.033333335f;
  }
}

/// LP analysis and spectral quantisation; Aq receives the filters of both subframes.
void code_spectrum(WidebandEncoder& state, float* Aq, std::int32_t* prm) {
  float* r = state.autocorrelation.data();
  Scratch a(order + 1);
  Scratch lsp(order);
  autocorr16(state.prefiltered.data(), r, order, span, window16.data());
  lag_wind16(state.lag_window.data(), r, order);
  lev_dur(a.data(), r, order);
  a2lsf(a.data(), lsp.data(), state.old_lsp.data(), order);
  q_lsp(state.lsf, lsp.data(), prm);
  int_lpc(state.old_lsp.data(), lsp.data(), Aq, order);
  std::copy_n(Aq + order + 1, order + 1, state.last_filter.begin());
  std::copy_n(lsp.data(), order, state.old_lsp.begin());
}

/// LP residual of the frame, and its weighted speech decimated by 3.
void weight_speech(WidebandEncoder& state, const float* Aq) {
  Scratch Ap(order + 1);
  float* wsp = state.wsp.data() + wsp_past;
  for (int i = 0; i < frame; i += subframe, Aq += order + 1) {
    float* res = state.res.data() + i;
    residu16(Aq, order, state.coded.data() + order + i, res, subframe);
    weight_a(Aq, Ap.data(), weight_gamma, order);
    syn_filt16(Ap.data(), order, res, wsp + i, subframe, state.mem_w.data(), 1);
  }
  lp_fir(state.decimator, wsp, frame, 3);
}

/// The first subframe's search window around the open-loop lag.
LagWindow16 open_loop_window(const WidebandEncoder& state) {
  return first_lag_window16(3 * pitch_ol16(state.wsp.data() + wsp_past, 10, wsp_past, frame / 3));
}

/// Target and impulse response of a subframe's codebook searches.
void set_target(WidebandEncoder& state, const float* Aq, const float* res, float* xn, float* h) {
  Scratch Ap(order + 1);
  Scratch silence(order);
  weight_a(Aq, Ap.data(), weight_gamma, order);
  set_zero(silence.data(), order);
  syn_filt_both(order, {Ap.data(), res, xn, subframe, state.mem_target.data(), 0},
                {Ap.data(), state.impulse.data(), h, subframe, silence.data(), 0});
}

/// Codes the excitation of the subframe that starts at sample i with the filter Aq, into eight
/// words of prm.
void code_subframe(WidebandEncoder& state, const float* Aq, int i, LagWindow16& window,
                   std::int32_t* prm) {
  const float* res = state.res.data() + i;
  float* exc = state.exc.data() + exc_past + i;
  Scratch all(8 * subframe);
  float* const xn = all.data();
  float* const h = xn + subframe;
  float* const xn2 = h + subframe;
  float* const y1 = xn2 + subframe;
  float* const dn = y1 + subframe;
  float* const cn = dn + subframe;
  float* const code = cn + subframe;
  float* const y2 = code + subframe;
  set_target(state, Aq, res, xn, h);

  // Lags shorter than the subframe meet a plausible signal.
  mvr2r(res, exc, subframe);
  int frac = 0;
  const int T0 = pitchfr3(exc, xn, h, window.min, window.max, &frac, i, subframe);
  prm[0] = enc_lag3(T0, frac, &window.min, &window.max, pit_min, pit_max, i);
  pred_lt16(exc, T0, frac, subframe);
  convolve16(exc, h, y1, subframe);
  auto gain_pit = static_cast<float>(get_gain(xn, y1, subframe));
  prm[1] = q_gain_pitch(&gain_pit);
  updt_tar(xn, xn2, y1, gain_pit, subframe);

  const float sharpening = std::min(gain_pit, 1.0f);
  pit_shrp(h, T0, sharpening, subframe);
  corr_xh(xn2, dn, h, subframe);
  updt_tar(res, cn, exc, gain_pit, subframe);
  ACELP_45_85(state.acelp, state.settings, dn, cn, h, code, y2, prm + 2);
  pit_shrp(code, T0, sharpening, subframe);
  auto gain_code = static_cast<float>(get_gain(xn2, y2, subframe));
  prm[7] = q_gain_code(state.gains, code, subframe, &gain_code);

  for (int n = 0; n < subframe; ++n) {
    exc[n] = static_cast<float>(static_cast<double>(gain_pit) * exc[n] +
                                static_cast<double>(gain_code) * code[n]);
  }
  updt_tar(xn2 + subframe - order, state.mem_target.data(), y2 + subframe - order, gain_code,
           order);
}

void shift_histories(WidebandEncoder& state) {
  shift_left(state.coded, frame);
  shift_left(state.speech, frame);
  shift_left(state.wsp, frame / 3);
  shift_left(state.exc, frame);
}

}  // namespace

void init_coder_wb16(WidebandEncoder& state) {
  state.speech.fill(0.0f);
  state.prefiltered.fill(0.0f);
  state.coded.fill(0.0f);
  state.res.fill(0.0f);
  state.wsp.fill(0.0f);
  state.exc.fill(0.0f);
  state.mem_w.fill(0.0f);
  state.mem_target.fill(0.0f);
  state.impulse = {1.0f};
  state.autocorrelation.fill(0.0f);
  state.last_filter = wideband::flat_filter;
  state.last_prefilter = wideband::flat_filter;
  state.old_lsp = wideband::neutral_lsp();
  state.lag_window = lag_window16;
}

LagWindow16 first_lag_window16(int T_op) {
  LagWindow16 window;
  window.min = std::max(T_op - 6, pit_min);
  window.max = window.min + 12;
  if (window.max > pit_max) window = {pit_max - 12, pit_max};
  return window;
}

float* new_speech2(WidebandEncoder& state) {
  return state.speech.data() + order + span - frame;
}

void coder_wb16(WidebandEncoder& state, std::int32_t* prm) {
  Scratch Aq(2 * (order + 1));
  prefilter(state);
  code_spectrum(state, Aq.data(), prm);
  weight_speech(state, Aq.data());
  LagWindow16 window = open_loop_window(state);
  code_subframe(state, Aq.data(), 0, window, prm + 6);
  code_subframe(state, Aq.data() + order + 1, subframe, window, prm + 14);
  shift_histories(state);
}

void coder_wb16(WidebandEncoder& state, WidebandEffort& effort, std::int32_t* prm) {
  Scratch Aq(2 * (order + 1));
  prefilter(state);
  code_spectrum(state, Aq.data(), prm);
  weight_speech(state, Aq.data());
  wideband::follow_sound(effort.listener, state.speech.data() + order, state.lag_window.data());
  wideband::code_excitation(state, effort, Aq.data(), open_loop_window(state), prm + 6);
  shift_histories(state);
}

}  // namespace quel
