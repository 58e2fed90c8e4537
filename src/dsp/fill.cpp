#include "dsp/fill.h"

#include <algorithm>

namespace quel {
namespace {

template <typename T, std::size_t n>
void push(std::array<T, n>& values, T value) {
  std::copy_backward(values.begin(), values.end() - 1, values.end());
  values[0] = value;
}

}  // namespace

void remember(ExcitationPast& past, std::int32_t lag, float pitch_gain, float code_energy) {
  push(past.lag, lag);
  push(past.pitch_gain, pitch_gain);
  push(past.code_energy, code_energy);
}

void remember_noise(ExcitationPast& past, float level) {
  past.lag.fill(past.lag[0]);
  past.pitch_gain.fill(0.0f);
  past.code_energy.fill(level);
}

float median_pitch_gain(const ExcitationPast& past) {
  std::array<float, 4> gains;
  std::copy_n(past.pitch_gain.begin(), gains.size(), gains.begin());
  std::sort(gains.begin(), gains.end());
  return 0.5f * (gains[1] + gains[2]);
}

Fill fill_from(const ExcitationPast& past, const FillRule& rule) {
  Fill fill;
  const float median = median_pitch_gain(past);
  fill.voiced = median > rule.voiced_above ? 1 : 0;
  fill.pitch_gain =
      fill.voiced != 0 ? std::clamp(median, rule.least, rule.most) : std::min(median, 1.0f);
  double sum = 0.0;
  for (int i = 0; i < rule.averaged; ++i) sum += past.code_energy[static_cast<std::size_t>(i)];
  fill.code_energy = static_cast<float>(sum / rule.averaged + rule.unvoiced_change);
  fill.lag = static_cast<float>(past.lag[0]);
  const std::int32_t first = past.lag[static_cast<std::size_t>(rule.drift_span)];
  const float drift = static_cast<float>(past.lag[0] - first) / static_cast<float>(rule.drift_span);
  const bool drifts =
      fill.voiced != 0 && first != 0 && drift < rule.drift_limit && drift > -rule.drift_limit;
  fill.drift = drifts ? drift : 0.0f;
  return fill;
}

std::int32_t fill_lag(const Fill& fill, const FillRule& rule, int i) {
  const auto steps = static_cast<float>(std::min(i + 1, rule.drift_steps));
  const float lag = fill.lag + 0.5f * fill.drift * steps;
  return std::clamp(static_cast<std::int32_t>(lag + 0.5f), rule.shortest, rule.longest);
}

}  // namespace quel
