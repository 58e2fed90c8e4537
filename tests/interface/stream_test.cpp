#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "bitstream/serial.h"
#include "interface/frame_driver.h"
#include "narrowband/conceal_swt.h"
#include "quelcodec/quelcodec.h"
#include "support/sanitizers.h"
#include "support/signals.h"
#include "wideband/conceal_wb.h"

namespace quel {
namespace {

using test::Random;
using test::speech_like_pcm;
using ::testing::Each;

using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

class Encoder {
 public:
  explicit Encoder(int flavor) {
    const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
    EXPECT_EQ(quel_encoder_create(&options, &stream_), QUEL_OK);
  }
  ~Encoder() { quel_encoder_destroy(stream_); }
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  quel_encoder* get() { return stream_; }
  Bytes code(const Pcm& pcm) {
    const int flavor = quel_encoder_flavor(stream_);
    const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor));
    const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
    Bytes units(pcm.size() / samples * bytes);
    for (std::size_t k = 0; k < pcm.size() / samples; ++k) {
      EXPECT_EQ(quel_encode(stream_, &pcm[k * samples], samples, &units[k * bytes], bytes),
                static_cast<int>(bytes));
    }
    return units;
  }

 private:
  quel_encoder* stream_ = nullptr;
};

class Decoder {
 public:
  explicit Decoder(int flavor, int concealment = QUEL_CONCEAL_IMMEDIATE) {
    quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor);
    options.concealment = concealment;
    EXPECT_EQ(quel_decoder_create(&options, &stream_), QUEL_OK);
  }
  ~Decoder() { quel_decoder_destroy(stream_); }
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  quel_decoder* get() { return stream_; }
  std::size_t unit_bytes() const {
    return static_cast<std::size_t>(quel_bytes_per_unit(quel_decoder_flavor(stream_)));
  }
  // One unit; null where `unit` is. Checks that nothing behind the result was written.
  Pcm decode(const std::uint8_t* unit, std::uint32_t received) {
    const auto most = static_cast<std::size_t>(quel_decoder_max_samples(stream_));
    Pcm pcm(most + 16, 0x5a5a);
    const int n =
        quel_decode(stream_, unit, unit != nullptr ? unit_bytes() : 0, received, pcm.data(), most);
    EXPECT_GE(n, 0);
    EXPECT_THAT(Pcm(pcm.begin() + n, pcm.end()), Each(0x5a5a));
    pcm.resize(static_cast<std::size_t>(n));
    return pcm;
  }
  Pcm decode_all(const Bytes& units) {
    Pcm pcm;
    for (std::size_t k = 0; k < units.size(); k += unit_bytes()) {
      const Pcm part = decode(&units[k], QUEL_ALL_RECEIVED);
      pcm.insert(pcm.end(), part.begin(), part.end());
    }
    return pcm;
  }

 private:
  quel_decoder* stream_ = nullptr;
};

double energy(const Pcm& pcm) {
  double sum = 0;
  for (const double v : pcm) sum += v * v;
  return sum;
}

class StreamFlavor : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }
  double rate() const { return quel_sampling_rate(flavor()); }
  std::size_t frame() const { return static_cast<std::size_t>(quel_samples_per_frame(flavor())); }
};
INSTANTIATE_TEST_SUITE_P(All, StreamFlavor, ::testing::Range(0, 4));

TEST(Stream, GeometryOfEveryFlavor) {
  struct {
    int rate, frame, frames, samples, bytes, delay;
  } constexpr expected[] = {{8000, 144, 2, 288, 29, 120},
                            {8000, 144, 1, 144, 19, 120},
                            {8000, 240, 2, 480, 37, 360},
                            {16000, 160, 1, 160, 20, 80}};
  for (int flavor = 0; flavor < 4; ++flavor) {
    EXPECT_EQ(quel_sampling_rate(flavor), expected[flavor].rate);
    EXPECT_EQ(quel_samples_per_frame(flavor), expected[flavor].frame);
    EXPECT_EQ(quel_frames_per_unit(flavor), expected[flavor].frames);
    EXPECT_EQ(quel_samples_per_unit(flavor), expected[flavor].samples);
    EXPECT_EQ(quel_bytes_per_unit(flavor), expected[flavor].bytes);
    EXPECT_EQ(quel_delay(flavor), expected[flavor].delay);
    const quel_flavor* info = quel_flavor_info(flavor);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->size, sizeof(quel_flavor));
    EXPECT_EQ(info->flavor, flavor);
    EXPECT_EQ(info->sampling_rate, expected[flavor].rate);
    EXPECT_EQ(info->samples_per_frame, expected[flavor].frame);
    EXPECT_EQ(info->frames_per_unit, expected[flavor].frames);
    EXPECT_EQ(info->samples_per_unit, expected[flavor].samples);
    EXPECT_EQ(info->bytes_per_unit, expected[flavor].bytes);
    EXPECT_EQ(info->delay, expected[flavor].delay);
    EXPECT_EQ(info->bits_per_frame * info->frames_per_unit, 8 * expected[flavor].bytes);
    EXPECT_EQ(info->fields_per_frame, flavor == 3 ? 22 : 20);
    EXPECT_EQ(std::accumulate(info->field_bits, info->field_bits + info->fields_per_frame, 0),
              info->bits_per_frame);
    // Bits of a unit over its duration; the two quotients may round apart in the last place.
    EXPECT_DOUBLE_EQ(info->bit_rate, 8.0 * expected[flavor].bytes * expected[flavor].rate /
                                         expected[flavor].samples);
    EXPECT_EQ(std::stod(info->name) * 1000, info->nominal_rate);
    EXPECT_EQ(std::string(info->title).rfind(std::string(info->name) + " Kbps Voice", 0), 0u);
  }
  for (const int none : {-1, 4, INT_MAX, INT_MIN}) {
    EXPECT_EQ(quel_sampling_rate(none), QUEL_ERROR_FLAVOR);
    EXPECT_EQ(quel_samples_per_frame(none), QUEL_ERROR_FLAVOR);
    EXPECT_EQ(quel_frames_per_unit(none), QUEL_ERROR_FLAVOR);
    EXPECT_EQ(quel_samples_per_unit(none), QUEL_ERROR_FLAVOR);
    EXPECT_EQ(quel_bytes_per_unit(none), QUEL_ERROR_FLAVOR);
    EXPECT_EQ(quel_delay(none), QUEL_ERROR_FLAVOR);
    EXPECT_EQ(quel_flavor_info(none), nullptr);
  }
}

TEST(Stream, BufferMacrosServeEveryFlavor) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    Decoder deferred(flavor, QUEL_CONCEAL_DEFERRED), immediate(flavor);
    const int frames = quel_frames_per_unit(flavor);
    EXPECT_EQ(quel_decoder_max_samples(deferred.get()),
              (frames + 5) * quel_samples_per_frame(flavor));
    EXPECT_EQ(quel_decoder_max_samples(immediate.get()), quel_samples_per_unit(flavor));
    EXPECT_LE(quel_decoder_max_samples(deferred.get()), QUEL_MAX_SAMPLES);
    EXPECT_LE(quel_bytes_per_unit(flavor), QUEL_MAX_BYTES);
  }
}

TEST(Stream, EveryErrorHasAText) {
  std::vector<std::string> texts;
  for (int code = QUEL_ERROR_RANGE; code <= QUEL_OK; ++code) {
    ASSERT_NE(quel_error_text(code), nullptr);
    texts.emplace_back(quel_error_text(code));
    EXPECT_NE(texts.back(), quel_error_text(-1000));
  }
  std::sort(texts.begin(), texts.end());
  EXPECT_EQ(std::adjacent_find(texts.begin(), texts.end()), texts.end());
  EXPECT_STREQ(quel_error_text(19), quel_error_text(QUEL_OK));
}

TEST(Stream, CreateChecksItsOptionsAndLeavesTheHandle) {
  auto* const marker = reinterpret_cast<quel_encoder*>(0x10);
  auto* const dec_marker = reinterpret_cast<quel_decoder*>(0x10);
  quel_encoder* encoder = marker;
  quel_decoder* decoder = dec_marker;
  quel_encoder_options enc = QUEL_ENCODER_OPTIONS(1);
  quel_decoder_options dec = QUEL_DECODER_OPTIONS(1);
  EXPECT_EQ(quel_encoder_create(nullptr, &encoder), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_encoder_create(&enc, nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decoder_create(nullptr, &decoder), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decoder_create(&dec, nullptr), QUEL_ERROR_ARGUMENT);
  for (const int none : {-1, 4}) {
    enc.flavor = dec.flavor = none;
    EXPECT_EQ(quel_encoder_create(&enc, &encoder), QUEL_ERROR_FLAVOR);
    EXPECT_EQ(quel_decoder_create(&dec, &decoder), QUEL_ERROR_FLAVOR);
  }
  enc.flavor = dec.flavor = 1;
  for (const int none : {-1, QUEL_MAX_EFFORT + 1}) {
    enc.effort = none;
    EXPECT_EQ(quel_encoder_create(&enc, &encoder), QUEL_ERROR_OPTIONS);
  }
  enc.effort = 0;
  for (int& reserved : enc.reserved) {
    reserved = 1;
    EXPECT_EQ(quel_encoder_create(&enc, &encoder), QUEL_ERROR_OPTIONS);
    reserved = 0;
  }
  for (int& reserved : dec.reserved) {
    reserved = -1;
    EXPECT_EQ(quel_decoder_create(&dec, &decoder), QUEL_ERROR_OPTIONS);
    reserved = 0;
  }
  for (const int none : {-1, 2}) {
    dec.concealment = none;
    EXPECT_EQ(quel_decoder_create(&dec, &decoder), QUEL_ERROR_OPTIONS);
  }
  dec.concealment = QUEL_CONCEAL_DEFERRED;
  enc.size = dec.size = 0;
  EXPECT_EQ(quel_encoder_create(&enc, &encoder), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(quel_decoder_create(&dec, &decoder), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(encoder, marker);
  EXPECT_EQ(decoder, dec_marker);
}

TEST(Stream, NewerCallersOptionsAreTakenWhereTheyAreZero) {
  struct Newer {
    quel_decoder_options known;
    int later[4];
  } options = {QUEL_DECODER_OPTIONS(2), {0, 0, 0, 0}};
  options.known.size = sizeof options;
  quel_decoder* decoder = nullptr;
  ASSERT_EQ(quel_decoder_create(&options.known, &decoder), QUEL_OK);
  EXPECT_EQ(quel_decoder_flavor(decoder), 2);
  quel_decoder_destroy(decoder);
  options.later[3] = 1;
  EXPECT_EQ(quel_decoder_create(&options.known, &decoder), QUEL_ERROR_OPTIONS);
}

// As a program built against the first header has them, with something else right behind.
TEST(Stream, OlderCallersOptionsAreTakenAsFarAsTheyGo) {
  struct {
    std::size_t size;
    int flavor, second;
  } old = {sizeof old, QUEL_FLAVOR_5K, 0};
  struct {
    decltype(old) options;
    unsigned char next[64];
  } memory;
  std::memset(&memory, 0xee, sizeof memory);
  memory.options = old;
  quel_encoder_options enc;
  quel_decoder_options dec;
  static_assert(sizeof enc <= sizeof memory && sizeof dec <= sizeof memory);
  std::memcpy(&enc, &memory, sizeof enc);
  std::memcpy(&dec, &memory, sizeof dec);
  quel_encoder* encoder = nullptr;
  quel_decoder* decoder = nullptr;
  ASSERT_EQ(quel_encoder_create(&enc, &encoder), QUEL_OK);
  EXPECT_EQ(quel_encoder_flavor(encoder), QUEL_FLAVOR_5K);
  quel_encoder_destroy(encoder);
  ASSERT_EQ(quel_decoder_create(&dec, &decoder), QUEL_OK);
  EXPECT_EQ(quel_decoder_max_samples(decoder), 480);
  quel_decoder_destroy(decoder);
  // Shorter than any ever was.
  enc.size = dec.size = sizeof old - 1;
  EXPECT_EQ(quel_encoder_create(&enc, &encoder), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(quel_decoder_create(&dec, &decoder), QUEL_ERROR_OPTIONS);
}

TEST(Stream, NullStreamsAreRefusedOrIgnored) {
  std::array<std::int16_t, QUEL_MAX_SAMPLES> pcm{};
  std::array<std::uint8_t, QUEL_MAX_BYTES> unit{};
  quel_encoder_destroy(nullptr);
  quel_decoder_destroy(nullptr);
  EXPECT_EQ(quel_encoder_reset(nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decoder_reset(nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_encoder_flavor(nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_encoder_effort(nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decoder_flavor(nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decoder_max_samples(nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_encode(nullptr, pcm.data(), 144, unit.data(), 19), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decode(nullptr, unit.data(), 19, 1, pcm.data(), pcm.size()), QUEL_ERROR_ARGUMENT);
}

TEST_P(StreamFlavor, WrongCallsChangeNothing) {
  const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor()));
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor()));
  const Pcm pcm = speech_like_pcm(static_cast<int>(samples) * 6, 1, rate());
  Encoder encoder(flavor()), reference(flavor());
  const Bytes units = reference.code(pcm);
  Bytes coded(bytes, 0xee);
  EXPECT_EQ(quel_encode(encoder.get(), pcm.data(), samples - 1, coded.data(), bytes),
            QUEL_ERROR_LENGTH);
  EXPECT_EQ(quel_encode(encoder.get(), pcm.data(), samples + 1, coded.data(), bytes),
            QUEL_ERROR_LENGTH);
  EXPECT_EQ(quel_encode(encoder.get(), pcm.data(), samples, coded.data(), bytes - 1),
            QUEL_ERROR_CAPACITY);
  EXPECT_EQ(quel_encode(encoder.get(), nullptr, samples, coded.data(), bytes), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_encode(encoder.get(), pcm.data(), samples, nullptr, bytes), QUEL_ERROR_ARGUMENT);
  EXPECT_THAT(coded, Each(0xee));
  EXPECT_EQ(encoder.code(pcm), units);

  for (const int concealment : {QUEL_CONCEAL_IMMEDIATE, QUEL_CONCEAL_DEFERRED}) {
    Decoder decoder(flavor(), concealment), twin(flavor(), concealment);
    Pcm out(QUEL_MAX_SAMPLES, 0x5a5a);
    const auto due = static_cast<std::size_t>(quel_samples_per_unit(flavor()));
    for (const std::size_t wrong : {std::size_t{0}, bytes - 1, bytes + 1}) {
      EXPECT_EQ(quel_decode(decoder.get(), units.data(), wrong, ~0u, out.data(), out.size()),
                QUEL_ERROR_LENGTH);
    }
    EXPECT_EQ(quel_decode(decoder.get(), units.data(), bytes, ~0u, out.data(), due - 1),
              QUEL_ERROR_CAPACITY);
    EXPECT_EQ(quel_decode(decoder.get(), units.data(), bytes, ~0u, nullptr, due),
              QUEL_ERROR_ARGUMENT);
    EXPECT_EQ(quel_decode(decoder.get(), nullptr, 0, 1, out.data(), out.size()),
              QUEL_ERROR_ARGUMENT);
    EXPECT_EQ(quel_decode(decoder.get(), nullptr, bytes, 0, out.data(), out.size()),
              QUEL_ERROR_LENGTH);
    EXPECT_THAT(out, Each(0x5a5a));
    EXPECT_EQ(decoder.decode_all(units), twin.decode_all(units));
  }
}

TEST_P(StreamFlavor, ResetGivesTheStateAfterCreate) {
  const Pcm pcm = speech_like_pcm(20 * quel_samples_per_unit(flavor()), 2, rate());
  Encoder encoder(flavor());
  const Bytes first = encoder.code(pcm);
  EXPECT_EQ(quel_encoder_reset(encoder.get()), QUEL_OK);
  EXPECT_EQ(encoder.code(pcm), first);
  for (const int concealment : {QUEL_CONCEAL_IMMEDIATE, QUEL_CONCEAL_DEFERRED}) {
    Decoder decoder(flavor(), concealment);
    const Pcm decoded = decoder.decode_all(first);
    // Losses leave traces in every memory: seeds, predictors, counters.
    for (int k = 0; k < 9; ++k) decoder.decode(nullptr, 0);
    EXPECT_EQ(quel_decoder_reset(decoder.get()), QUEL_OK);
    EXPECT_EQ(decoder.decode_all(first), decoded);
  }
}

// Where the cross-correlation of input and output peaks.
TEST_P(StreamFlavor, OutputIsLateByTheDelay) {
  const Pcm pcm = speech_like_pcm(static_cast<int>(4 * rate()) / 480 * 480, 3, rate());
  const Pcm out = Decoder(flavor()).decode_all(Encoder(flavor()).code(pcm));
  int best = -1;
  double peak = 0;
  for (int lag = 0; lag < 600; ++lag) {
    double sum = 0;
    for (std::size_t n = 0; n + 600 < out.size(); ++n) {
      sum += static_cast<double>(pcm[n]) * out[n + static_cast<std::size_t>(lag)];
    }
    if (sum > peak) {
      peak = sum;
      best = lag;
    }
  }
  // The high-passes of the narrowband coder turn the phase by a fraction of a sample.
  EXPECT_NEAR(best, quel_delay(flavor()), flavor() == 3 ? 0 : 1);
}

TEST_P(StreamFlavor, ImmediateConcealmentNeverStopsTheClock) {
  const Pcm pcm = speech_like_pcm(60 * quel_samples_per_unit(flavor()), 4, rate());
  const Bytes units = Encoder(flavor()).code(pcm);
  Decoder decoder(flavor());
  Random random(5);
  for (std::size_t k = 0; k < units.size(); k += decoder.unit_bytes()) {
    EXPECT_EQ(decoder.decode(&units[k], random.bits()).size(),
              static_cast<std::size_t>(quel_samples_per_unit(flavor())));
  }
}

// A frame in which nothing arrived is the frame decoder's own loss without help; flavor 2 takes it
// in its turn. Of the lost frame's words nothing is looked at.
TEST_P(StreamFlavor, ImmediateConcealmentIsTheFrameDecodersOwn) {
  const Pcm pcm = speech_like_pcm(40 * quel_samples_per_unit(flavor()), 12, rate());
  const Bytes units = Encoder(flavor()).code(pcm);
  Decoder decoder(flavor());
  Mode mode;
  set_mode(mode, flavor());
  FrameDecoder plain;
  const ScratchSwitch scratch(plain.scratch);
  initVXDecoder(plain);
  NarrowbandConcealment narrowband;
  WidebandConcealment wideband;
  Random random(13);
  for (std::size_t at = 0; at < units.size(); at += decoder.unit_bytes()) {
    const std::uint32_t received = random.integer(0, 3) == 0 ? random.bits() : ~0u;
    Pcm expected;
    for (int k = 0; k < mode.framesPerCycle; ++k) {
      const bool lost = ((received >> k) & 1u) == 0;
      Bytes bits(20);
      bitcopy(bits.data(), &units[at], 0, k * mode.prmBits, mode.prmBits);
      std::vector<std::int32_t> prm(23);
      binary2prm(prm.data(), bits.data(), flavor());
      if (TestBigEndian() != 0) SwapIntBytes(prm.data(), flavor() == 3 ? 23 : 21);
      if (lost) std::fill(prm.begin(), prm.end(), 0x155);
      Pcm out(frame());
      if (flavor() == 3 && lost && wideband.heard != 0) {
        conceal_wb(wideband, plain.wideband, out.data());
      } else if (flavor() == 3) {
        prm[0] = lost ? 1 : 0;
        if (!lost) meet_wb(wideband, plain.wideband, prm.data());
        decod_wb(plain.wideband, prm.data(), out.data(), 0, 0, lost ? nullptr : &wideband);
      } else if (flavor() == 2) {
        decoder_5k(plain.five_k, plain.shared, mode, prm.data() + 1, out.data(), lost ? 1 : 0,
                   &narrowband);
      } else if (lost && narrowband.heard != 0) {
        conceal_swt(narrowband, plain.swt, plain.shared, mode, out.data());
      } else {
        if (!lost) meet_swt(narrowband, plain.swt, plain.shared, prm.data());
        dec_swt(plain.swt, plain.shared, mode, prm.data(), out.data(), lost ? 2 : 0,
                lost ? nullptr : &narrowband);
      }
      expected.insert(expected.end(), out.begin(), out.end());
    }
    EXPECT_EQ(decoder.decode(&units[at], received), expected);
  }
}

TEST_P(StreamFlavor, LongLossesFadeOut) {
  const Pcm pcm = speech_like_pcm(40 * quel_samples_per_unit(flavor()), 6, rate());
  const Bytes units = Encoder(flavor()).code(pcm);
  Decoder decoder(flavor());
  const Pcm heard = decoder.decode_all(units);
  double last = 0;
  for (int k = 0; k < 100; ++k) last = energy(decoder.decode(nullptr, 0));
  EXPECT_LT(last, 1e-3 * energy(heard) * static_cast<double>(frame()) /
                      static_cast<double>(heard.size()));
}

TEST_P(StreamFlavor, DeferredGivesNothingUntilAFrameArrives) {
  const Bytes units =
      Encoder(flavor()).code(speech_like_pcm(8 * quel_samples_per_unit(flavor()), 7, rate()));
  Decoder decoder(flavor(), QUEL_CONCEAL_DEFERRED);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(decoder.decode(nullptr, 0).size(), 0u);
  const auto frames = static_cast<std::size_t>(quel_frames_per_unit(flavor()));
  const std::size_t missing = std::min<std::size_t>(3 * frames, 5);
  EXPECT_EQ(decoder.decode(units.data(), QUEL_ALL_RECEIVED).size(), (missing + frames) * frame());
}

TEST_P(StreamFlavor, CapacityOfADeferredCallIsWhatItGives) {
  const Bytes units =
      Encoder(flavor()).code(Pcm(static_cast<std::size_t>(quel_samples_per_unit(flavor()))));
  Decoder decoder(flavor(), QUEL_CONCEAL_DEFERRED);
  for (int k = 0; k < 7; ++k) decoder.decode(nullptr, 0);
  const auto due = static_cast<std::size_t>(quel_decoder_max_samples(decoder.get()));
  Pcm out(due);
  EXPECT_EQ(quel_decode(decoder.get(), units.data(), units.size(), ~0u, out.data(), due - 1),
            QUEL_ERROR_CAPACITY);
  EXPECT_EQ(quel_decode(decoder.get(), units.data(), units.size(), ~0u, out.data(), due),
            static_cast<int>(due));
}

// Every frame of the unit is looked at by its own bit, and bits past the frames are not.
TEST_P(StreamFlavor, BitsPastTheFramesAreNotLookedAt) {
  const Bytes units =
      Encoder(flavor()).code(speech_like_pcm(12 * quel_samples_per_unit(flavor()), 8, rate()));
  const std::uint32_t all = (1u << quel_frames_per_unit(flavor())) - 1;
  Decoder exact(flavor()), wide(flavor());
  for (std::size_t k = 0; k < units.size(); k += exact.unit_bytes()) {
    EXPECT_EQ(exact.decode(&units[k], all), wide.decode(&units[k], ~0u));
  }
  EXPECT_EQ(exact.decode(nullptr, 0), wide.decode(nullptr, ~all));
}

// Minutes of random bits, clean and with random masks in bursts of up to 100 frames.
TEST_P(StreamFlavor, RandomBitsDecodeToDefinedSound) {
  const int seconds = test::slow_build ? 30 : 600;
  const int units = seconds * static_cast<int>(rate()) / quel_samples_per_unit(flavor());
  for (const bool lossy : {false, true}) {
    for (const int concealment : {QUEL_CONCEAL_IMMEDIATE, QUEL_CONCEAL_DEFERRED}) {
      if (!lossy && concealment == QUEL_CONCEAL_DEFERRED) continue;  // the same calls
      Decoder decoder(flavor(), concealment);
      Random random(9);
      Bytes unit(decoder.unit_bytes());
      Pcm pcm(QUEL_MAX_SAMPLES);
      std::int64_t total = 0;
      int burst = 0;
      for (int k = 0; k < units; ++k) {
        for (auto& byte : unit) byte = static_cast<std::uint8_t>(random.bits() >> 24);
        if (lossy && burst == 0 && random.integer(0, 40) == 0) burst = random.integer(1, 100);
        const std::uint32_t mask = !lossy ? ~0u : burst > 0 ? 0u : random.bits();
        if (burst > 0) --burst;
        const int n =
            quel_decode(decoder.get(), unit.data(), unit.size(), mask, pcm.data(), pcm.size());
        ASSERT_GE(n, 0);
        ASSERT_LE(n, quel_decoder_max_samples(decoder.get()));
        total += n;
      }
      if (concealment == QUEL_CONCEAL_IMMEDIATE) {
        EXPECT_EQ(total, static_cast<std::int64_t>(units) * quel_samples_per_unit(flavor()));
      }
      // Good speech afterwards is decoded as speech: nothing stayed broken.
      const Pcm speech = speech_like_pcm(static_cast<int>(3 * rate()) / 480 * 480, 10, rate());
      const Pcm out = decoder.decode_all(Encoder(flavor()).code(speech));
      EXPECT_GT(energy(out), 0.05 * energy(speech));
      EXPECT_LT(energy(Pcm(out.end() - static_cast<std::ptrdiff_t>(rate()), out.end())),
                20.0 * energy(speech));
    }
  }
}

TEST_P(StreamFlavor, HostileInputToTheEncoderDecodesInKind) {
  const int n = static_cast<int>(2 * rate()) / 480 * 480;
  Random random(11);
  std::vector<Pcm> inputs(5, Pcm(static_cast<std::size_t>(n)));
  for (int i = 0; i < n; ++i) {
    const auto k = static_cast<std::size_t>(i);
    inputs[1][k] = i / 37 % 2 == 0 ? 32767 : -32768;
    inputs[2][k] = static_cast<std::int16_t>(random.integer(-32768, 32767));
    inputs[3][k] = i % 2 == 0 ? 32767 : -32768;
    inputs[4][k] = i % 1000 == 0 ? -32768 : 0;
  }
  for (const Pcm& input : inputs) {
    const Pcm out = Decoder(flavor()).decode_all(Encoder(flavor()).code(input));
    EXPECT_EQ(out.size(), input.size());
    EXPECT_LT(energy(out), 1e6 + 4 * energy(input));
  }
}

TEST_P(StreamFlavor, SilenceStaysSilence) {
  // At most the idle noise of the gain quantiser's floor.
  const int seconds = test::slow_build ? 10 : 60;
  const auto n = static_cast<std::size_t>(seconds * rate()) / 480 * 480;
  const Pcm out = Decoder(flavor()).decode_all(Encoder(flavor()).code(Pcm(n)));
  std::int16_t loudest = 0;
  for (const std::int16_t v : Pcm(out.begin() + static_cast<std::ptrdiff_t>(rate()), out.end())) {
    loudest = std::max<std::int16_t>(loudest, static_cast<std::int16_t>(v < 0 ? -v : v));
  }
  EXPECT_LE(loudest, 8);
}

}  // namespace
}  // namespace quel
