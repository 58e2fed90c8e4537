#include <quelcodec/quelcodec.hpp>

#include "peers/coder.h"

namespace quel::bench {
namespace {

class OwnEncoder : public UnitEncoder {
 public:
  explicit OwnEncoder(int flavor)
      : encoder_(flavor),
        samples_(encoder_.samples_per_unit()),
        bytes_(encoder_.bytes_per_unit()) {}
  std::size_t encode(const std::int16_t* pcm, std::uint8_t* bytes) override {
    return encoder_.encode({pcm, samples_}, {bytes, bytes_});
  }

 private:
  Encoder encoder_;
  std::size_t samples_, bytes_;
};

class OwnDecoder : public UnitDecoder {
 public:
  explicit OwnDecoder(int flavor) : decoder_(flavor), samples_(decoder_.max_samples()) {}
  void decode(const std::uint8_t* bytes, std::size_t count, std::int16_t* pcm) override {
    decoder_.decode({bytes, count}, QUEL_ALL_RECEIVED, {pcm, samples_});
  }

 private:
  Decoder decoder_;
  std::size_t samples_;
};

}  // namespace

Coder own_coder(int flavor) {
  return {"flavor " + std::to_string(flavor),
          check(quel_sampling_rate(flavor)),
          static_cast<std::size_t>(check(quel_samples_per_unit(flavor))),
          static_cast<std::size_t>(check(quel_bytes_per_unit(flavor))),
          [flavor] { return std::make_unique<OwnEncoder>(flavor); },
          [flavor] { return std::make_unique<OwnDecoder>(flavor); },
          flavor};
}

}  // namespace quel::bench
