#include "dsp/comfort_noise.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "dsp/elementary.h"

namespace quel {
namespace {

// Quieter by this than the average, dB: speech has ended, and what comes now is the background.
constexpr float fall = 6.0f;
// Share of the newest frame in the average, once there is one: of frames in a row, and of those
// that come one by one out of a pause and have to stand for much more time.
constexpr float share_in_row = 0.12f;
constexpr float share_in_pause = 0.35f;
// Part of the way to what was heard that a frame goes.
constexpr float step = 0.25f;
constexpr std::int32_t most_frames = 100;
// Fewer received frames than this in a row have come one by one out of a pause.
constexpr std::int32_t short_row = 4;
// Below any level that 16 bits hold, so that silence has one, too: mean square.
constexpr double least_power = 0.01;

void move(Background& from, const Background& to, float part) {
  for (std::size_t i = 0; i < from.frequencies.size(); ++i) {
    from.frequencies[i] += part * (to.frequencies[i] - from.frequencies[i]);
  }
  from.level += part * (to.level - from.level);
  from.correction += part * (to.correction - from.correction);
}

float level_of(const std::int16_t* pcm, int n) {
  std::int64_t sum = 0;
  for (int i = 0; i < n; ++i) sum += static_cast<std::int32_t>(pcm[i]) * pcm[i];
  return static_cast<float>(10.0 * log_10(static_cast<double>(sum) / n + least_power));
}

}  // namespace

void hear_frame(ComfortNoise& state, const std::int16_t* pcm, int n, const float* frequencies,
                int order, float correction) {
  Background frame;
  std::copy_n(frequencies, order, frame.frequencies.begin());
  frame.level = level_of(pcm, n);
  frame.correction = correction;
  if (state.frames == 0 || frame.level < state.heard.level - fall) {
    state.heard = frame;
    state.frames = 1;
  } else {
    const float share = state.in_row < short_row ? share_in_pause : share_in_row;
    move(state.heard, frame, std::max(1.0f / static_cast<float>(state.frames + 1), share));
    state.frames = std::min(state.frames + 1, most_frames);
  }
  state.in_row = std::min(state.in_row + 1, most_frames);
}

const Background& next_background(ComfortNoise& state) {
  if (state.begun == 0 || state.in_row >= short_row) {
    state.played = state.heard;
  } else {
    move(state.played, state.heard, step);
  }
  state.begun = 1;
  state.in_row = 0;
  return state.played;
}

void noise_for_level(std::uint32_t& random, const float* response, int n, float level, float* x,
                     int length) {
  double energy = 0.0;
  for (int i = 0; i < n; ++i) energy += static_cast<double>(response[i]) * response[i];
  // Numbers spread evenly over -1..1 have a mean square of 1/3.
  const double rms = std::sqrt(3.0 * power_of_10(static_cast<double>(level) / 10.0) / energy);
  for (int i = 0; i < length; ++i) {
    random = random * 1103515245u + 12345u;
    const auto even = static_cast<std::int32_t>(random >> 16) - 32768;
    x[i] = static_cast<float>(rms * (even / 32768.0));
  }
}

}  // namespace quel
