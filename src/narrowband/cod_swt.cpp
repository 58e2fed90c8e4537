#include "narrowband/cod_swt.h"

#include <algorithm>

#include "dsp/a2isp.h"
#include "dsp/autocorr.h"
#include "dsp/convolve.h"
#include "dsp/corr_xy.h"
#include "dsp/hp_2nd.h"
#include "dsp/interpol_lpc.h"
#include "dsp/lag_wind.h"
#include "dsp/lev_dur.h"
#include "dsp/residu.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "dsp/vector.h"
#include "dsp/weight_a.h"
#include "narrowband/Acb2_10.h"
#include "narrowband/Acb3_10.h"
#include "narrowband/acb27_15.h"
#include "narrowband/d_acb.h"
#include "narrowband/d_acb_5k.h"
#include "narrowband/effort.h"
#include "narrowband/find_F.h"
#include "narrowband/lag_code.h"
#include "narrowband/ltp.h"
#include "narrowband/pitch_ol.h"

namespace quel {
namespace {

constexpr int M = 10;
constexpr int L = 48;            // subframe
constexpr int second_half = 96;  // flavor 2: where the second absolute lag of a frame starts
constexpr int max_subframes = max_len_frame / L;
constexpr int window_length = static_cast<int>(window.size());
constexpr int min_len_frame = window_length - NarrowbandEncoder::speech_past;

// Working vectors of one subframe, carved from the scratch stack at once.
struct Subframe {
  Scratch<> all{2 * (M + 1) + M + 10 * L};
  float* ap1 = all.data();  // weighted LP filters
  float* ap2 = ap1 + M + 1;
  float* res = ap2 + M + 1;   // LP residual
  float* error = res + L;     // weighting filter's input, behind its past
  float* xn = error + M + L;  // pitch target, codebook target
  float* x2 = xn + L;
  float* h = x2 + L;  // weighted synthesis response, the same through F
  float* h2 = h + L;
  float* y1 = h2 + L;  // filtered adaptive vector, filtered code vector, code vector
  float* y2 = y1 + L;
  float* code = y2 + L;
  float* dn = code + L;  // backward-filtered target
};

// Where a frame stands in its search for lags.
struct PitchSearch {
  int second_open_loop;  // flavor 2
  LagRange range;
};

// New samples behind the history, high-passed.
void take_speech(NarrowbandEncoder& st, const std::int16_t* in, int len_frame) {
  float* speech = st.speech.data() + NarrowbandEncoder::speech_past;
  for (int n = 0; n < len_frame; ++n) speech[n] = in[n];
  float memy[2] = {speech[-1], speech[-2]};
  hp_2nd(speech, len_frame, a_200, b_200, st.hp_memx.data(), memy);
}

void analyse(NarrowbandEncoder& st, int len_frame, float* isp) {
  const float* end = st.speech.data() + NarrowbandEncoder::speech_past + len_frame;
  float* r = st.autocorrelation.data();
  Scratch a(M + 1);
  autocorr(end - window_length, r, M, window_length, window.data());
  lag_wind(r, M);
  lev_dur(a.data(), r, M);
  a2isp(a.data(), isp, st.isp_old.data(), M);
}

// Coded-frame speech through W(z) = A(z/gamma1)/A(z/gamma2). Beside it goes the first subframe's F
// before it is sharpened, and the others' beside the synthesis of the subframe before each.
void weight_speech(NarrowbandEncoder& st, const Mode& mode, const float* A, int subframes,
                   float* F) {
  Scratch ap1(M + 1), ap2(M + 1);
  for (int k = 0; k < subframes; ++k) {
    const float* speech = st.speech.data() + NarrowbandEncoder::coded_start + k * L;
    float* wsp = st.wsp.data() + NarrowbandEncoder::wsp_past + k * L;
    pondai(A + k * (M + 1), ap1.data(), mode.gamma1, M);
    pondai(A + k * (M + 1), ap2.data(), mode.gamma2, M);
    residu(ap1.data(), M, speech, wsp, L);
    filter_with_pulses(ap2.data(), wsp, wsp, st.mem_w.data(), {F, F, k == 0 ? A : nullptr});
  }
}

PitchSearch open_loop(NarrowbandEncoder& st, std::int32_t flavor, int len_frame) {
  const float* wsp = st.wsp.data() + NarrowbandEncoder::wsp_past;
  PitchSearch search{};
  int lag = 0;
  if (flavor == 2) {
    lag = pitch_ol(wsp, second_half);
    search.second_open_loop = pitch_ol(wsp + second_half, max_len_frame - second_half);
  } else {
    lag = pitch_ol(wsp, len_frame);
  }
  std::copy_n(st.wsp.data() + len_frame, NarrowbandEncoder::wsp_past, st.wsp.data());
  search.range = range_around_open_loop(lag);
  return search;
}

// Residual, target and impulse response of the subframe.
void find_target(const NarrowbandEncoder& st, const Mode& mode, const float* A, const float* Aq,
                 const float* speech, Subframe& sub) {
  pondai(A, sub.ap1, mode.gamma1, M);
  pondai(A, sub.ap2, mode.gamma2, M);
  residu(Aq, M, speech, sub.res, L);

  // Trial filtering: the memories move on when the subframe's excitation is known. Target and
  // response go through the same two filters side by side.
  Scratch silence(M);
  set_zero(silence.data(), M);
  float* h = sub.h;
  std::copy_n(sub.ap1, M + 1, h);
  set_zero(h + M + 1, L - M - 1);
  float* error = sub.error + M;
  std::copy_n(st.mem_err.data(), M, sub.error);
  syn_filt_both(M, {Aq, sub.res, error, L, sub.error, 0}, {Aq, h, h, L, silence.data(), 0});
  residu(sub.ap1, M, error, sub.xn, L);
  Scratch memory(M);
  std::copy_n(st.mem_w0.data(), M, memory.data());
  syn_filt_both(M, {sub.ap2, sub.xn, sub.xn, L, memory.data(), 0},
                {sub.ap2, h, h, L, silence.data(), 0});
}

// Closed-loop lag around the range, its index, and the adaptive vector in exc. Returns T0.
int find_pitch(PitchSearch& search, std::int32_t flavor, int offset, float* exc, Subframe& sub,
               std::int32_t* lag_index) {
  const bool absolute = offset == 0 || (flavor == 2 && offset == second_half);
  if (absolute && offset != 0) search.range = range_around_open_loop(search.second_open_loop);
  int frac = 0;
  const int T0 = pitch_fr(exc, sub.xn, sub.h, search.range.t0_min, search.range.t0_max,
                          absolute ? 0 : offset, &frac);
  if (absolute) {
    *lag_index = encode_absolute_lag(T0, &frac);
    search.range = range_around_lag(T0);
  } else {
    *lag_index = encode_relative_lag(T0, frac, search.range.t0_min);
  }
  pred_lt(exc, T0, frac, L);
  return T0;
}

// Searches the flavor's codebook and rebuilds its choice: the code vector and the same filtered.
// Returns the number of words written to prm.
int find_code(std::int32_t flavor, bool two_pulses, const float* F, Subframe& sub,
              std::int32_t* prm) {
  float* dn = sub.dn;
  const float* h2 = sub.h2;
  if (flavor == 2) {
    if (two_pulses) {
      acb_2p10b(dn, h2, prm);
    } else {
      acb_3p10b(dn, h2, prm);
    }
    const auto rebuild = two_pulses ? dec_acb_2p10b : dec_acb_3p10b;
    rebuild(prm[0], F, sub.code);
    rebuild(prm[0], h2, sub.y2);
    return 1;
  }
  const auto search = flavor == 1 ? ACB_27 : ACB_15;
  const auto rebuild = flavor == 1 ? dec_ACB_27 : dec_ACB_15;
  search(dn, sub.res, h2, prm);
  rebuild(prm, F, sub.code);
  rebuild(prm, h2, sub.y2);
  return 3;
}

// Filter memories after the subframe's excitation is known, and the next subframe's F.
void update_memories(NarrowbandEncoder& st, const float* Aq, const float* speech, const float* exc,
                     float gain_pit, float gain_code, const Pulses& pulses, Subframe& sub) {
  Scratch synth(L);
  filter_with_pulses(Aq, exc, synth.data(), st.mem_syn.data(), pulses);
  for (int j = 0; j < M; ++j) {
    const int n = L - M + j;
    const auto m = static_cast<std::size_t>(j);
    st.mem_err[m] = speech[n] - synth[n];
    st.mem_w0[m] = static_cast<float>(sub.xn[n] - static_cast<double>(gain_pit) * sub.y1[n] -
                                      static_cast<double>(gain_code) * sub.y2[n]);
  }
}

// Codes one subframe; returns the words written to prm. F comes in as weight_speech leaves it, and
// goes out so for the next subframe, whose filter is A_next.
int code_subframe(NarrowbandEncoder& st, const Mode& mode, std::int32_t flavor, int offset,
                  const float* A, const float* A_next, const float* Aq, std::int32_t crowded,
                  PitchSearch& search, float* F, std::int32_t* prm) {
  Subframe sub;
  const float* speech = st.speech.data() + NarrowbandEncoder::coded_start + offset;
  float* exc = st.exc.data() + NarrowbandEncoder::exc_past + offset;

  find_target(st, mode, A, Aq, speech, sub);
  // Lags below 48 read past the history: the residual stands in for excitation yet unknown.
  mvr2r(sub.res, exc, L);
  const int T0 = find_pitch(search, flavor, offset, exc, sub, prm);

  float g_coeff[5];
  convolve(exc, sub.h, sub.y1, L);
  float gain_pit = limited_pitch_gain(corr_xy1(sub.xn, sub.y1, g_coeff, L), crowded == 1);
  updt_tar(sub.xn, sub.x2, sub.y1, gain_pit, L);

  sharpen_F(mode, T0, F);
  convolve(F, sub.h, sub.h2, L);
  backfil2(sub.x2, sub.dn, sub.h2, L);
  if (flavor == 1) updt_tar(sub.res, sub.res, exc, gain_pit, L);
  const int words = find_code(flavor, st.old_gain_pit >= 0.8f, F, sub, prm + 1);

  float gain_code = 0.0f;
  corr_xy2(sub.xn, sub.y1, sub.y2, g_coeff, L);
  prm[1 + words] = q_gain2(st.gains, sub.code, L, &gain_pit, &gain_code, g_coeff, crowded);
  if (flavor == 2) st.old_gain_pit = gain_pit;

  find_exc(exc, sub.code, gain_pit, gain_code, L);
  update_memories(st, Aq, speech, exc, gain_pit, gain_code, {F, F, A_next}, sub);
  return 2 + words;
}

// `effort` null: as effort 0.
void code_frame(NarrowbandEncoder& st, NarrowbandEffort* effort, const Mode& mode,
                const std::int16_t* speech, std::int32_t* prm) {
  const std::int32_t flavor = prm[0];
  const int len_frame = std::min(mode.len_frame, max_len_frame);
  const int subframes = std::min({mode.num_subfr, len_frame / L, flavor == 2 ? 5 : 3});
  if (subframes < 1 || len_frame < min_len_frame) return;

  Scratch A(max_subframes * (M + 1)), Aq(max_subframes * (M + 1));
  Scratch isp(M), isp_q(M), F(L);
  std::int32_t crowded = 0;

  take_speech(st, speech, len_frame);
  analyse(st, len_frame, isp.data());
  interpol_lpc(isp.data(), st.isp_old.data(), A.data(), subframes);
  weight_speech(st, mode, A.data(), subframes, F.data());
  q_isf_ma(st.isf, isp.data(), isp_q.data(), prm + 1, &crowded);
  interpol_lpc(isp_q.data(), st.ispq_old.data(), Aq.data(), subframes);
  std::copy_n(isp.data(), M, st.isp_old.data());
  std::copy_n(isp_q.data(), M, st.ispq_old.data());
  PitchSearch search = open_loop(st, flavor, len_frame);

  std::int32_t* word = prm + 6;
  if (effort != nullptr) {
    const LagRange second = range_around_open_loop(search.second_open_loop);
    search_excitation(st, *effort, mode,
                      {flavor, subframes, A.data(), Aq.data(), crowded == 1, search.range, second},
                      word);
  } else {
    for (int k = 0; k < subframes; ++k) {
      const float* A_now = A.data() + k * (M + 1);
      const float* A_next = k + 1 < subframes ? A_now + M + 1 : nullptr;
      word += code_subframe(st, mode, flavor, k * L, A_now, A_next, Aq.data() + k * (M + 1),
                            crowded, search, F.data(), word);
    }
  }

  std::copy_n(st.speech.data() + len_frame, NarrowbandEncoder::speech_past, st.speech.data());
  std::copy_n(st.exc.data() + len_frame, NarrowbandEncoder::exc_past, st.exc.data());
}

}  // namespace

void init_cod_swt(NarrowbandEncoder& state) {
  state = NarrowbandEncoder{};
  std::copy_n(isf_ini, M, state.isp_old.data());
  std::copy_n(isf_ini, M, state.ispq_old.data());
  init_q_isf_ma(state.isf);
  init_q_gain2(state.gains);
}

void cod_swt(NarrowbandEncoder& st, const Mode& mode, const std::int16_t* speech,
             std::int32_t* prm) {
  code_frame(st, nullptr, mode, speech, prm);
}

void cod_swt(NarrowbandEncoder& st, NarrowbandEffort& effort, const Mode& mode,
             const std::int16_t* speech, std::int32_t* prm) {
  code_frame(st, &effort, mode, speech, prm);
}

}  // namespace quel
