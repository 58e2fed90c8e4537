// One encoder stream through many calls: any samples, resets, calls that are wrong. Beside it a
// second stream, made anew at each reset, and the plug-in; all give the same units, and a decoder
// makes a unit's samples of each. The second stream lives in memory of the fuzzer's own, moves, and
// is given its samples as 16 bits or floats by calls of one unit or many.
#include <quelcodec/quelcodec.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bitstream/serial.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/moving_stream.h"
#include "fuzz/process_state.h"

namespace {

using namespace quel::fuzz;
using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

constexpr int most_units = 12;

quel_encoder* make_encoder(int flavor) {
  const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
  quel_encoder* encoder = nullptr;
  require(quel_encoder_create(&options, &encoder) == QUEL_OK && encoder != nullptr);
  require(quel_encoder_flavor(encoder) == flavor);
  return encoder;
}

quel_decoder* make_decoder(int flavor) {
  const quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor);
  quel_decoder* decoder = nullptr;
  require(quel_decoder_create(&options, &decoder) == QUEL_OK);
  return decoder;
}

// A call of the plug-in codes 8 or 16 units; one at a time lets it stop where the stream stops.
void start_plugin(int flavor) {
  load_plugin();
  std::uint32_t samples = 0, bytes = 0;
  require(SetFlavor(static_cast<std::uint16_t>(flavor)) == 0);
  require(InitEncoder(8000, 2, &samples, &bytes) == 0);
  const auto units = static_cast<std::uint32_t>(quel::framesPerCall);
  require(samples == units * static_cast<std::uint32_t>(quel_samples_per_unit(flavor)));
  require(bytes == units * static_cast<std::uint32_t>(quel_bytes_per_unit(flavor)));
  quel::framesPerCall = 1;
}

class Session {
 public:
  Session(FuzzInput& input, int flavor)
      : input_(input),
        flavor_(flavor),
        pcm_(static_cast<std::size_t>(quel_samples_per_unit(flavor))),
        unit_bytes_(static_cast<std::size_t>(quel_bytes_per_unit(flavor))),
        stream_(make_encoder(flavor)),
        fresh_(QUEL_ENCODER_OPTIONS(flavor)),
        decoder_(make_decoder(flavor)) {
    start_plugin(flavor);
  }
  ~Session() {
    quel_encoder_destroy(stream_);
    quel_decoder_destroy(decoder_);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void step();
  bool over() const { return input_.empty() || units_ >= most_units; }

 private:
  void fill(int shape);
  void encode();
  Bytes encode_beside();
  void check_unit(const Bytes& unit);
  void reset();
  void call_wrongly(int kind);

  FuzzInput& input_;
  int flavor_;
  Pcm pcm_;
  std::size_t unit_bytes_;
  quel_encoder* stream_;
  MovingStream<quel_encoder, quel_encoder_options> fresh_;
  quel_decoder* decoder_;
  int units_ = 0;
};

void Session::fill(int shape) {
  const auto high = input_.number<std::int16_t>();
  const auto low = shape < 2 ? std::int16_t{0} : input_.number<std::int16_t>();
  const std::size_t period = shape < 2 ? 1u : 1u + input_.byte();
  FuzzNoise noise(static_cast<std::uint32_t>(high) * 2654435761u);
  for (std::size_t n = 0; n < pcm_.size(); ++n) {
    switch (shape) {
      case 0:  // one level
        pcm_[n] = high;
        break;
      case 1:  // noise up to a level
        pcm_[n] = static_cast<std::int16_t>(
            static_cast<std::int32_t>(noise.bits() & 0xffff) * high / 0x10000 - high / 2);
        break;
      case 2:  // squares
        pcm_[n] = n / period % 2 == 0 ? high : low;
        break;
      default:  // clicks
        pcm_[n] = n % period == 0 ? high : low;
    }
  }
}

// The second stream's unit, by another call in turn.
Bytes Session::encode_beside() {
  Bytes unit(unit_bytes_);
  const auto size = static_cast<std::int64_t>(unit_bytes_);
  fresh_.move();
  quel_encoder* const fresh = fresh_.get();
  if (units_ % 3 == 0) {
    require(quel_encode(fresh, pcm_.data(), pcm_.size(), unit.data(), unit.size()) == size);
  } else if (units_ % 3 == 1) {
    require(quel_encode_units(fresh, pcm_.data(), pcm_.size(), unit.data(), unit.size()) == size);
  } else {
    std::vector<float> real(pcm_.size());
    for (std::size_t n = 0; n < real.size(); ++n) real[n] = static_cast<float>(pcm_[n]) / 32768.0f;
    require(quel_encode_units_float(fresh, real.data(), real.size(), unit.data(), unit.size()) ==
            size);
  }
  return unit;
}

void Session::encode() {
  ++units_;
  // No room but for the unit: the sanitizer sees what goes beyond.
  Bytes unit(unit_bytes_), plugin(unit_bytes_);
  require(quel_encode(stream_, pcm_.data(), pcm_.size(), unit.data(), unit.size()) ==
          static_cast<int>(unit.size()));
  const Bytes same = encode_beside();
  Encode(pcm_.data(), plugin.data());
  require(unit == same && unit == plugin);
  require(finite_memories(quel::process_encoder));
  const int active = quel_encoder_voice_active(stream_);
  const int needed = quel_encoder_unit_needed(stream_);
  require((active == 0 || active == 1) && (needed == 1 || (needed == 0 && active == 0)));
  require(quel_encoder_voice_active(fresh_.get()) == active);
  require(quel_encoder_unit_needed(fresh_.get()) == needed);
  check_unit(unit);
}

void Session::check_unit(const Bytes& unit) {
  const int frames = quel_frames_per_unit(flavor_);
  const auto frame_bits = static_cast<std::int32_t>(8 * unit.size()) / frames;
  Bytes repacked(unit.size());
  for (int frame = 0; frame < frames; ++frame) {
    std::array<std::uint8_t, 20> bits{};
    std::array<std::int32_t, 23> prm{};
    quel::bitcopy(bits.data(), unit.data(), 0, frame * frame_bits, frame_bits);
    quel::binary2prm(prm.data(), bits.data(), flavor_);
    // Flavor 3's fields come out one place behind where they went in.
    quel::prm2binary(prm.data() + (flavor_ == QUEL_FLAVOR_16K ? 1 : 0), bits.data(), flavor_);
    quel::bitcopy(repacked.data(), bits.data(), frame * frame_bits, 0, frame_bits);
  }
  require(repacked == unit);
  Pcm pcm(pcm_.size());
  require(quel_decode(decoder_, unit.data(), unit.size(), QUEL_ALL_RECEIVED, pcm.data(),
                      pcm.size()) == static_cast<int>(pcm.size()));
}

void Session::reset() {
  require(quel_encoder_reset(stream_) == QUEL_OK);
  fresh_.restart();
  start_plugin(flavor_);
}

// None of these changes the stream or its outputs.
void Session::call_wrongly(int kind) {
  Bytes unit = untouched<std::uint8_t>(QUEL_MAX_BYTES);
  const Bytes before = unit;
  const auto encode_to = [&](const std::int16_t* pcm, std::size_t samples, std::uint8_t* out,
                             std::size_t capacity) {
    return quel_encode(stream_, pcm, samples, out, capacity);
  };
  switch (kind) {
    case 0: {
      const std::size_t samples = input_.number<std::uint16_t>();
      if (samples == pcm_.size()) break;
      require(encode_to(pcm_.data(), samples, unit.data(), unit.size()) == QUEL_ERROR_LENGTH);
      break;
    }
    case 1:
      require(encode_to(pcm_.data(), pcm_.size(), unit.data(), input_.byte() % unit_bytes_) ==
              QUEL_ERROR_CAPACITY);
      break;
    case 2:
      require(encode_to(nullptr, pcm_.size(), unit.data(), unit.size()) == QUEL_ERROR_ARGUMENT);
      require(encode_to(pcm_.data(), pcm_.size(), nullptr, unit.size()) == QUEL_ERROR_ARGUMENT);
      require(quel_encode(nullptr, pcm_.data(), pcm_.size(), unit.data(), unit.size()) ==
              QUEL_ERROR_ARGUMENT);
      require(quel_encoder_reset(nullptr) == QUEL_ERROR_ARGUMENT);
      require(quel_encoder_flavor(nullptr) == QUEL_ERROR_ARGUMENT);
      quel_encoder_destroy(nullptr);
      break;
    default: {
      quel_encoder_options options = QUEL_ENCODER_OPTIONS(input_.number<std::int32_t>());
      options.reserved[0] = input_.number<std::int32_t>();
      quel_encoder* made = stream_;
      const int result = quel_encoder_create(&options, &made);
      const bool sound = options.flavor >= 0 && options.flavor <= 3 && options.reserved[0] == 0;
      require((result == QUEL_OK) == sound && sound == (made != stream_));
      if (sound) quel_encoder_destroy(made);
    }
  }
  require(unit == before);
}

void Session::step() {
  const int what = input_.step();
  const int count = what >> 3;
  switch (what & 7) {
    case 0: {
      const Bytes bytes = input_.bytes(2 * pcm_.size());
      for (std::size_t n = 0; n < pcm_.size(); ++n) {
        pcm_[n] = static_cast<std::int16_t>(bytes[2 * n] | bytes[2 * n + 1] << 8);
      }
      encode();
      break;
    }
    case 1:
    case 2:
    case 3:
    case 4:
      fill((what & 7) - 1);
      encode();
      break;
    case 5:
      for (int i = 0; i <= count % 4; ++i) encode();
      break;
    case 6:
      reset();
      break;
    default:
      call_wrongly(count % 4);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  Session session(input, input.byte() & 3);
  while (!session.over()) session.step();
  check_seed(input);
  return 0;
}
