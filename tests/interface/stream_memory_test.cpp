#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

#include "quelcodec/quelcodec.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::Random;
using test::speech_like_pcm;

using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

constexpr std::uint8_t untouched = 0xa7;

// Memory for a stream: filled, so that what a stream leaves unset shows, and with a guard behind.
class Block {
 public:
  explicit Block(std::size_t size) : size_(size), bytes_(size + guard, untouched) {}
  void* get() { return bytes_.data(); }
  std::size_t size() const { return size_; }
  bool guard_stands() const {
    return std::all_of(bytes_.begin() + static_cast<std::ptrdiff_t>(size_), bytes_.end(),
                       [](std::uint8_t byte) { return byte == untouched; });
  }
  bool all_untouched() const {
    return std::all_of(bytes_.begin(), bytes_.end(),
                       [](std::uint8_t byte) { return byte == untouched; });
  }

 private:
  static constexpr std::size_t guard = 64;
  std::size_t size_;
  std::vector<std::uint8_t> bytes_;  // from operator new: aligned as max_align_t
};

class StreamMemory : public ::testing::TestWithParam<std::tuple<int, int, int>> {
 protected:
  int flavor() const { return std::get<0>(GetParam()); }
  std::size_t samples() const { return static_cast<std::size_t>(quel_samples_per_unit(flavor())); }
  std::size_t bytes() const { return static_cast<std::size_t>(quel_bytes_per_unit(flavor())); }
  int effort() const { return std::get<2>(GetParam()); }
  quel_encoder_options encoder_options() const {
    quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor());
    options.effort = effort();
    return options;
  }
  quel_decoder_options decoder_options() const {
    quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor());
    options.concealment = std::get<1>(GetParam());
    return options;
  }
  Pcm speech(int units) const {
    return speech_like_pcm(units * quel_samples_per_unit(flavor()), 31,
                           quel_sampling_rate(flavor()));
  }
  Bytes code(quel_encoder* encoder, const Pcm& pcm) const {
    Bytes units(pcm.size() / samples() * bytes());
    for (std::size_t k = 0; k < pcm.size() / samples(); ++k) {
      EXPECT_EQ(quel_encode(encoder, &pcm[k * samples()], samples(), &units[k * bytes()], bytes()),
                static_cast<int>(bytes()));
    }
    return units;
  }
  // Some frames lost, always the same.
  Pcm decode(quel_decoder* decoder, const Bytes& units) const {
    Random random(32);
    Pcm pcm;
    for (std::size_t at = 0; at < units.size(); at += bytes()) {
      const std::uint32_t received = random.integer(0, 3) == 0 ? random.bits() : ~0u;
      Pcm part(QUEL_MAX_SAMPLES);
      const int n = quel_decode(decoder, &units[at], bytes(), received, part.data(), part.size());
      EXPECT_GE(n, 0);
      pcm.insert(pcm.end(), part.begin(), part.begin() + n);
    }
    return pcm;
  }
};
INSTANTIATE_TEST_SUITE_P(All, StreamMemory,
                         ::testing::Combine(::testing::Range(0, 4),
                                            ::testing::Values(QUEL_CONCEAL_IMMEDIATE,
                                                              QUEL_CONCEAL_DEFERRED),
                                            ::testing::Range(0, QUEL_MAX_EFFORT + 1)));

TEST_P(StreamMemory, IsNoMoreThanPromised) {
  const auto enc = encoder_options();
  const auto dec = decoder_options();
  const bool wide = quel_sampling_rate(flavor()) == 16000;
  EXPECT_LE(quel_encoder_size(&enc), (effort() > 0 ? 96 : wide ? 28 : 16) * 1024);
  auto plain = enc;
  plain.effort = 0;
  EXPECT_LE(quel_encoder_size(&enc) - quel_encoder_size(&plain),
            (effort() > 0 ? wide ? 36 : 31 : 0) * 1024);
  EXPECT_LE(quel_decoder_size(&dec), 14 * 1024);
  // Less than the scratch stack would be no stream at all.
  EXPECT_GT(quel_encoder_size(&enc), 8188);
  EXPECT_GT(quel_decoder_size(&dec), 8188);
}

TEST_P(StreamMemory, StreamsInTheCallersGiveWhatCreatedOnesGive) {
  const auto enc = encoder_options();
  const auto dec = decoder_options();
  Block enc_block(static_cast<std::size_t>(quel_encoder_size(&enc)));
  Block dec_block(static_cast<std::size_t>(quel_decoder_size(&dec)));
  quel_encoder *encoder = nullptr, *created_encoder = nullptr;
  quel_decoder *decoder = nullptr, *created_decoder = nullptr;
  ASSERT_EQ(quel_encoder_init(enc_block.get(), enc_block.size(), &enc, &encoder), QUEL_OK);
  ASSERT_EQ(quel_decoder_init(dec_block.get(), dec_block.size(), &dec, &decoder), QUEL_OK);
  ASSERT_EQ(quel_encoder_create(&enc, &created_encoder), QUEL_OK);
  ASSERT_EQ(quel_decoder_create(&dec, &created_decoder), QUEL_OK);
  EXPECT_EQ(static_cast<void*>(encoder), enc_block.get());
  EXPECT_EQ(static_cast<void*>(decoder), dec_block.get());
  EXPECT_EQ(quel_encoder_flavor(encoder), flavor());
  EXPECT_EQ(quel_encoder_effort(encoder), effort());
  EXPECT_EQ(quel_decoder_flavor(decoder), flavor());

  const Pcm pcm = speech(30);
  for (int twice = 0; twice < 2; ++twice) {
    const Bytes units = code(created_encoder, pcm);
    EXPECT_EQ(code(encoder, pcm), units);
    EXPECT_EQ(decode(decoder, units), decode(created_decoder, units));
    EXPECT_EQ(quel_encoder_reset(encoder), QUEL_OK);
    EXPECT_EQ(quel_decoder_reset(decoder), QUEL_OK);
    EXPECT_EQ(quel_encoder_reset(created_encoder), QUEL_OK);
    EXPECT_EQ(quel_decoder_reset(created_decoder), QUEL_OK);
  }
  quel_encoder_destroy(created_encoder);
  quel_decoder_destroy(created_decoder);
  // Frees nothing: the memory is a vector's, which gives it back itself.
  quel_encoder_destroy(encoder);
  quel_decoder_destroy(decoder);
  EXPECT_TRUE(enc_block.guard_stands());
  EXPECT_TRUE(dec_block.guard_stands());
}

// In the middle of speech and of a loss.
TEST_P(StreamMemory, ACopyOfTheBytesIsASecondStreamInTheSameState) {
  const auto enc = encoder_options();
  const auto dec = decoder_options();
  Block enc_block(static_cast<std::size_t>(quel_encoder_size(&enc)));
  Block dec_block(static_cast<std::size_t>(quel_decoder_size(&dec)));
  quel_encoder* encoder = nullptr;
  quel_decoder* decoder = nullptr;
  ASSERT_EQ(quel_encoder_init(enc_block.get(), enc_block.size(), &enc, &encoder), QUEL_OK);
  ASSERT_EQ(quel_decoder_init(dec_block.get(), dec_block.size(), &dec, &decoder), QUEL_OK);
  const Pcm pcm = speech(40);
  const auto middle = pcm.begin() + static_cast<std::ptrdiff_t>(17 * samples());
  decode(decoder, code(encoder, {pcm.begin(), middle}));
  Pcm nothing(QUEL_MAX_SAMPLES);
  quel_decode(decoder, nullptr, 0, 0, nothing.data(), nothing.size());

  Block enc_copy = enc_block, dec_copy = dec_block;
  auto* const second_encoder = static_cast<quel_encoder*>(enc_copy.get());
  auto* const second_decoder = static_cast<quel_decoder*>(dec_copy.get());
  const Pcm rest(middle, pcm.end());
  const Bytes units = code(encoder, rest);
  const Pcm heard = decode(decoder, units);
  // What the first went on to do did not reach the second, nor does the first's end.
  enc_block = Block(1);
  dec_block = Block(1);
  EXPECT_EQ(code(second_encoder, rest), units);
  EXPECT_EQ(decode(second_decoder, units), heard);
  EXPECT_EQ(quel_encoder_reset(second_encoder), QUEL_OK);
  EXPECT_NE(code(second_encoder, rest), units);
}

TEST_P(StreamMemory, ShortOrMisalignedIsRefusedAndLeftAlone) {
  const auto enc = encoder_options();
  const auto dec = decoder_options();
  const auto enc_size = static_cast<std::size_t>(quel_encoder_size(&enc));
  const auto dec_size = static_cast<std::size_t>(quel_decoder_size(&dec));
  Block block(std::max(enc_size, dec_size) + alignof(std::max_align_t));
  auto* const marker = reinterpret_cast<quel_encoder*>(&block);
  auto* const dec_marker = reinterpret_cast<quel_decoder*>(&block);
  quel_encoder* encoder = marker;
  quel_decoder* decoder = dec_marker;
  for (const std::size_t few : {std::size_t{0}, std::size_t{1}, enc_size - 1}) {
    EXPECT_EQ(quel_encoder_init(block.get(), few, &enc, &encoder), QUEL_ERROR_MEMORY);
  }
  for (const std::size_t few : {std::size_t{0}, std::size_t{1}, dec_size - 1}) {
    EXPECT_EQ(quel_decoder_init(block.get(), few, &dec, &decoder), QUEL_ERROR_MEMORY);
  }
  for (std::size_t off = 1; off < alignof(std::max_align_t); ++off) {
    void* const odd = static_cast<std::uint8_t*>(block.get()) + off;
    EXPECT_EQ(quel_encoder_init(odd, enc_size, &enc, &encoder), QUEL_ERROR_ALIGNMENT);
    EXPECT_EQ(quel_decoder_init(odd, dec_size, &dec, &decoder), QUEL_ERROR_ALIGNMENT);
  }
  EXPECT_EQ(encoder, marker);
  EXPECT_EQ(decoder, dec_marker);
  EXPECT_TRUE(block.all_untouched());
}

TEST(StreamMemoryErrors, OptionsAreCheckedAsByCreate) {
  Block block(28 * 1024);
  quel_encoder* encoder = nullptr;
  quel_decoder* decoder = nullptr;
  quel_encoder_options enc = QUEL_ENCODER_OPTIONS(1);
  quel_decoder_options dec = QUEL_DECODER_OPTIONS(1);
  EXPECT_EQ(quel_encoder_size(nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decoder_size(nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_encoder_init(nullptr, block.size(), &enc, &encoder), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decoder_init(nullptr, block.size(), &dec, &decoder), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_encoder_init(block.get(), block.size(), nullptr, &encoder), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decoder_init(block.get(), block.size(), nullptr, &decoder), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_encoder_init(block.get(), block.size(), &enc, nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decoder_init(block.get(), block.size(), &dec, nullptr), QUEL_ERROR_ARGUMENT);
  enc.flavor = dec.flavor = 4;
  EXPECT_EQ(quel_encoder_size(&enc), QUEL_ERROR_FLAVOR);
  EXPECT_EQ(quel_decoder_size(&dec), QUEL_ERROR_FLAVOR);
  EXPECT_EQ(quel_encoder_init(block.get(), block.size(), &enc, &encoder), QUEL_ERROR_FLAVOR);
  EXPECT_EQ(quel_decoder_init(block.get(), block.size(), &dec, &decoder), QUEL_ERROR_FLAVOR);
  enc.flavor = dec.flavor = 1;
  enc.effort = QUEL_MAX_EFFORT + 1;
  EXPECT_EQ(quel_encoder_size(&enc), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(quel_encoder_init(block.get(), block.size(), &enc, &encoder), QUEL_ERROR_OPTIONS);
  enc.effort = 0;
  enc.size = dec.size = 3;
  EXPECT_EQ(quel_encoder_size(&enc), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(quel_decoder_size(&dec), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(quel_encoder_init(block.get(), block.size(), &enc, &encoder), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(quel_decoder_init(block.get(), block.size(), &dec, &decoder), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(encoder, nullptr);
  EXPECT_EQ(decoder, nullptr);
  EXPECT_TRUE(block.all_untouched());
}

}  // namespace
}  // namespace quel
