#include <speex/speex.h>

#include <algorithm>
#include <cstdint>

#include "peers/coder.h"
#include "peers/handle.h"

namespace quel::bench {
namespace {

constexpr int most_bytes = 200;

class Bits {
 public:
  Bits() { speex_bits_init(&bits_); }
  ~Bits() { speex_bits_destroy(&bits_); }
  Bits(const Bits&) = delete;
  Bits& operator=(const Bits&) = delete;
  SpeexBits* get() { return &bits_; }

 private:
  SpeexBits bits_{};
};

class SpeexEncoder : public UnitEncoder {
 public:
  SpeexEncoder(int mode, int quality) : state_(got(speex_encoder_init(speex_lib_get_mode(mode)))) {
    int complexity = 3;
    need(speex_encoder_ctl(state_.get(), SPEEX_SET_QUALITY, &quality), "Speex has no such quality");
    need(speex_encoder_ctl(state_.get(), SPEEX_SET_COMPLEXITY, &complexity),
         "Speex has no such complexity");
    need(speex_encoder_ctl(state_.get(), SPEEX_GET_FRAME_SIZE, &samples_), "Speex has no frame");
  }

  std::size_t encode(const std::int16_t* pcm, std::uint8_t* bytes) override {
    // It may write into its input.
    std::copy_n(pcm, samples_, frame_);
    speex_bits_reset(bits_.get());
    speex_encode_int(state_.get(), frame_, bits_.get());
    return made(speex_bits_write(bits_.get(), reinterpret_cast<char*>(bytes), most_bytes));
  }

 private:
  Handle<void, speex_encoder_destroy> state_;
  Bits bits_;
  int samples_ = 0;
  std::int16_t frame_[640];
};

class SpeexDecoder : public UnitDecoder {
 public:
  explicit SpeexDecoder(int mode) : state_(got(speex_decoder_init(speex_lib_get_mode(mode)))) {}

  void decode(const std::uint8_t* bytes, std::size_t count, std::int16_t* pcm) override {
    speex_bits_read_from(bits_.get(), reinterpret_cast<const char*>(bytes),
                         static_cast<int>(count));
    need(speex_decode_int(state_.get(), bits_.get(), pcm), "Speex does not decode");
  }

 private:
  Handle<void, speex_decoder_destroy> state_;
  Bits bits_;
};

Coder coder(const char* name, int rate, std::size_t samples, int mode, int quality) {
  return {name,
          rate,
          samples,
          most_bytes,
          [=] { return std::make_unique<SpeexEncoder>(mode, quality); },
          [=] { return std::make_unique<SpeexDecoder>(mode); }};
}

}  // namespace

Coder speex_narrow() {
  return coder("Speex 8, complexity 3", 8000, 160, SPEEX_MODEID_NB, 4);
}

Coder speex_wide() {
  return coder("Speex wideband 16.8, complexity 3", 16000, 320, SPEEX_MODEID_WB, 5);
}

}  // namespace quel::bench
