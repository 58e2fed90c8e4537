#include <opencore-amrnb/interf_dec.h>
#include <opencore-amrnb/interf_enc.h>

#include "peers/coder.h"
#include "peers/handle.h"

namespace quel::bench {
namespace {

class AmrEncoder : public UnitEncoder {
 public:
  std::size_t encode(const std::int16_t* pcm, std::uint8_t* bytes) override {
    return made(Encoder_Interface_Encode(state_.get(), MR795, pcm, bytes, /*forceSpeech=*/0));
  }

 private:
  Handle<void, Encoder_Interface_exit> state_{got(Encoder_Interface_init(/*dtx=*/0))};
};

class AmrDecoder : public UnitDecoder {
 public:
  void decode(const std::uint8_t* bytes, std::size_t, std::int16_t* pcm) override {
    Decoder_Interface_Decode(state_.get(), bytes, pcm, /*bfi=*/0);
  }

 private:
  Handle<void, Decoder_Interface_exit> state_{got(Decoder_Interface_init())};
};

}  // namespace

Coder amr_nb() {
  return {"opencore-amrnb 7.95",
          8000,
          160,
          64,
          [] { return std::make_unique<AmrEncoder>(); },
          [] { return std::make_unique<AmrDecoder>(); }};
}

}  // namespace quel::bench
