#include "narrowband/dec_5swt.h"

#include <algorithm>
#include <array>

#include "dsp/interpol_lpc.h"
#include "dsp/pcm.h"
#include "dsp/residu.h"
#include "dsp/sane.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "dsp/vector.h"
#include "dsp/weight_a.h"
#include "narrowband/conceal_5k.h"
#include "narrowband/d_acb_5k.h"
#include "narrowband/find_F.h"
#include "narrowband/lag_code.h"
#include "narrowband/ltp.h"
#include "narrowband/random_func.h"

namespace quel {
namespace {

constexpr int M = 10;
constexpr int L = 48;
constexpr int subframes = 5;
constexpr int words_per_subframe = 3;

// The lag's way through a frame.
struct LagWalk {
  Lag lag{40, 0};
  int t0_min = 0;      // base of the relative indices
  float delta = 0.0f;  // concealment: thirds of a sample per subframe
};

void next_lag(FiveKDecoder& st, const Mode& mode, LagWalk& walk, int s, std::int32_t index) {
  if (s == 0 || s == 2) {
    if (st.bfi == 2) {
      walk.delta = 3.0f;
    } else {
      walk.lag = decode_absolute_lag(index);
      if (s == 0 && st.bfi == 1) {
        const auto target = static_cast<float>(3 * walk.lag.T0 + walk.lag.frac);
        walk.delta = (target - st.old_pitch) * mode.fac_inter_var;
      }
    }
    walk.t0_min = range_around_lag(walk.lag.T0).t0_min;
  } else {
    walk.lag = decode_relative_lag(index, walk.t0_min);
  }
  if (st.bfi == 0) {
    st.old_pitch = static_cast<float>(3 * walk.lag.T0 + walk.lag.frac);
    return;
  }
  st.old_pitch += walk.delta;
  const int T = static_cast<int>(st.old_pitch);
  walk.lag.T0 = std::min((T + 1) / 3, 143);
  // Above 1 where T0 is held; whoever interpolates goes by the sign.
  walk.lag.frac = T - 3 * walk.lag.T0;
}

// Working arrays of a subframe's output side.
struct OutputWork {
  float enhanced[L], reference[L];
  float ap[M + 1], tilted[M + L], u[L];  // of the postfilter
};

// Working arrays of a frame.
struct Work {
  float isp[M], A[subframes * (M + 1)];
  float F[2][L];  // of this subframe and of the next one, in turn
  float code[L];
  float frame[subframes * L];
};

// Formant postfilter between two synthesis filters, and beside it the plain synthesis of the total
// excitation, against which the output's gain is controlled.
void postfilter(FiveKDecoder& st, const Mode& mode, const float* A, const float* exc,
                const float* enhanced, const Pulses& pulses, OutputWork& work, float* out) {
  float* tilted = work.tilted + M;
  pondai(A, work.ap, mode.gamma6, M);
  filter_with_pulses(work.ap, enhanced, tilted, st.mem_exc1.data(), pulses);
  preemph(st.preemphasis, tilted, 0.4f, L);
  std::copy_n(st.mem_exc2.data(), M, work.tilted);
  std::copy_n(tilted + L - M, M, st.mem_exc2.data());
  pondai(A, work.ap, mode.gamma5, M);
  residu(work.ap, M, tilted, work.u, L);

  syn_filt_both(M, {A, exc, work.reference, L, st.mem_syn1.data(), 1},
                {A, work.u, out, L, st.synthesis.mem_syn.data(), 1});
}

// The other one, which starts from a plain synthesis.
void postfilter_enhanced(FiveKDecoder& st, const float* A, int T0, const float* exc,
                         const float* enhanced, const Pulses& pulses, float* reference,
                         float* out) {
  filter_with_pulses(A, exc, reference, st.mem_syn1.data(), pulses);
  postfilter_enhanced(st.enhanced, A, T0, enhanced, reference, out);
}

void clear_absurd(FiveKDecoder& st, NarrowbandDecoderShared& shared) {
  clear_absurd(st.synthesis, shared);
  init_enhanced_postfilter(st.enhanced);
  st.mem_syn1.fill(0.0f);
  st.mem_exc1.fill(0.0f);
  st.mem_exc2.fill(0.0f);
  init_preemph(st.preemphasis);
  init_agc(st.gain_control);
}

// The output side of a subframe. Whether the result was sane.
//
// heard     the total excitation as it enters the filters; may be work.reference
// enhanced  likewise the one that is synthesised
// excited   whether the total excitation is sane
bool finish(FiveKDecoder& st, NarrowbandDecoderShared& shared, const Mode& mode, const float* A,
            const float* heard, const float* enhanced, bool excited, const Pulses& pulses,
            OutputWork& work, float* synth) {
  SynthesisState& syn = st.synthesis;
  bool sane = false;
  if (st.enhanced.on) {
    const int T0 = std::min((static_cast<int>(st.old_pitch) + 1) / 3, 143);  // as next_lag has it
    postfilter_enhanced(st, A, T0, heard, enhanced, pulses, work.reference, synth);
    sane = is_sane(synth, L);
    if (sane) high_pass(syn, synth, L);
  } else {
    postfilter(st, mode, A, heard, enhanced, pulses, work, synth);
    sane = level_output(syn, st.gain_control, work.reference, synth);
  }
  sane = sane && excited && is_sane(work.reference, L);
  if (!sane) {
    set_zero(synth, L);
    clear_absurd(st, shared);
  }
  shift_excitation(syn);
  return sane;
}

// Whether the result was sane.
bool decode_subframe(FiveKDecoder& st, NarrowbandDecoderShared& shared, const Mode& mode,
                     const std::int32_t* words, int s, LagWalk& walk,
                     NarrowbandConcealment* watcher, Work& work) {
  float* exc = st.synthesis.exc();
  float* F = work.F[s % 2];
  float* synth = work.frame + s * L;
  const float* A = work.A + s * (M + 1);
  const Pulses pulses = {F, work.F[(s + 1) % 2], s + 1 < subframes ? A + M + 1 : nullptr};

  next_lag(st, mode, walk, s, words[0]);
  pred_lt(exc, walk.lag.T0, walk.lag.frac, L);

  sharpen_F(mode, walk.lag.T0, F);
  const std::int32_t codeword = st.bfi != 0 ? random_func(shared.seed) : words[1];
  const auto rebuild = st.old_gain_pit >= 0.8f ? dec_acb_2p10b : dec_acb_3p10b;
  rebuild(codeword, F, work.code);

  float gain_pit = 0.0f, gain_code = 0.0f, part = 1.0f;
  const std::array<float, 4> energies = shared.gains.past_qua_en;
  d_gain2(shared.gains, words[2], work.code, L, &gain_pit, &gain_code, st.bfi, s * L,
          mode.fac_inter_var);
  st.old_gain_pit = gain_pit;
  if (watcher != nullptr) {
    const std::int32_t lag = 3 * walk.lag.T0 + walk.lag.frac;
    gain_pit = take_subframe(*watcher, shared.gains, energies, lag, exc, work.code);
    part = filter_part(*watcher, A);
  }
  return finish_subframe(st, shared, mode, {A, work.code, gain_pit, gain_code, pulses, part, part},
                         synth);
}

}  // namespace

void take_next(FiveKDecoder& st, const std::int32_t* prm, std::int32_t bfi_in) {
  st.old_bfi = st.bfi;
  st.bfi = bfi_in;
  std::copy_n(prm, FiveKDecoder::words, st.cur_prm.data());
}

void init_decoder_5k(FiveKDecoder& state, NarrowbandDecoderShared& shared) {
  state.bfi = 1;
  state.old_bfi = 1;
  state.old_pitch = 180.0f;
  init_synthesis(state.synthesis);
  state.mem_syn1.fill(0.0f);
  state.mem_exc1.fill(0.0f);
  state.mem_exc2.fill(0.0f);
  state.old_gain_pit = 0.0f;
  init_d_isf_ma(shared.isf);
  init_d_gain2(shared.gains);
  init_preemph(state.preemphasis);
  init_agc(state.gain_control);
  init_enhanced_postfilter(state.enhanced);
}

bool finish_subframe(FiveKDecoder& st, NarrowbandDecoderShared& shared, const Mode& mode,
                     const FiveKSubframe& part, float* synth) {
  ScratchStruct<OutputWork> work;
  SynthesisState& syn = st.synthesis;
  float* exc = syn.exc();
  const bool mixed =
      mix_excitation(syn, exc, part.code, part.gain_pit, part.gain_code, work->enhanced);
  const float* heard = exc;
  if (part.fade_to != 1.0f || part.fade_from != 1.0f) {
    heard = std::copy_n(exc, L, work->reference) - L;  // to be filtered in place
    fade(work->reference, L, part.fade_from, part.fade_to);
    fade(work->enhanced, L, part.fade_from, part.fade_to);
  }
  return finish(st, shared, mode, part.A, heard, work->enhanced, mixed, part.pulses, *work, synth);
}

bool finish_subframe(FiveKDecoder& st, NarrowbandDecoderShared& shared, const Mode& mode,
                     const float* A, const Pulses& pulses, float* synth) {
  ScratchStruct<OutputWork> work;
  const float* exc = st.synthesis.exc();
  return finish(st, shared, mode, A, exc, exc, is_sane(exc, L), pulses, *work, synth);
}

int decoder_5k(FiveKDecoder& st, NarrowbandDecoderShared& shared, const Mode& mode,
               const std::int32_t* prm, std::int16_t* synth, int bfi_in,
               NarrowbandConcealment* concealment) {
  if (st.bfi != 0 && concealment != nullptr && concealment->heard != 0) {
    const int cleared =
        conceal_5k(*concealment, st, shared, mode, bfi_in == 0 ? prm : nullptr, synth);
    st.bfi = 2;
    take_next(st, prm, bfi_in);
    return cleared;
  }
  ScratchStruct<Work> work;
  const std::int32_t* p = st.cur_prm.data();
  if (st.bfi != 0) {
    // The next frame helps only an isolated loss.
    const bool isolated = bfi_in == 0 && st.old_bfi == 0;
    st.bfi = isolated ? 1 : 2;
    if (isolated) p = prm;
  }

  NarrowbandConcealment* watcher = st.bfi == 0 ? concealment : nullptr;
  d_isf_ma(shared.isf, p, work->isp, st.bfi);
  if (watcher != nullptr && watcher->first_good != 0) spread_isp(shared.isf, work->isp);
  interpol_lpc(work->isp, st.synthesis.isfold.data(), work->A, subframes);
  std::copy_n(work->isp, M, st.synthesis.isfold.data());

  LagWalk walk;
  int cleared = 0;
  find_F(mode, work->A, L, work->F[0]);
  for (int s = 0; s < subframes; ++s) {
    const std::int32_t* words = p + 5 + s * words_per_subframe;
    if (!decode_subframe(st, shared, mode, words, s, walk, watcher, *work)) ++cleared;
  }
  float_to_pcm(work->frame, synth, subframes * L);
  if (watcher != nullptr) {
    watcher->heard = 1;
    watcher->first_good = 0;
  }
  take_next(st, prm, bfi_in);
  return cleared;
}

}  // namespace quel
