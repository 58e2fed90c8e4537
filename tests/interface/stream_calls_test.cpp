// What a stream's calls leave of their caller's: working memory, and options that they do not know.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "dsp/scratch.h"
#include "quelcodec/quelcodec.h"
#include "support/signals.h"

namespace quel {
namespace {

using ::testing::Each;

constexpr std::byte untouched{0xa5};

// A stream works in memory of its own. The thread's scratch stack, which the process-wide codec
// may be in the middle of using, keeps its place and every byte.
class StreamScratch : public ::testing::TestWithParam<int> {
 protected:
  StreamScratch() {
    std::fill_n(area_.bytes, scratch_bytes, untouched);
    i_heap = area_.top();
  }
  ~StreamScratch() override { i_heap = before_; }

  void expect_untouched(const char* call) const {
    EXPECT_EQ(i_heap, area_.bytes + scratch_bytes) << call;
    EXPECT_EQ(std::count(area_.bytes, area_.bytes + scratch_bytes, untouched),
              static_cast<std::ptrdiff_t>(scratch_bytes))
        << call;
  }

 private:
  std::byte* const before_ = i_heap;
  ScratchArea area_;
};
INSTANTIATE_TEST_SUITE_P(All, StreamScratch, ::testing::Range(0, 4));

TEST_P(StreamScratch, NoCallWorksInTheThreadsOwn) {
  const int flavor = GetParam();
  const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor));
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
  const auto pcm = test::speech_like_pcm(static_cast<int>(samples), 1);
  std::array<std::uint8_t, QUEL_MAX_BYTES> unit{};
  std::array<std::int16_t, QUEL_MAX_SAMPLES> out{};
  const quel_encoder_options enc_options = QUEL_ENCODER_OPTIONS(flavor);
  quel_encoder* encoder = nullptr;
  ASSERT_EQ(quel_encoder_create(&enc_options, &encoder), QUEL_OK);
  expect_untouched("quel_encoder_create");
  EXPECT_GT(quel_encode(encoder, pcm.data(), samples, unit.data(), bytes), 0);
  expect_untouched("quel_encode");
  const std::array<float, QUEL_MAX_SAMPLES> real{};
  EXPECT_GT(quel_encode_units_float(encoder, real.data(), samples, unit.data(), bytes), 0);
  expect_untouched("quel_encode_units_float");
  EXPECT_EQ(quel_encoder_reset(encoder), QUEL_OK);
  expect_untouched("quel_encoder_reset");
  quel_encoder_destroy(encoder);

  for (const int concealment : {QUEL_CONCEAL_IMMEDIATE, QUEL_CONCEAL_DEFERRED}) {
    quel_decoder_options dec_options = QUEL_DECODER_OPTIONS(flavor);
    dec_options.concealment = concealment;
    quel_decoder* decoder = nullptr;
    ASSERT_EQ(quel_decoder_create(&dec_options, &decoder), QUEL_OK);
    expect_untouched("quel_decoder_create");
    EXPECT_GE(quel_decode(decoder, nullptr, 0, 0, out.data(), out.size()), 0);
    expect_untouched("quel_decode of a loss");
    EXPECT_GT(quel_decode(decoder, unit.data(), bytes, ~0u, out.data(), out.size()), 0);
    expect_untouched("quel_decode");
    EXPECT_GT(quel_decode_units(decoder, unit.data(), bytes, nullptr, out.data(), out.size()), 0);
    expect_untouched("quel_decode_units");
    const auto fields = static_cast<std::size_t>(quel_flavor_info(flavor)->fields_per_frame);
    const std::array<std::int32_t, QUEL_MAX_FIELDS> indices{};
    quel_frame frame = QUEL_FRAME;
    EXPECT_EQ(quel_frame_describe(decoder, nullptr, 0, &frame), QUEL_OK);
    expect_untouched("quel_frame_describe of a loss");
    EXPECT_EQ(quel_frame_describe(decoder, indices.data(), fields, &frame), QUEL_OK);
    expect_untouched("quel_frame_describe");
    EXPECT_EQ(quel_decoder_reset(decoder), QUEL_OK);
    expect_untouched("quel_decoder_reset");
    quel_decoder_destroy(decoder);
  }
}

// An option that a newer caller sets must not be ignored, wherever in its struct it stands.
template <typename Options, typename Create>
void expect_every_later_byte_read(Options known, Create create) {
  struct Newer {
    Options known;
    std::array<unsigned char, 24> later;
  } options{known, {}};
  for (std::size_t size = sizeof(Options); size <= sizeof options; ++size) {
    options.known.size = size;
    ASSERT_EQ(create(&options.known), QUEL_OK) << size;
    for (std::size_t i = 0; i < options.later.size(); ++i) {
      options.later[i] = 1;
      const bool inside = sizeof(Options) + i < size;
      EXPECT_EQ(create(&options.known), inside ? QUEL_ERROR_OPTIONS : QUEL_OK) << size << ' ' << i;
      options.later[i] = 0;
    }
  }
}

TEST(StreamOptions, EveryByteOfALongerStructMustBeZeroAndNoneBehindItIsRead) {
  const quel_encoder_options encoder_options = QUEL_ENCODER_OPTIONS(1);
  expect_every_later_byte_read(encoder_options, [](const quel_encoder_options* options) {
    quel_encoder* encoder = nullptr;
    const int result = quel_encoder_create(options, &encoder);
    quel_encoder_destroy(encoder);
    return result;
  });
  const quel_decoder_options decoder_options = QUEL_DECODER_OPTIONS(1);
  expect_every_later_byte_read(decoder_options, [](const quel_decoder_options* options) {
    quel_decoder* decoder = nullptr;
    const int result = quel_decoder_create(options, &decoder);
    quel_decoder_destroy(decoder);
    return result;
  });
}

// A size that was never set can be anything; nothing is read on its word.
TEST(StreamOptions, AStructIsNeverLongerThan4096Bytes) {
  std::vector<std::size_t> memory(4104 / sizeof(std::size_t));
  auto* options = reinterpret_cast<quel_decoder_options*>(memory.data());
  options->size = 4096;
  EXPECT_GT(quel_decoder_size(options), 0);
  options->size = 4097;
  EXPECT_EQ(quel_decoder_size(options), QUEL_ERROR_OPTIONS);
  options->size = SIZE_MAX;
  EXPECT_EQ(quel_decoder_size(options), QUEL_ERROR_OPTIONS);
}

}  // namespace
}  // namespace quel
