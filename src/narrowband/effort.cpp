#include "narrowband/effort.h"

#include <algorithm>
#include <cstddef>

#include "dsp/best_few.h"
#include "dsp/convolve.h"
#include "dsp/corr_xy.h"
#include "dsp/invsqrt.h"
#include "dsp/residu.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "dsp/vector.h"
#include "dsp/weight_a.h"
#include "narrowband/d_acb.h"
#include "narrowband/d_acb_5k.h"
#include "narrowband/find_F.h"
#include "narrowband/gain_rows.h"
#include "narrowband/gain_tables.h"
#include "narrowband/ltp.h"

namespace quel {
namespace {

using namespace narrowband;

constexpr int M = 10;
constexpr int L = 48;            // subframe
constexpr int second_half = 96;  // flavor 2: where the second absolute lag of a frame starts
constexpr int whole_lags = 85;   // lags from here on have no thirds where they are coded absolutely

// Error weighting A(z/0.94)/A(z/0.6): that of effort 0, 0.9 and 0.6, hears less of the spectrum's
// valleys.
constexpr float gamma1 = 0.94f;
constexpr float gamma2 = 0.6f;

// What all paths of a subframe share.
struct Subframe {
  const Mode& mode;
  const NarrowbandFrame& frame;
  const NarrowbandLevel& level;
  int k;  // in the frame
  const float* speech;
  const float* Aq;
  Scratch<> ap1{M + 1}, ap2{M + 1};  // weighted LP filters
  Scratch<> res{L};                  // LP residual
  Scratch<> h{L};                    // weighted synthesis response
  Scratch<> F{L}, h2{L};             // pulse shape without its repetitions, the same through h

  int start() const { return k * L; }
  bool absolute() const { return k == 0 || (frame.flavor == 2 && start() == second_half); }
  int words() const { return frame.flavor == 2 ? 3 : 5; }
  float* excitation(Path& path) const {
    return path.exc.data() + NarrowbandEncoder::exc_past + start();
  }
};

void prepare(Subframe& sub) {
  const float* A = sub.frame.A + sub.k * (M + 1);
  pondai(A, sub.ap1.data(), gamma1, M);
  pondai(A, sub.ap2.data(), gamma2, M);
  residu(sub.Aq, M, sub.speech, sub.res.data(), L);

  Scratch silence(M), denominator(M + 1);
  set_zero(silence.data(), M);
  float* h = sub.h.data();
  float* F = sub.F.data();
  std::copy_n(sub.ap1.data(), M + 1, h);
  set_zero(h + M + 1, L - M - 1);
  start_F(sub.Aq, F, denominator.data());
  syn_filt_both(M, {sub.Aq, h, h, L, silence.data(), 0},
                {denominator.data(), F, F, L, silence.data(), 0});
  syn_filt(sub.ap2.data(), M, h, h, L, silence.data(), 0);
  convolve(F, h, sub.h2.data(), L);
}

// Target of a path: the residual through the weighted synthesis filter, from the memories that the
// path's excitation has left.
void find_target(Subframe& sub, Path& path, float* xn) {
  Scratch error(M + L);
  float* e = error.data() + M;
  std::copy_n(path.mem_err.data(), M, error.data());
  syn_filt(sub.Aq, M, sub.res.data(), e, L, error.data(), 0);
  residu(sub.ap1.data(), M, e, xn, L);
  syn_filt(sub.ap2.data(), M, xn, xn, L, path.mem_w0.data(), 0);
}

// A lag with its merit.
struct RankedLag {
  int thirds;
  float merit;
};

// As keep_best.
template <typename Entry, int most>
struct Best {
  Entry entry[most];
  int count = 0;

  template <typename Before>
  void put(int places, const Entry& now, Before before) {
    count = keep_best(entry, count, places, now, before);
  }
};

Lag from_thirds(int thirds) {
  const int T0 = (thirds + 1) / 3;
  return {T0, thirds - 3 * T0};
}

// The lags of a range with the largest interpolated correlations.
Best<RankedLag, max_ranked> rank_lags(const Subframe& sub, LagRange range, const float* exc,
                                      const float* xn, const float* h) {
  constexpr int margin = 4;
  constexpr int most_lags = 10 + 2 * margin;
  Scratch correlations(most_lags);
  const int t_min = range.t0_min - margin;
  narrowband::norm_corr(exc, xn, h, t_min, range.t0_max + margin, correlations.data() - t_min);
  Best<RankedLag, max_ranked> best;
  for (int thirds = 3 * range.t0_min - 2; thirds <= 3 * range.t0_max + 2; ++thirds) {
    const Lag lag = from_thirds(thirds);
    if (sub.absolute() && thirds > 3 * whole_lags && lag.frac != 0) continue;
    RankedLag ranked{thirds, 0.0f};
    interpol(correlations.data() + (lag.T0 - t_min), &ranked.merit, inter3_1, 4, lag.frac, 1);
    best.put(sub.level.ranked, ranked,
             [](const RankedLag& a, const RankedLag& b) { return a.merit > b.merit; });
  }
  return best;
}

// The lags of a path whose decoded vectors are most like the target.
template <typename Use>
void for_best_lags(Subframe& sub, NarrowbandEffort& effort, Path& path, const float* xn, Use use) {
  float* exc = sub.excitation(path);
  // Lags below 48 read past the history: the residual stands in for excitation yet unknown.
  mvr2r(sub.res.data(), exc, L);
  const auto ranked = rank_lags(sub, path.range, exc, xn, sub.h.data());
  auto& tried = effort.tried;
  Best<std::size_t, max_ranked> best;
  for (int i = 0; i < ranked.count; ++i) {
    Adaptive& now = tried[static_cast<std::size_t>(i)];
    now.thirds = ranked.entry[i].thirds;
    const Lag lag = from_thirds(now.thirds);
    pred_lt(exc, lag.T0, lag.frac, L);
    mvr2r(exc, now.vector.data(), L);
    convolve(now.vector.data(), sub.h.data(), now.y1.data(), L);
    const float* y1 = now.y1.data();
    double xy = 0.0, yy = 0.01;
    for (int n = 0; n < L; ++n) {
      xy += static_cast<double>(xn[n]) * y1[n];
      yy += static_cast<double>(y1[n]) * y1[n];
    }
    now.merit = static_cast<float>(xy * invsqrt(yy));
    best.put(sub.level.lags, static_cast<std::size_t>(i),
             [&](std::size_t a, std::size_t b) { return tried[a].merit > tried[b].merit; });
  }
  for (int i = 0; i < best.count; ++i) use(tried[best.entry[i]]);
}

void find_code(const Subframe& sub, bool two_pulses, const PulseTarget& target, const float* F,
               PulseCorrelations& phi, Trial& trial, float* y2) {
  std::int32_t* words = &trial.words[1];
  float* code = trial.code.data();
  if (sub.frame.flavor == 2) {
    (two_pulses ? search_opposite_pair : search_sparse_triple)(target, words);
    const auto rebuild = two_pulses ? dec_acb_2p10b : dec_acb_3p10b;
    rebuild(*words, F, code);
    rebuild(*words, target.h, y2);
    return;
  }
  const auto rebuild = sub.frame.flavor == 1 ? dec_ACB_27 : dec_ACB_15;
  if (sub.frame.flavor == 1) {
    search_six_pulses(target, sub.level.kicks, phi, words);
  } else {
    search_three_pulses(target, words);
  }
  rebuild(words, F, code);
  rebuild(words, target.h, y2);
}

std::int32_t lag_index(const Subframe& sub, const Path& path, Lag& lag) {
  return sub.absolute() ? encode_absolute_lag(lag.T0, &lag.frac)
                        : encode_relative_lag(lag.T0, lag.frac, path.range.t0_min);
}

// Finds the code for a lag; g_coeff [0..4] becomes the terms of the error's energy.
void try_lag(Subframe& sub, const Path& path, const float* xn, const Adaptive& adaptive,
             PulseCorrelations& phi, Trial& trial, float* g_coeff) {
  Scratch x2(L), dn(L), dn1(L), F(L), h2(L), y2(L);
  const float* y1 = adaptive.y1.data();
  Lag lag = from_thirds(adaptive.thirds);
  trial.words[0] = lag_index(sub, path, lag);
  trial.T0 = lag.T0;
  std::copy_n(adaptive.vector.data(), L, trial.adaptive.data());

  const double gain = corr_xy1(xn, y1, g_coeff, L);
  const float gain_pit = limited_pitch_gain(gain, sub.frame.crowded);
  const bool free = gain_pit == static_cast<float>(gain);
  updt_tar(xn, x2.data(), y1, gain_pit, L);
  // Repeating is linear: a repeated shape through h is the shape through h, repeated.
  mvr2r(sub.F.data(), F.data(), L);
  mvr2r(sub.h2.data(), h2.data(), L);
  sharpen_F(sub.mode, lag.T0, F.data());
  sharpen_F(sub.mode, lag.T0, h2.data());
  backfil2(x2.data(), dn.data(), h2.data(), L);
  backfil2(y1, dn1.data(), h2.data(), L);
  find_code(sub, path.old_gain_pit >= 0.8f,
            {dn.data(), dn1.data(), free ? 1.0f / g_coeff[0] : 0.0f, h2.data()}, F.data(), phi,
            trial, y2.data());

  corr_xy2(xn, y1, y2.data(), g_coeff, L);
  trial.gcode0 = predict_code_gain(path.gains.past_qua_en, trial.code.data(), L);
  std::copy_n(xn + L - M, M, trial.xn_end.data());
  std::copy_n(y1 + L - M, M, trial.y1_end.data());
  std::copy_n(y2.data() + L - M, M, trial.y2_end.data());
}

// Offers the ways on from a path.
template <typename Offer>
void expand(Subframe& sub, NarrowbandEffort& effort, int& trials, Path& path, Offer offer) {
  if (sub.absolute()) {
    path.range = sub.start() == 0 ? sub.frame.first_range : sub.frame.second_range;
  }
  Scratch xn(L);
  find_target(sub, path, xn.data());
  double xx = 0.0;
  for (int n = 0; n < L; ++n) xx += static_cast<double>(xn[n]) * xn[n];
  for_best_lags(sub, effort, path, xn.data(), [&](const Adaptive& adaptive) {
    Trial& trial = effort.trials[static_cast<std::size_t>(trials)];
    float g_coeff[5];
    try_lag(sub, path, xn.data(), adaptive, effort.phi, trial, g_coeff);
    GainRow rows[max_gain_rows];
    best_gain_rows(trial.gcode0, g_coeff, sub.frame.crowded, sub.level.gain_rows, rows);
    for (int i = 0; i < sub.level.gain_rows; ++i) {
      offer(xx + rows[i].error, Choice{trials, rows[i].row});
    }
    ++trials;
  });
}

// Moves a path on by one subframe.
void follow(const Subframe& sub, const Trial& trial, int row, Path& path) {
  if (sub.absolute()) path.range = range_around_lag(trial.T0);
  float gain_pit = 0.0f, gain_code = 0.0f;
  take_gains(path.gains, row, trial.gcode0, &gain_pit, &gain_code);
  path.old_gain_pit = gain_pit;

  float* exc = sub.excitation(path);
  mvr2r(trial.adaptive.data(), exc, L);
  find_exc(exc, trial.code.data(), gain_pit, gain_code, L);
  Scratch synth(L);
  syn_filt(sub.Aq, M, exc, synth.data(), L, path.mem_syn.data(), 1);
  for (std::size_t j = 0; j < M; ++j) {
    const int n = L - M + static_cast<int>(j);
    path.mem_err[j] = sub.speech[n] - synth[n];
    path.mem_w0[j] =
        static_cast<float>(trial.xn_end[j] - static_cast<double>(gain_pit) * trial.y1_end[j] -
                           static_cast<double>(gain_code) * trial.y2_end[j]);
  }

  std::int32_t* word = path.words.data() + sub.k * sub.words();
  std::copy_n(trial.words.data(), sub.words() - 1, word);
  word[sub.words() - 1] = row;
}

template <typename From, typename To>
void copy_memories(const From& from, To& to) {
  to.exc = from.exc;
  to.mem_syn = from.mem_syn;
  to.mem_err = from.mem_err;
  to.mem_w0 = from.mem_w0;
  to.gains = from.gains;
  to.old_gain_pit = from.old_gain_pit;
}

}  // namespace

void search_excitation(NarrowbandEncoder& st, NarrowbandEffort& effort, const Mode& mode,
                       const NarrowbandFrame& frame, std::int32_t* word) {
  const NarrowbandLevel& level = narrowband_levels[static_cast<std::size_t>(effort.level - 1)];
  copy_memories(st, effort.search.start());
  for (int k = 0; k < frame.subframes; ++k) {
    const float* speech = st.speech.data() + NarrowbandEncoder::coded_start + k * L;
    Subframe sub{mode, frame, level, k, speech, frame.Aq + k * (M + 1)};
    prepare(sub);
    int trials = 0;
    effort.search.step(
        level.paths, [&](Path& path, auto offer) { expand(sub, effort, trials, path, offer); },
        [&](Path& path, const Choice& choice) {
          follow(sub, effort.trials[static_cast<std::size_t>(choice.trial)], choice.row, path);
        });
  }
  copy_memories(effort.search.best(), st);
  std::copy_n(effort.search.best().words.data(), frame.subframes * (frame.flavor == 2 ? 3 : 5),
              word);
}

}  // namespace quel
