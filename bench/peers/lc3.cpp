#include <lc3.h>

#include <cstddef>
#include <vector>

#include "peers/coder.h"
#include "peers/handle.h"

namespace quel::bench {
namespace {

constexpr int rate = 16000;
constexpr int frame_us = 10000;
constexpr int frame_bytes = 20;

using Memory = std::vector<std::max_align_t>;

Memory memory_of(unsigned bytes) {
  return Memory(bytes / sizeof(std::max_align_t) + 1);
}

class Lc3Encoder : public UnitEncoder {
 public:
  std::size_t encode(const std::int16_t* pcm, std::uint8_t* bytes) override {
    need(lc3_encode(state_, LC3_PCM_FORMAT_S16, pcm, 1, frame_bytes, bytes),
         "liblc3 does not encode");
    return frame_bytes;
  }

 private:
  Memory memory_ = memory_of(lc3_encoder_size(frame_us, rate));
  lc3_encoder_t state_ = got(lc3_setup_encoder(frame_us, rate, rate, memory_.data()));
};

class Lc3Decoder : public UnitDecoder {
 public:
  void decode(const std::uint8_t* bytes, std::size_t count, std::int16_t* pcm) override {
    need(lc3_decode(state_, bytes, static_cast<int>(count), LC3_PCM_FORMAT_S16, pcm, 1),
         "liblc3 does not decode");
  }

 private:
  Memory memory_ = memory_of(lc3_decoder_size(frame_us, rate));
  lc3_decoder_t state_ = got(lc3_setup_decoder(frame_us, rate, rate, memory_.data()));
};

}  // namespace

Coder lc3() {
  return {"liblc3 16",
          rate,
          rate / 100,
          frame_bytes,
          [] { return std::make_unique<Lc3Encoder>(); },
          [] { return std::make_unique<Lc3Decoder>(); }};
}

}  // namespace quel::bench
