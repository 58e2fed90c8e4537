#include "narrowband/dec_swt.h"

#include <algorithm>
#include <array>

#include "bitstream/serial.h"
#include "dsp/interpol_lpc.h"
#include "dsp/pcm.h"
#include "dsp/sane.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "dsp/vector.h"
#include "narrowband/d_acb.h"
#include "narrowband/find_F.h"
#include "narrowband/lag_code.h"
#include "narrowband/ltp.h"
#include "narrowband/random_func.h"

namespace quel {
namespace {

constexpr int M = 10;
constexpr int L = 48;
constexpr int subframes = 3;
constexpr int words_per_subframe = 5;

// The lag's way through a frame.
struct LagWalk {
  int t0_min = 0;      // base of the relative indices
  float lag = 0.0f;    // concealment: thirds of a sample
  float delta = 0.0f;  // its step per subframe
};

std::int32_t codec_mode(const NarrowbandDecoderShared& shared, std::int32_t word) {
  if (shared.gBigEndian) SwapIntBytes(&word, 1);
  return word;
}

Lag from_thirds(float lag) {
  const int T = static_cast<int>(lag);
  const int T0 = (T + 1) / 3;
  return {T0, T - 3 * T0};
}

Lag next_lag(const SwtDecoder& st, LagWalk& walk, int s, std::int32_t index, int bfi) {
  if (bfi == 2) return {std::min(st.old_pitch / 3 + 1, 143), 0};
  if (s != 0) {
    if (bfi == 0) return decode_relative_lag(index, walk.t0_min);
    walk.lag += walk.delta;
    return from_thirds(walk.lag);
  }
  const Lag decoded = decode_absolute_lag(index);
  if (bfi == 0) return decoded;
  // A quarter of the way towards the next good frame's lag per subframe.
  const int target = 3 * decoded.T0 + decoded.frac;
  walk.delta = 0.25f * static_cast<float>(target - st.old_pitch);
  walk.lag = static_cast<float>(st.old_pitch) + walk.delta;
  return from_thirds(walk.lag);
}

void rebuild_code(NarrowbandDecoderShared& shared, std::int32_t mode, const std::int32_t* words,
                  int bfi, const float* F, float* code) {
  std::int32_t track[3] = {words[0], words[1], words[2]};
  if (bfi != 0) {
    for (std::int32_t& word : track) word = random_func(shared.seed);
  }
  if (mode == 0) {
    dec_ACB_15(track, F, code);
  } else {
    dec_ACB_27(track, F, code);
  }
}

// Working arrays of a frame.
struct Work {
  float isp[M], A[subframes * (M + 1)];
  float F[2][L];  // of this subframe and of the next one, in turn
  float code[L];
  float frame[subframes * L];
};

// Whether the result was sane.
bool decode_subframe(SwtDecoder& st, NarrowbandDecoderShared& shared, const Mode& mode,
                     const std::int32_t* words, int s, int bfi, LagWalk& walk,
                     NarrowbandConcealment* watcher, Work& work) {
  float* exc = st.synthesis.exc();
  float* F = work.F[s % 2];
  const float* A = work.A + s * (M + 1);
  const Pulses pulses = {F, work.F[(s + 1) % 2], s + 1 < subframes ? A + M + 1 : nullptr};

  const Lag lag = next_lag(st, walk, s, words[0], bfi);
  if (s == 0) walk.t0_min = range_around_lag(lag.T0).t0_min;
  st.old_pitch = 3 * lag.T0 + lag.frac;
  pred_lt(exc, lag.T0, lag.frac, L);

  sharpen_F(mode, lag.T0, F);
  rebuild_code(shared, st.last_mode, words + 1, bfi, F, work.code);

  float gain_pit = 0.0f, gain_code = 0.0f;
  const std::array<float, 4> energies = shared.gains.past_qua_en;
  d_gain2(shared.gains, words[4], work.code, L, &gain_pit, &gain_code, bfi, s * L,
          mode.fac_inter_var);
  if (watcher != nullptr) {
    gain_pit = take_subframe(*watcher, shared.gains, energies, st.old_pitch, exc, work.code);
  }
  return finish_subframe(st, shared, {A, work.code, gain_pit, gain_code, pulses},
                         work.frame + s * L);
}

}  // namespace

void init_dec_swt(SwtDecoder& state, NarrowbandDecoderShared& shared) {
  state.last_mode = 1;
  state.old_pitch = 180;
  init_synthesis(state.synthesis);
  init_shared(shared);
}

bool finish_subframe(SwtDecoder& st, NarrowbandDecoderShared& shared, const SwtSubframe& part,
                     float* synth) {
  Scratch enhanced(L);
  SynthesisState& syn = st.synthesis;
  const bool mixed =
      mix_excitation(syn, syn.exc(), part.code, part.gain_pit, part.gain_code, enhanced.data());
  if (part.fade_to != 1.0f || part.fade_from != 1.0f) {
    fade(enhanced.data(), L, part.fade_from, part.fade_to);
  }
  const bool sane = synthesize(syn, part.A, enhanced.data(), synth, part.pulses) && mixed;
  if (!sane) {
    set_zero(synth, L);
    clear_absurd(syn, shared);
  }
  shift_excitation(syn);
  return sane;
}

int dec_swt(SwtDecoder& st, NarrowbandDecoderShared& shared, const Mode& mode,
            const std::int32_t* prm, std::int16_t* synth, int bfi, NarrowbandConcealment* watcher) {
  ScratchStruct<Work> work;
  if (bfi == 0) st.last_mode = codec_mode(shared, prm[0]);

  d_isf_ma(shared.isf, prm + 1, work->isp, bfi);
  interpol_lpc(work->isp, st.synthesis.isfold.data(), work->A, subframes);
  std::copy_n(work->isp, M, st.synthesis.isfold.data());

  LagWalk walk;
  int cleared = 0;
  find_F(mode, work->A, L, work->F[0]);
  for (int s = 0; s < subframes; ++s) {
    const std::int32_t* words = prm + 6 + s * words_per_subframe;
    if (!decode_subframe(st, shared, mode, words, s, bfi, walk, watcher, *work)) ++cleared;
  }
  float_to_pcm(work->frame, synth, subframes * L);
  return cleared;
}

}  // namespace quel
