#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "quelcodec/quelcodec.h"
#include "soak/soak_signal.h"

namespace quel::soak {

/// What coding and decoding some units took.
struct Cost {
  double encode_ns = 0;  ///< this thread's processor time per unit
  double decode_ns = 0;
  std::size_t units = 0;
  std::size_t encode_denormals = 0;  ///< units in which the processor met a denormal operand
  std::size_t decode_denormals = 0;
  std::uint64_t digest = 0;  ///< of units and decoded samples
};

/// One encoder stream and one decoder stream, concealing at once.
class CoderPair {
 public:
  /// Throws std::bad_alloc.
  explicit CoderPair(int flavor);

  /// Codes whole units, then decodes them. Throws std::runtime_error where a call gives anything
  /// but its fixed count.
  ///
  /// pcm       n units of samples
  /// received  [0..n-1] masks
  /// instead   n units that the decoder hears instead of the encoder's; empty for none
  Cost code(std::span<const std::int16_t> pcm, std::span<const std::uint32_t> received,
            std::span<const std::uint8_t> instead = {});

  void reset();

  /// Makes this pair's streams what another pair's are now.
  void become(const CoderPair& other);

 private:
  struct Destroy {
    void operator()(quel_encoder* stream) const { quel_encoder_destroy(stream); }
    void operator()(quel_decoder* stream) const { quel_decoder_destroy(stream); }
  };
  std::size_t samples_;
  std::size_t bytes_;
  std::unique_ptr<quel_encoder, Destroy> encoder_;
  std::unique_ptr<quel_decoder, Destroy> decoder_;
  std::vector<std::uint8_t> units_;  // of one call
  std::vector<std::int16_t> heard_;
};

}  // namespace quel::soak
