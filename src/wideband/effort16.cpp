#include "wideband/effort16.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "dsp/convolve.h"
#include "dsp/scratch.h"
#include "dsp/vector.h"
#include "wideband/dec45_85.h"
#include "wideband/gain_tables16.h"
#include "wideband/joint_gains16.h"
#include "wideband/lag3.h"
#include "wideband/pred_lt16.h"

namespace quel::wideband {
namespace {

constexpr int order = 16;
constexpr int frame = 160;
constexpr int subframe = 80;
constexpr int exc_past = 292;
constexpr int pit_min = 30;
constexpr int pit_max = 281;

struct Level {
  int rotations;  ///< of the tracks that pulses are placed in
  int lags;       ///< that go through the whole search
  int survivors;  ///< ways through the first subframe that the second one goes on from
};
constexpr Level levels[] = {
    {.rotations = 3, .lags = 1, .survivors = 1},
    {.rotations = 5, .lags = 3, .survivors = 1},
    {.rotations = 5, .lags = 6, .survivors = 2},
};
static_assert(std::all_of(std::begin(levels), std::end(levels), [](const Level& l) {
  return l.lags <= most_lags16 && l.survivors <= most_paths;
}));

float length_of(const float* y) {
  double energy = 0.01;
  for (int n = 0; n < subframe; ++n) energy += static_cast<double>(y[n]) * y[n];
  return static_cast<float>(std::sqrt(energy));
}

/// The search of one subframe.
class SubframeSearch {
 public:
  SubframeSearch(WidebandEncoder& state, WidebandEffort& effort, const float* Aq, int i)
      : state_(state),
        effort_(effort),
        level_(levels[static_cast<std::size_t>(effort.level - 1)]),
        i_(i),
        res_(state.res.data() + i),
        exc_(state.exc.data() + exc_past + i) {
    const int filter = i == 0 ? 0 : order + 1;
    way_ = {Aq + filter, state.last_prefilter.data(), effort.listener.zeros.data() + filter,
            effort.listener.poles.data() + filter};
  }

  /// Tries the best lags of the path's window, each with the pulses and gains that suit it.
  template <typename Offer>
  void expand(Path& path, Offer offer) {
    if (impulse_is_known_) {
      hear(way_, path.memory, res_, path.target);
    } else {
      hear_with_impulse(way_, path.memory, res_, path.target, effort_.impulse);
      impulse_is_known_ = true;
    }
    recall(path);
    std::array<Lag16, most_lags16> lags;
    const int count = best_lags(exc_, path.target.weighted.data(), h(), path.window.min,
                                path.window.max, i_, subframe, lags.data(), level_.lags);
    for (int k = 0; k < count; ++k) {
      const auto [choice, error] = try_lag(path, lags[static_cast<std::size_t>(k)]);
      offer(error, choice);
    }
  }

  /// Codes the subframe as chosen.
  void follow(Path& path, const Choice& choice) {
    recall(path);
    std::int32_t* words = path.words.data() + (i_ == 0 ? 0 : 8);
    words[0] = enc_lag3(choice.lag.T0, choice.lag.frac, &path.window.min, &path.window.max, pit_min,
                        pit_max, i_);
    words[1] = choice.pitch_gain;
    std::copy_n(choice.tracks.data(), choice.tracks.size(), words + 2);

    Scratch y(subframe), error(subframe), code(subframe);
    const float gain_pit = qua_gain_pitch[static_cast<std::size_t>(choice.pitch_gain)];
    pred_lt16(exc_, choice.lag.T0, choice.lag.frac, subframe);
    convolve16(exc_, h(), y.data(), subframe);
    updt_tar(path.target.weighted.data(), error.data(), y.data(), gain_pit, subframe);
    DEC_ACELP_45_85(words + 2, code.data());
    pit_shrp(code.data(), choice.lag.T0, std::min(gain_pit, 1.0f), subframe);
    convolve16(code.data(), h(), y.data(), subframe);
    auto gain_code = static_cast<float>(get_gain(error.data(), y.data(), subframe));
    words[7] = q_gain_code(path.gains, code.data(), subframe, &gain_code);
    updt_tar(error.data(), error.data(), y.data(), gain_code, subframe);
    float* exc = path.exc.data() + i_;
    for (int n = 0; n < subframe; ++n) {
      exc[n] = static_cast<float>(static_cast<double>(gain_pit) * exc_[n] +
                                  static_cast<double>(gain_code) * code[n]);
    }
    path.memory = heard_error(path.target, effort_.impulse, exc, error.data());
  }

  int survivors() const { return i_ == 0 ? level_.survivors : 1; }

 private:
  struct Trial {
    Choice choice;
    double error;
  };

  const float* h() const { return effort_.impulse.weighted.data(); }

  /// Puts the path's past behind the subframe, and the residual into it: lags shorter than it meet
  /// a plausible signal.
  void recall(const Path& path) {
    std::copy_n(path.exc.data(), i_, exc_ - i_);
    mvr2r(res_, exc_, subframe);
  }

  Trial try_lag(const Path& path, Lag16 lag) {
    const float* xn = path.target.weighted.data();
    Scratch y1(subframe), code(subframe), y0(subframe);
    mvr2r(res_, exc_, subframe);
    pred_lt16(exc_, lag.T0, lag.frac, subframe);
    convolve16(exc_, h(), y1.data(), subframe);
    Choice choice{lag, 0, {}};
    find_code(xn, y1.data(), lag.T0, code.data(), y0.data(), choice.tracks.data());
    const JointGains gains =
        choose_gains(path.gains, {xn, y1.data(), code.data(), y0.data(), lag.T0});
    choice.pitch_gain = gains.pitch;
    return {choice, gains.error};
  }

  /// Pulses for an adaptive vector that is in exc_ and filtered in y1; y0 is their code filtered.
  void find_code(const float* xn, const float* y1, int T0, float* code, float* y0,
                 std::int32_t* tracks) {
    auto gain = static_cast<float>(get_gain(xn, y1, subframe));
    float quantised = gain;
    q_gain_pitch(&quantised);
    // A gain that the table can give will be given with the code gain in view. One that it cannot
    // will not: the code then has to do without.
    const bool free = gain >= qua_gain_pitch.front() && gain <= qua_gain_pitch.back();
    if (!free) gain = quantised;
    sharpen(T0, std::min(quantised, 1.0f));

    Scratch xn2(subframe), dn(subframe), cn(subframe), along(subframe);
    updt_tar(xn, xn2.data(), y1, gain, subframe);
    corr_xh(xn2.data(), dn.data(), effort_.sharpened.data(), subframe);
    updt_tar(res_, cn.data(), exc_, gain, subframe);
    if (free) {
      corr_xh(y1, along.data(), effort_.sharpened.data(), subframe);
      const float scale = 1.0f / length_of(y1);
      for (int n = 0; n < subframe; ++n) along[n] *= scale;
    } else {
      set_zero(along.data(), subframe);
    }
    PulseQuestion& question = effort_.question;
    question.rotations = level_.rotations;
    ask_for_pulses(state_.acelp, dn.data(), along.data(), cn.data(), question);
    Pulses pulses;
    find_pulses(question, effort_.phi.data(), pulses);
    pulse_words(pulses, tracks);
    build_code(pulses, h(), code, y0);
  }

  /// The response and its matrix, sharpened. Lags as long as the subframe leave both as they are.
  void sharpen(int T0, float sharpening) {
    if (T0 >= subframe) T0 = subframe, sharpening = 0.0f;
    if (T0 == sharpened_T0_ && sharpening == sharpening_) return;
    sharpened_T0_ = T0;
    sharpening_ = sharpening;
    std::copy_n(h(), subframe, effort_.sharpened.data());
    pit_shrp(effort_.sharpened.data(), T0, sharpening, subframe);
    response_matrix(effort_.sharpened.data(), effort_.phi.data());
  }

  WidebandEncoder& state_;
  WidebandEffort& effort_;
  const Level& level_;
  int i_;
  const float* res_;
  float* exc_;
  ErrorPath way_;
  bool impulse_is_known_ = false;
  int sharpened_T0_ = 0;
  float sharpening_ = 0.0f;
};

}  // namespace

void code_excitation(WidebandEncoder& state, WidebandEffort& effort, const float* Aq,
                     LagWindow16 window, std::int32_t* words) {
  Path& start = effort.paths.start();
  start.memory = effort.memory;
  start.gains = state.gains;
  start.window = window;
  for (int i = 0; i < frame; i += subframe) {
    SubframeSearch search(state, effort, Aq, i);
    effort.paths.step(
        search.survivors(), [&](Path& path, auto offer) { search.expand(path, offer); },
        [&](Path& path, const Choice& choice) { search.follow(path, choice); });
  }
  const Path& best = effort.paths.best();
  effort.memory = best.memory;
  state.gains = best.gains;
  std::copy_n(best.exc.data(), frame, state.exc.data() + exc_past);
  std::copy_n(best.words.data(), best.words.size(), words);
}

}  // namespace quel::wideband
