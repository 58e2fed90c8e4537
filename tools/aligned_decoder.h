#pragma once

#include <cstddef>
#include <cstdint>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <vector>

#include "tools/loss.h"

namespace quel::tools {

struct DecodeOptions {
  Concealment concealment = Concealment::immediate;
  double loss_percent = 0.0;  ///< frames to drop, 0..100
  std::uint64_t seed = 1;     ///< of the losses
  bool enhance = false;       ///< quel_decoder_options has it
  bool dtx = false;           ///< of a trial: units that a decoder can do without are not sent
};

/// Decodes units in memory so that what comes out lies where the source lay: the codec's delay is
/// cut off the start, everything past the source's length off the end.
class AlignedDecoder {
 public:
  /// samples  of the source
  AlignedDecoder(int flavor, std::size_t samples, const DecodeOptions& options);

  /// The samples that a unit brings; they live until the next call.
  ///
  /// unit  empty: it was not sent
  std::span<const std::int16_t> decode(std::span<const std::uint8_t> unit);

  std::uint32_t frames() const { return frames_; }  ///< decoded so far, lost ones included
  std::uint32_t lost() const { return lost_; }      ///< of these
  const std::vector<bool>& lost_frames() const { return lost_frames_; }  ///< each of them: lost?

 private:
  Decoder decoder_;
  LossPattern losses_;
  std::vector<bool> lost_frames_;
  int frames_per_unit_;
  std::size_t skip_;  // samples of delay still to be cut off
  std::size_t remaining_;
  std::uint32_t frames_ = 0;
  std::uint32_t lost_ = 0;
  std::vector<std::int16_t> pcm_;
};

}  // namespace quel::tools
