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
                          int lag_lost, float* code) {
  float* exc = state.exc.data() + WidebandDecoder::past + i;
  int frac = 0;
  const int T0 = decode_lag(state, words[0], i, &frac, lag_lost);
  const auto gain_pit = static_cast<float>(d_gain_pitch(state.gains, words[1], bfi));
  pred_lt16(exc, T0, frac, subframe);

  if (bfi != 0) {
    DEC_ACELP_45_85(random_tracks(state.random).data(), code);
  } else {
    DEC_ACELP_45_85(words + 2, code);
  }
  pit_shrp(code, T0, std::min(gain_pit, 1.0f), subframe);
  float gain_code = 0.0f;
  d_gain_code(state.gains, words[7], code, subframe, &gain_code, bfi);
  for (int n = 0; n < subframe; ++n) {
    exc[n] = static_cast<float>(static_cast<double>(gain_pit) * exc[n] +
                                static_cast<double>(gain_code) * code[n]);
  }
  return {T0, gain_pit};
}

/// Forgets what fed a subframe that ran away; predictors, lags and the random generator go on.
void clear_histories(WidebandDecoder& state) {
  state.exc.fill(0.0f);
  state.mem_syn.fill(0.0f);
  state.pitch_postfilter.past.fill(0.0f);
  state.mem_post.fill(0.0f);
  state.gains.past_gain_pit = 0.0f;
  state.gains.past_gain_code = 0.0f;
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

int decod_wb(WidebandDecoder& state, const std::int32_t* prm, std::int16_t* out, int bad_lsf_ind,
             int bad_pitch_ind) {
  // The indicators are flags: a sum with bfi could overflow, or cancel to "received".
  const int bfi = prm[0] != 0 ? 1 : 0;
  const int lsf_lost = bfi != 0 || bad_lsf_ind != 0 ? 1 : 0;
  const int lag_lost = bfi != 0 || bad_pitch_ind != 0 ? 1 : 0;

  ScratchStruct<Work> work;
  d_lsp(state.lsf, prm + 1, work->lsp, lsf_lost);
  int_lpc(state.old_lsp.data(), work->lsp, work->Az[0], order);
  std::copy_n(work->lsp, order, state.old_lsp.begin());
  weight_a(state.last_filter.data(), work->Aw, post_gamma, order);
  std::array<bool, 2> ran_away{};
  for (std::size_t k = 0; k < 2; ++k) {
    const int i = static_cast<int>(k) * subframe;
    const float* exc = state.exc.data() + WidebandDecoder::past + i;
    const Voicing voicing = decode_excitation(state, prm + 7 + 8 * k, i, bfi, lag_lost, work->code);
    const wideband::OutputFilters filters = {work->Az[k], work->Aw,
                                             k == 0 ? state.last_postfilter.data() : nullptr,
                                             state.mem_syn.data(), state.mem_post.data()};
    float* const heard = work->synth + i;
    const bool sane =
        state.pitch_postfilter.on
            ? wideband::synthesize_enhanced(filters, state.pitch_postfilter, voicing.lag,
                                            voicing.gain, exc, heard)
            : wideband::synthesize_output(filters, exc, heard);
    ran_away[k] = !sane || !is_sane(exc, subframe);
    if (!ran_away[k]) continue;
    clear_histories(state);
    std::fill_n(heard, subframe, 0.0f);
  }
  std::copy(state.exc.begin() + frame, state.exc.end(), state.exc.begin());
  std::copy_n(work->Aw, order + 1, state.last_postfilter.begin());
  std::copy_n(work->Az[1], order + 1, state.last_filter.begin());
  if (!is_sane(state.mem_post.data(), order)) state.mem_post.fill(0.0f);
  float_to_pcm(work->synth, out, frame);
  return ran_away[0] + ran_away[1];
}

}  // namespace quel
