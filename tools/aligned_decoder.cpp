#include "tools/aligned_decoder.h"

#include <algorithm>

namespace quel::tools {

// Sebastiano Vigna's SplitMix64 (2015): every seed serves, 0 included.
bool LossPattern::lost() {
  state_ += 0x9e3779b97f4a7c15u;
  std::uint64_t z = state_;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  z ^= z >> 31;
  return 100.0 * 0x1p-53 * static_cast<double>(z >> 11) < percent_;
}

AlignedDecoder::AlignedDecoder(const QuelHeader& header, const DecodeOptions& options)
    : decoder_(header.flavor, options.concealment),
      losses_(options.loss_percent, options.seed),
      frames_per_unit_(check(quel_frames_per_unit(header.flavor))),
      skip_(static_cast<std::uint32_t>(check(quel_delay(header.flavor)))),
      remaining_(header.samples),
      pcm_(decoder_.max_samples()) {}

std::span<const std::int16_t> AlignedDecoder::decode(std::span<const std::uint8_t> unit) {
  std::uint32_t received = 0;
  for (int frame = 0; frame < frames_per_unit_; ++frame) {
    const bool lost = losses_.lost();
    ++frames_;
    lost_ += lost ? 1 : 0;
    received |= (lost ? 0u : 1u) << frame;
  }
  const auto count = static_cast<std::uint32_t>(decoder_.decode(unit, received, pcm_));
  const std::uint32_t skipped = std::min(skip_, count);
  const std::uint32_t given = std::min(remaining_, count - skipped);
  skip_ -= skipped;
  remaining_ -= given;
  return std::span(pcm_).subspan(skipped, given);
}

}  // namespace quel::tools
