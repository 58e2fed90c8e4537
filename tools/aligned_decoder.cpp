#include "tools/aligned_decoder.h"

#include <algorithm>

namespace quel::tools {

AlignedDecoder::AlignedDecoder(int flavor, std::size_t samples, const DecodeOptions& options)
    : decoder_(decoder_options(flavor, options.concealment, options.enhance)),
      losses_(options.loss_percent, options.seed),
      frames_per_unit_(check(quel_frames_per_unit(flavor))),
      skip_(static_cast<std::size_t>(check(quel_delay(flavor)))),
      remaining_(samples),
      pcm_(decoder_.max_samples()) {}

std::span<const std::int16_t> AlignedDecoder::decode(std::span<const std::uint8_t> unit) {
  std::uint32_t received = 0;
  for (int frame = 0; frame < frames_per_unit_; ++frame) {
    const bool lost = !unit.empty() && losses_.lost();
    ++frames_;
    lost_ += lost ? 1 : 0;
    lost_frames_.push_back(lost);
    received |= (lost ? 0u : 1u) << frame;
  }
  if (unit.empty()) received = QUEL_NOT_SENT;
  const std::size_t count = decoder_.decode(unit, received, pcm_);
  const std::size_t skipped = std::min(skip_, count);
  const std::size_t given = std::min(remaining_, count - skipped);
  skip_ -= skipped;
  remaining_ -= given;
  return std::span(pcm_).subspan(skipped, given);
}

}  // namespace quel::tools
