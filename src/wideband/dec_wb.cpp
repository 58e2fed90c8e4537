#include "wideband/dec_wb.h"

#include <algorithm>
#include <cstddef>

#include "dsp/pcm.h"
#include "dsp/sane.h"
#include "dsp/scratch.h"
#include "dsp/weight_a.h"
#include "wideband/dec45_85.h"
#include "wideband/lsf2a.h"
#include "wideband/output_wb.h"
#include "wideband/pred_lt16.h"

namespace quel {
namespace {

constexpr int order = 16;
constexpr int frame = 160;
constexpr int subframe = 80;
constexpr int pit_min = 30;
constexpr int pit_max = 281;
constexpr int shortest_lag = pit_min - 1;  // with a fraction of one third
constexpr float post_gamma = 0.5f;

static_assert(WidebandDecoder::past == exc16_history);

/// Track words of a lost frame.
std::array<std::int32_t, 5> random_tracks(std::uint32_t& random) {
  std::array<std::int32_t, 5> words;
  for (std::int32_t& word : words) {
    random = random * 1103515245u + 12345u;
    word = static_cast<std::int32_t>((random >> 16) & 0x1ff);
  }
  return words;
}

/// Lag of the subframe, held inside the history.
int decode_lag(WidebandDecoder& state, int index, int i, int* frac, int lost) {
  const int T0 = dec_lag3(state.lag, index, pit_min, pit_max, i, frac, lost);
  if (T0 >= shortest_lag && T0 < exc16_max_lag) return T0;
  *frac = 0;
  return T0 < shortest_lag ? pit_min : exc16_max_lag;
}

/// Working arrays of a frame.
struct Work {
  float lsp[order], Az[2][order + 1], Aw[order + 1];
  float code[subframe];
  float synth[frame];
};

struct Voicing {
  int lag;
  float gain;
};

/// Excitation of the subframe that starts at sample i, from its eight words.
Voicing decode_excitation(WidebandDecoder& state, const std::int32_t* words, int i, int bfi,
                          int lag_lost, WidebandConcealment* watcher, float* code) {
  float* exc = state.exc.data() + WidebandDecoder::past + i;
  int frac = 0;
  const int T0 = decode_lag(state, words[0], i, &frac, lag_lost);
  auto gain_pit = static_cast<float>(d_gain_pitch(state.gains, words[1], bfi));
  pred_lt16(exc, T0, frac, subframe);

  if (bfi != 0) {
    DEC_ACELP_45_85(random_tracks(state.random).data(), code);
  } else {
    DEC_ACELP_45_85(words + 2, code);
  }
  pit_shrp(code, T0, std::min(gain_pit, 1.0f), subframe);
  float gain_code = 0.0f;
  const std::array<float, 2> energies = state.gains.past_qua_en;
  d_gain_code(state.gains, words[7], code, subframe, &gain_code, bfi);
  if (watcher != nullptr) {
    gain_pit = take_subframe16(*watcher, state.gains, energies, 3 * T0 + frac, gain_pit, exc, code);
  }
  for (int n = 0; n < subframe; ++n) {
    exc[n] = static_cast<float>(static_cast<double>(gain_pit) * exc[n] +
                                static_cast<double>(gain_code) * code[n]);
  }
  return {T0, gain_pit};
}

}  // namespace

void init_decod_wb(WidebandDecoder& state) {
  state.exc.fill(0.0f);
  state.mem_syn.fill(0.0f);
  state.mem_post.fill(0.0f);
  state.pitch_postfilter.past.fill(0.0f);
  state.last_filter = wideband::flat_filter;
  state.last_postfilter = wideband::flat_filter;
  state.old_lsp = wideband::neutral_lsp();
}

void clear_absurd(WidebandDecoder& state) {
  state.exc.fill(0.0f);
  state.mem_syn.fill(0.0f);
  state.pitch_postfilter.past.fill(0.0f);
  state.mem_post.fill(0.0f);
  state.gains.past_gain_pit = 0.0f;
  state.gains.past_gain_code = 0.0f;
}

void inverse_prefilter(const WidebandDecoder& state, float* Aw) {
  weight_a(state.last_filter.data(), Aw, post_gamma, order);
}

bool finish_subframe16(WidebandDecoder& state, const float* A, const float* Aw, int k, int lag,
                       float gain_pit, const float* x, float* heard) {
  const wideband::OutputFilters filters = {A, Aw, k == 0 ? state.last_postfilter.data() : nullptr,
                                           state.mem_syn.data(), state.mem_post.data()};
  const bool sane =
      state.pitch_postfilter.on
          ? wideband::synthesize_enhanced(filters, state.pitch_postfilter, lag, gain_pit, x, heard)
          : wideband::synthesize_output(filters, x, heard);
  const float* exc = state.exc.data() + WidebandDecoder::past + k * subframe;
  if (sane && is_sane(exc, subframe)) return true;
  clear_absurd(state);
  std::fill_n(heard, subframe, 0.0f);
  return false;
}

void finish_frame16(WidebandDecoder& state, const float* A, const float* Aw, const float* synth,
                    std::int16_t* out) {
  std::copy(state.exc.begin() + frame, state.exc.end(), state.exc.begin());
  std::copy_n(Aw, order + 1, state.last_postfilter.begin());
  std::copy_n(A, order + 1, state.last_filter.begin());
  if (!is_sane(state.mem_post.data(), order)) state.mem_post.fill(0.0f);
  float_to_pcm(synth, out, frame);
}

int decod_wb(WidebandDecoder& state, const std::int32_t* prm, std::int16_t* out, int bad_lsf_ind,
             int bad_pitch_ind, WidebandConcealment* watcher) {
  // The indicators are flags: a sum with bfi could overflow, or cancel to "received".
  const int bfi = prm[0] != 0 ? 1 : 0;
  const int lsf_lost = bfi != 0 || bad_lsf_ind != 0 ? 1 : 0;
  const int lag_lost = bfi != 0 || bad_pitch_ind != 0 ? 1 : 0;

  ScratchStruct<Work> work;
  d_lsp(state.lsf, prm + 1, work->lsp, lsf_lost);
  if (watcher != nullptr && watcher->first_good != 0) {
    lsf_to_lsp(state.lsf.past_lsf_q.data(), wideband::concealed_lsf_min_dist, work->lsp);
    watcher->first_good = 0;
  }
  int_lpc(state.old_lsp.data(), work->lsp, work->Az[0], order);
  std::copy_n(work->lsp, order, state.old_lsp.begin());
  inverse_prefilter(state, work->Aw);
  int cleared = 0;
  for (int k = 0; k < 2; ++k) {
    const std::int32_t* words = prm + 7 + 8 * k;
    const Voicing voicing =
        decode_excitation(state, words, k * subframe, bfi, lag_lost, watcher, work->code);
    const bool sane = finish_subframe16(state, work->Az[k], work->Aw, k, voicing.lag, voicing.gain,
                                        state.exc.data() + WidebandDecoder::past + k * subframe,
                                        work->synth + k * subframe);
    if (!sane) ++cleared;
  }
  finish_frame16(state, work->Az[1], work->Aw, work->synth, out);
  return cleared;
}

}  // namespace quel
