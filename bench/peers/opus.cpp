#include <opus/opus.h>

#include "peers/coder.h"
#include "peers/handle.h"

namespace quel::bench {
namespace {

constexpr int most_bytes = 1276;

class OpusSpeechEncoder : public UnitEncoder {
 public:
  explicit OpusSpeechEncoder(int rate) : samples_(rate / 50) {
    int error = OPUS_OK;
    state_.reset(opus_encoder_create(rate, 1, OPUS_APPLICATION_VOIP, &error));
    need(error, "Opus has no encoder");
    need(opus_encoder_ctl(state_.get(), OPUS_SET_BITRATE(rate)), "Opus has no such rate");
    need(opus_encoder_ctl(state_.get(), OPUS_SET_COMPLEXITY(5)), "Opus has no such complexity");
  }

  std::size_t encode(const std::int16_t* pcm, std::uint8_t* bytes) override {
    return made(opus_encode(state_.get(), pcm, samples_, bytes, most_bytes));
  }

 private:
  Handle<OpusEncoder, opus_encoder_destroy> state_;
  int samples_;
};

class OpusSpeechDecoder : public UnitDecoder {
 public:
  explicit OpusSpeechDecoder(int rate) : samples_(rate / 50) {
    int error = OPUS_OK;
    state_.reset(opus_decoder_create(rate, 1, &error));
    need(error, "Opus has no decoder");
  }

  void decode(const std::uint8_t* bytes, std::size_t count, std::int16_t* pcm) override {
    const int given = opus_decode(state_.get(), bytes, static_cast<opus_int32>(count), pcm,
                                  samples_, /*decode_fec=*/0);
    need(given - samples_, "Opus does not decode");
  }

 private:
  Handle<OpusDecoder, opus_decoder_destroy> state_;
  int samples_;
};

}  // namespace

Coder opus(int rate) {
  return {"Opus " + std::to_string(rate / 1000) + ", complexity 5",
          rate,
          static_cast<std::size_t>(rate / 50),
          most_bytes,
          [rate] { return std::make_unique<OpusSpeechEncoder>(rate); },
          [rate] { return std::make_unique<OpusSpeechDecoder>(rate); }};
}

}  // namespace quel::bench
