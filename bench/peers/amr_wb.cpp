#include <opencore-amrwb/dec_if.h>
#include <vo-amrwbenc/enc_if.h>

#include "peers/coder.h"
#include "peers/handle.h"

namespace quel::bench {
namespace {

constexpr int mode_15k85 = 4;

class AmrWbEncoder : public UnitEncoder {
 public:
  std::size_t encode(const std::int16_t* pcm, std::uint8_t* bytes) override {
    return made(E_IF_encode(state_.get(), mode_15k85, pcm, bytes, /*dtx=*/0));
  }

 private:
  Handle<void, E_IF_exit> state_{got(E_IF_init())};
};

class AmrWbDecoder : public UnitDecoder {
 public:
  void decode(const std::uint8_t* bytes, std::size_t, std::int16_t* pcm) override {
    D_IF_decode(state_.get(), bytes, pcm, _good_frame);
  }

 private:
  Handle<void, D_IF_exit> state_{got(D_IF_init())};
};

}  // namespace

Coder amr_wb() {
  return {"vo-amrwbenc, opencore-amrwb 15.85",
          16000,
          320,
          64,
          [] { return std::make_unique<AmrWbEncoder>(); },
          [] { return std::make_unique<AmrWbDecoder>(); }};
}

}  // namespace quel::bench
