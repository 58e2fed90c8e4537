#include "tools/eval_compare.h"

#include <algorithm>

namespace quel::tools {

Comparison::Comparison(int rate, double loudest)
    : segment_(static_cast<std::size_t>(rate / 50)),
      snr_(rate),
      spectral_(rate),
      stoi_(rate, loudest) {}

void Comparison::add(std::span<const float> ref, std::span<const std::int16_t> test) {
  while (!ref.empty()) {
    const std::size_t count = std::min(ref.size(), segment_ - ref_.size());
    const auto to = static_cast<std::ptrdiff_t>(count);
    ref_.insert(ref_.end(), ref.begin(), ref.begin() + to);
    test_.insert(test_.end(), test.begin(), test.begin() + to);
    snr_.add(ref.first(count), test.first(count));
    ref = ref.subspan(count);
    test = test.subspan(count);
    if (ref_.size() == segment_) take_segment();
  }
}

void Comparison::finish() {
  if (!ref_.empty()) take_segment();
  snr_.finish();
  stoi_.finish();
}

void Comparison::take_segment() {
  quel::snr(totals_, ref_.data(), test_.data(), static_cast<int>(ref_.size()));
  spectral_.add(ref_, test_);
  stoi_.add(ref_, test_);
  ref_.clear();
  test_.clear();
}

}  // namespace quel::tools
