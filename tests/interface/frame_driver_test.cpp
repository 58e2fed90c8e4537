#include "interface/frame_driver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "bitstream/serial.h"
#include "narrowband/conceal_swt.h"
#include "quelcodec/quelcodec.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::Random;
using test::speech_like_pcm;

using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

template <typename State>
bool same_bytes(const State& a, const State& b) {
  return std::memcmp(&a, &b, sizeof(State)) == 0;
}

Mode mode_of(int flavor) {
  Mode mode;
  set_mode(mode, flavor);
  return mode;
}

TEST(FrameDriver, InitVXEncoderResetsBothEncoders) {
  FrameEncoder used;
  const ScratchSwitch scratch(used.scratch);
  Bytes unit(QUEL_MAX_BYTES);
  for (const std::uint32_t flavor : {1u, 3u}) {
    const Mode mode = mode_of(static_cast<int>(flavor));
    VXEncode(used, mode, speech_like_pcm(160, flavor).data(), unit.data(), flavor);
  }
  NarrowbandEncoder narrowband = used.narrowband;
  WidebandEncoder wideband = used.wideband;
  EXPECT_EQ(initVXEncoder(used), 0);
  EXPECT_FALSE(same_bytes(used.narrowband, narrowband));
  EXPECT_FALSE(same_bytes(used.wideband, wideband));
  init_cod_swt(narrowband);
  init_coder_wb16(wideband);
  EXPECT_TRUE(same_bytes(used.narrowband, narrowband));
  EXPECT_TRUE(same_bytes(used.wideband, wideband));
}

// Three frames of flavor 1, of which the third arrives, and what the frame decoder makes of them.
class TwoLostOneReceived : public ::testing::Test {
 protected:
  static constexpr std::size_t frame = 144;
  const Mode mode = mode_of(1);
  // Some speech before, so that the two kinds of loss have a past to start from.
  const Bytes before = random_bytes(19, 1);
  const Bytes bytes = random_bytes(57, 2);

  static Bytes random_bytes(std::size_t n, std::uint64_t seed) {
    Random random(seed);
    Bytes bytes(n);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random.bits() >> 24);
    return bytes;
  }

  // Words of the frame that starts at this bit.
  std::vector<std::int32_t> words(const Bytes& from, int position) const {
    Bytes bits(20);
    bitcopy(bits.data(), from.data(), 0, position, mode.prmBits);
    std::vector<std::int32_t> prm(21);
    binary2prm(prm.data(), bits.data(), 1);
    if (TestBigEndian() != 0) SwapIntBytes(prm.data(), 21);
    return prm;
  }

  // The three frames with the first two concealed as `bfi` says.
  Pcm expected(int bfi) const {
    FrameDecoder state;
    const ScratchSwitch scratch(state.scratch);
    init_dec_swt(state.swt, state.shared);
    Pcm out(4 * frame);
    dec_swt(state.swt, state.shared, mode, words(before, 0).data(), out.data(), 0);
    const std::vector<std::int32_t> third = words(bytes, 2 * mode.prmBits);
    for (std::size_t k = 1; k < 4; ++k) {
      dec_swt(state.swt, state.shared, mode, third.data(), &out[k * frame], k < 3 ? bfi : 0);
    }
    out.erase(out.begin(), out.begin() + frame);
    return out;
  }

  Pcm expected_at_once() const;
};

// The three frames with the first two made up at once.
Pcm TwoLostOneReceived::expected_at_once() const {
  FrameDecoder state;
  NarrowbandConcealment concealment;
  const ScratchSwitch scratch(state.scratch);
  init_dec_swt(state.swt, state.shared);
  Pcm out(4 * frame);
  const auto receive = [&](const std::vector<std::int32_t>& prm, std::int16_t* heard) {
    meet_swt(concealment, state.swt, state.shared, prm.data());
    dec_swt(state.swt, state.shared, mode, prm.data(), heard, 0, &concealment);
  };
  receive(words(before, 0), out.data());
  for (std::size_t k = 1; k < 3; ++k) {
    conceal_swt(concealment, state.swt, state.shared, mode, &out[k * frame]);
  }
  receive(words(bytes, 2 * mode.prmBits), &out[3 * frame]);
  out.erase(out.begin(), out.begin() + frame);
  return out;
}

TEST_F(TwoLostOneReceived, ADeferredLossIsConcealedWithTheNextFramesWords) {
  ASSERT_EQ(mode.prmBits, 152);
  FrameDecoder state;
  const ScratchSwitch scratch(state.scratch);
  initVXDecoder(state);
  std::int32_t samples = 0;
  std::uint32_t mask = 1;
  Pcm out(3 * frame);
  VXDecode(state, mode, before.data(), out.data(), 19, &mask, 1, &samples);
  mask = 4;
  VXDecode(state, mode, bytes.data(), out.data(), 57, &mask, 1, &samples);
  ASSERT_EQ(samples, 432);
  EXPECT_EQ(out, expected(/*bfi=*/1));
  EXPECT_NE(out, expected(/*bfi=*/2));
  EXPECT_EQ(state.numPacketsMissing, 0);
}

TEST_F(TwoLostOneReceived, ADeferredStreamConcealsLikewise) {
  quel_decoder_options options = QUEL_DECODER_OPTIONS(1);
  options.concealment = QUEL_CONCEAL_DEFERRED;
  quel_decoder* decoder = nullptr;
  ASSERT_EQ(quel_decoder_create(&options, &decoder), QUEL_OK);
  Pcm out(3 * frame);
  EXPECT_EQ(quel_decode(decoder, before.data(), 19, 1, out.data(), out.size()), 144);
  EXPECT_EQ(quel_decode(decoder, bytes.data(), 19, 0, out.data(), out.size()), 0);
  EXPECT_EQ(quel_decode(decoder, nullptr, 0, 0, out.data(), out.size()), 0);
  EXPECT_EQ(quel_decode(decoder, &bytes[38], 19, 1, out.data(), out.size()), 432);
  quel_decoder_destroy(decoder);
  EXPECT_EQ(out, expected(/*bfi=*/1));
}

TEST_F(TwoLostOneReceived, AnImmediateStreamConcealsWithoutHelp) {
  const quel_decoder_options options = QUEL_DECODER_OPTIONS(1);
  quel_decoder* decoder = nullptr;
  ASSERT_EQ(quel_decoder_create(&options, &decoder), QUEL_OK);
  Pcm out(4 * frame);
  EXPECT_EQ(quel_decode(decoder, before.data(), 19, 1, out.data(), frame), 144);
  for (std::size_t k = 0; k < 3; ++k) {
    const std::uint32_t received = k < 2 ? 0 : 1;
    EXPECT_EQ(quel_decode(decoder, &bytes[19 * k], 19, received, &out[k * frame], frame), 144);
  }
  quel_decoder_destroy(decoder);
  out.resize(3 * frame);
  EXPECT_EQ(out, expected_at_once());
  EXPECT_NE(out, expected(/*bfi=*/2));
}

}  // namespace
}  // namespace quel
