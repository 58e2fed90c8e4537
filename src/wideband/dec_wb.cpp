#include "wideband/dec_wb.h"

#include <algorithm>
#include <cstddef>

#include "dsp/pcm.h"
#include "dsp/sane.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "dsp/weight_a.h"
#include "wideband/dec45_85.h"
#include "wideband/lsf2a.h"
#include "wideband/pred_lt16.h"

namespace quel {
namespace {

constexpr int order = 16;
constexpr int frame = 160;
constexpr int subframe = 80;
constexpr int fade = 30;  // samples from one postfilter to the next
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

struct Voicing {
  int lag;
  float gain;
};

/// Excitation of the subframe that starts at sample i, from its eight words.
Voicing decode_excitation(WidebandDecoder& state, const std::int32_t* words, int i, int bfi,
                          int lag_lost) {
  float* exc = state.exc.data() + WidebandDecoder::past + i;
  int frac = 0;
  const int T0 = decode_lag(state, words[0], i, &frac, lag_lost);
  const auto gain_pit = static_cast<float>(d_gain_pitch(state.gains, words[1], bfi));
  pred_lt16(exc, T0, frac, subframe);

  Scratch code(subframe);
  if (bfi != 0) {
    DEC_ACELP_45_85(random_tracks(state.random).data(), code.data());
  } else {
    DEC_ACELP_45_85(words + 2, code.data());
  }
  pit_shrp(code.data(), T0, std::min(gain_pit, 1.0f), subframe);
  float gain_code = 0.0f;
  d_gain_code(state.gains, words[7], code.data(), subframe, &gain_code, bfi);
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
  state.gains.past_gain_pit = 0.0f;
  state.gains.past_gain_code = 0.0f;
}

/// Inverse of the encoder's pre-filter, in place, fading from the last frame's filter to this
/// one's.
void postfilter(WidebandDecoder& state, float* synth) {
  Scratch Aw(order + 1);
  Scratch old(fade);
  weight_a(state.last_filter.data(), Aw.data(), post_gamma, order);
  Scratch past(order), first_half(subframe);
  std::copy_n(state.mem_post.data(), order, past.data());
  syn_filt_both(order, {state.last_postfilter.data(), synth, old.data(), fade, past.data(), 0},
                {Aw.data(), synth, first_half.data(), subframe, state.mem_post.data(), 1});
  std::copy_n(first_half.data(), subframe, synth);
  syn_filt16(Aw.data(), order, synth + subframe, synth + subframe, subframe, state.mem_post.data(),
             1);
  std::copy_n(Aw.data(), order + 1, state.last_postfilter.begin());
  float fac = 1.0f;
  for (int n = 0; n < fade; ++n) {
    synth[n] = static_cast<float>(static_cast<double>(fac) * old[n] + (1.0 - fac) * synth[n]);
    fac -= 0.033333335f;
  }
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

  Scratch Az(2 * (order + 1));
  Scratch synth(frame);
  {
    Scratch lsp(order);
    d_lsp(state.lsf, prm + 1, lsp.data(), lsf_lost);
    int_lpc(state.old_lsp.data(), lsp.data(), Az.data(), order);
    std::copy_n(lsp.data(), order, state.old_lsp.begin());
  }
  std::array<bool, 2> ran_away{};
  for (std::size_t k = 0; k < 2; ++k) {
    const int i = static_cast<int>(k) * subframe;
    const float* exc = state.exc.data() + WidebandDecoder::past + i;
    const Voicing voicing = decode_excitation(state, prm + 7 + 8 * k, i, bfi, lag_lost);
    syn_filt16(Az.data() + k * (order + 1), order, exc, synth.data() + i, subframe,
               state.mem_syn.data(), 1);
    ran_away[k] = !is_sane(exc, subframe) || !is_sane(synth.data() + i, subframe);
    if (ran_away[k]) {
      clear_histories(state);
      std::fill_n(synth.data() + i, subframe, 0.0f);
    }
    postfilter_pitch(state.pitch_postfilter, voicing.lag, voicing.gain, synth.data() + i);
  }
  std::copy(state.exc.begin() + frame, state.exc.end(), state.exc.begin());

  // The postfilter runs once over the frame; its memory is cleared where the subframe stood.
  if (ran_away[0]) state.mem_post.fill(0.0f);
  postfilter(state, synth.data());
  std::copy_n(Az.data() + order + 1, order + 1, state.last_filter.begin());
  if (ran_away[1]) std::fill_n(synth.data() + subframe, subframe, 0.0f);
  if (ran_away[1] || !is_sane(state.mem_post.data(), order)) state.mem_post.fill(0.0f);
  float_to_pcm(synth.data(), out, frame);
  return ran_away[0] + ran_away[1];
}

}  // namespace quel
