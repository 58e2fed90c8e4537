// Headers for C only.
extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}

#include "peers/coder.h"
#include "peers/handle.h"

namespace quel::bench {
namespace {

class G729Encoder : public UnitEncoder {
 public:
  std::size_t encode(const std::int16_t* pcm, std::uint8_t* bytes) override {
    std::uint8_t count = 0;
    bcg729Encoder(state_.get(), pcm, bytes, &count);
    return made(count);
  }

 private:
  Handle<bcg729EncoderChannelContextStruct, closeBcg729EncoderChannel> state_{
      got(initBcg729EncoderChannel(/*enableVAD=*/0))};
};

class G729Decoder : public UnitDecoder {
 public:
  void decode(const std::uint8_t* bytes, std::size_t count, std::int16_t* pcm) override {
    bcg729Decoder(state_.get(), bytes, static_cast<std::uint8_t>(count), /*erased=*/0, /*SID=*/0,
                  /*rfc3389=*/0, pcm);
  }

 private:
  Handle<bcg729DecoderChannelContextStruct, closeBcg729DecoderChannel> state_{
      got(initBcg729DecoderChannel())};
};

}  // namespace

Coder g729() {
  return {"bcg729 8",
          8000,
          80,
          10,
          [] { return std::make_unique<G729Encoder>(); },
          [] { return std::make_unique<G729Decoder>(); }};
}

}  // namespace quel::bench
