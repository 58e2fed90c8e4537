#include "tools/level_meter.h"

#include <algorithm>
#include <cmath>

#include "tools/eval_text.h"
#include "tools/text.h"

namespace quel::tools {
namespace {

/// Below this mean square, -60 dB, nobody would miss what cancels.
constexpr double quiet = 1e-6;
/// Beyond what channels without anything in common lose, 10 log10 of their number.
constexpr double bearable_db = 6.0;
/// A mean that is only rounding.
constexpr double silence_db = 90.0;

double decibels(double power_ratio) {
  return 10.0 * std::log10(power_ratio);
}

}  // namespace

void LevelMeter::add(std::span<const float> x) {
  samples_ += x.size();
  for (const float v : x) {
    const float size = std::abs(v);
    if (size <= 1.0f) continue;
    ++clipped_;
    peak_ = std::max(peak_, size);
  }
}

std::optional<std::string> LevelMeter::note(double gain_db) const {
  if (clipped_ == 0) return std::nullopt;
  const double over = decibels(static_cast<double>(peak_) * peak_);
  const double most = std::floor(10.0 * (gain_db - over)) / 10.0;
  return "clipped: " + counted(clipped_, "sample") + " of " + std::to_string(samples_) +
         (clipped_ == 1 ? " is " : " are up to ") + fixed(over, 1) +
         " dB above full scale; --gain " + fixed(most, 1) + " is the most that fits";
}

void ChannelMeter::add(std::span<const float> joint, float mean) {
  ++frames_;
  channels_ = joint.size();
  double sum = 0.0;
  for (const float v : joint) sum += static_cast<double>(v) * v;
  apart_ += sum / static_cast<double>(joint.size());
  mean_ += static_cast<double>(mean) * mean;
}

std::optional<std::string> ChannelMeter::note() const {
  if (channels_ < 2 || !(apart_ > quiet * static_cast<double>(frames_))) return std::nullopt;
  const double lost = mean_ > 0.0 ? decibels(apart_ / mean_) : silence_db;
  if (lost <= decibels(static_cast<double>(channels_)) + bearable_db) return std::nullopt;
  return std::string("its channels cancel each other") +
         (lost < silence_db ? ": their mean is " + fixed(lost, 1) + " dB below them"
                            : ", and their mean is silence") +
         "; --channel 1 takes one of them, --channel each all";
}

}  // namespace quel::tools
