#include "dsp/voice_activity.h"

#include <algorithm>

#include "dsp/elementary.h"

namespace quel {
namespace {

constexpr std::size_t bands = VoiceActivity::bands;
constexpr auto windows = static_cast<std::int32_t>(VoiceActivity::windows);
constexpr int max_order = 16;
using Bands = VoiceActivity::Bands;

// Chosen on recorded speech with pauses, in white and pink noise and babble at 5 to 20 dB, so that
// less than a hundredth of the speech is missed.
// Excess over what the background itself has, dB per millisecond of a frame: more frames in a
// second are more chances to find speech, and to be wrong.
constexpr float threshold = 0.0048f;
constexpr float lag_weight = 1.5f;      // dB for a lag gain that is 1 above the background's
constexpr float lag_margin = 0.2f;      // of the lag gain
constexpr float floor_of_least = 1.6f;  // mean over least power of 1.6 s of steady noise
constexpr int recent_ms = 42, floor_ms = 160, habit_ms = 900, peak_ms = 5000;
constexpr int window_ms = 200;
constexpr int first_windows = 4;    // that have to be there before their least is believed
constexpr int short_burst_ms = 70;  // shorter ones are chance, most of the time
constexpr int short_hangover_ms = 40;
constexpr int hangover_ms = 250, faint_hangover_ms = 400;  // the latter on top, in loud noise
constexpr float faint_peak = 4.0f, strong_peak = 10.0f;    // dB

constexpr double middle(std::size_t band) {
  constexpr double pi = 3.14159265358979323846;
  return pi * (static_cast<double>(band) + 0.5) / static_cast<double>(bands);
}

// Blackman and Tukey's spectrum at the middle of each band, with Bartlett's window, with which no
// power is negative.
struct Estimator {
  std::array<std::array<float, max_order + 1>, bands> weight{};
  constexpr explicit Estimator(int order) {
    for (std::size_t b = 0; b < bands; ++b) {
      weight[b][0] = 1.0f;
      for (int k = 1; k <= order; ++k) {
        const double taper = 2.0 * (1.0 - static_cast<double>(k) / (order + 1));
        weight[b][static_cast<std::size_t>(k)] = static_cast<float>(taper * cosine(middle(b) * k));
      }
    }
  }
};
constexpr Estimator narrow(10), wide(16);

// For a filter's response there. The taps of a pre-filter fall by half from one to the next, so
// that the first nine do.
struct Phases {
  static constexpr std::size_t taps = 9;
  std::array<std::array<float, taps>, bands> real{}, imaginary{};
  constexpr Phases() {
    for (std::size_t b = 0; b < bands; ++b) {
      for (std::size_t k = 0; k < taps; ++k) {
        const double angle = middle(b) * static_cast<double>(k);
        real[b][k] = static_cast<float>(cosine(angle));
        imaginary[b][k] = static_cast<float>(cosine(angle - middle(0) * bands));
      }
    }
  }
};
constexpr Phases phases;

float response(const float* filter, std::size_t band) {
  float real = 0.0f, imaginary = 0.0f;
  for (std::size_t k = 0; k < Phases::taps; ++k) {
    real += phases.real[band][k] * filter[k];
    imaginary += phases.imaginary[band][k] * filter[k];
  }
  return std::max(real * real + imaginary * imaginary, 1e-3f);
}

Bands powers(const VoiceFrame& frame) {
  const Estimator& estimator = frame.order == 10 ? narrow : wide;
  Bands power;
  for (std::size_t b = 0; b < bands; ++b) {
    float sum = 0.0f;
    for (int k = 0; k <= frame.order; ++k) {
      sum += estimator.weight[b][static_cast<std::size_t>(k)] * frame.r[k];
    }
    if (frame.prefilter != nullptr) sum /= response(frame.prefilter, b);
    power[b] = std::max(sum, frame.least_power);
  }
  return power;
}

// Mean over the bands of what the power is above the floor, dB.
float excess(const Bands& power, const Bands& floor) {
  double product = 1.0;
  for (std::size_t b = 0; b < bands; ++b) {
    if (power[b] > floor[b]) product *= static_cast<double>(power[b]) / floor[b];
  }
  return static_cast<float>(10.0 / static_cast<double>(bands) * log_10(product));
}

float share(int milliseconds, int time) {
  return static_cast<float>(milliseconds) / static_cast<float>(milliseconds + time);
}

void approach(float& value, float target, float part) {
  value += part * (target - value);
}
void approach(Bands& value, const Bands& target, float part) {
  for (std::size_t b = 0; b < bands; ++b) approach(value[b], target[b], part);
}

void start(VoiceActivity& st, const Bands& power, float least_power) {
  st.started = 1;
  st.floor.fill(least_power);
  st.recent = power;
}

// Speech has gaps, also within each band: what all of the last second and a half is above is the
// background, even if it has never been heard alone.
void raise_floor(VoiceActivity& st, int milliseconds) {
  Bands& least = st.least[static_cast<std::size_t>(st.window)];
  for (std::size_t b = 0; b < bands; ++b) {
    least[b] = st.in_window == 0 ? st.recent[b] : std::min(least[b], st.recent[b]);
  }
  st.in_window += milliseconds;
  if (st.in_window < window_ms) return;
  st.in_window = 0;
  st.window = (st.window + 1) % windows;
  st.filled = std::min(st.filled + 1, windows);
  if (st.filled < first_windows) return;
  for (std::size_t b = 0; b < bands; ++b) {
    float low = st.least[0][b];
    for (std::int32_t w = 1; w < st.filled; ++w) {
      low = std::min(low, st.least[static_cast<std::size_t>(w)][b]);
    }
    st.floor[b] = std::max(st.floor[b], floor_of_least * low);
  }
}

// Words end faintly, and the more of the end is lost in noise the louder that is.
int hangover(const VoiceActivity& st) {
  if (st.burst < short_burst_ms) return short_hangover_ms;
  const float faint = std::clamp((strong_peak - st.peak) / (strong_peak - faint_peak), 0.0f, 1.0f);
  return hangover_ms + static_cast<int>(faint * static_cast<float>(faint_hangover_ms));
}

}  // namespace

bool hear_voice(VoiceActivity& st, const VoiceFrame& frame) {
  const int ms = frame.milliseconds;
  const Bands power = powers(frame);
  if (st.started == 0) start(st, power, frame.least_power);
  approach(st.recent, power, share(ms, recent_ms));
  raise_floor(st, ms);

  const float above = excess(st.recent, st.floor);
  const float voiced = std::max(0.0f, frame.lag_gain - st.usual_gain - lag_margin);
  approach(st.peak, 0.0f, share(ms, peak_ms));
  st.peak = std::max(st.peak, above);
  const float least = st.restless + threshold * static_cast<float>(ms);
  if (above + lag_weight * voiced > least) {
    st.burst = std::min(st.burst + ms, short_burst_ms);
    st.hangover = std::max(st.hangover, hangover(st));
    return true;
  }
  st.burst = 0;
  approach(st.floor, power, share(ms, floor_ms));
  approach(st.restless, above, share(ms, habit_ms));
  approach(st.usual_gain, frame.lag_gain, share(ms, habit_ms));
  if (st.hangover <= 0) return false;
  st.hangover -= ms;
  return true;
}

float distance(const Bands& one, const Bands& other) {
  double product = 1.0;
  for (std::size_t b = 0; b < bands; ++b) {
    product *= one[b] > other[b] ? static_cast<double>(one[b]) / other[b]
                                 : static_cast<double>(other[b]) / one[b];
  }
  return static_cast<float>(10.0 / static_cast<double>(bands) * log_10(product));
}

}  // namespace quel
