// The frame drivers in their process-wide form, and what they and the switches reach.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "interface/process_support.h"
#include "quelcodec/quelcodec.h"

namespace quel {
namespace {

using test::Narrowband;
using test::Pcm;
using test::random_words;
using test::same;
using test::speech_like_pcm;
using test::Words;

TEST(ProcessDrivers, InitDriversPointTheScratchStackAtTheirAreas) {
  EXPECT_EQ(initVXEncoder(), 0);
  EXPECT_EQ(i_heap, process_encoder.scratch.top());
  EXPECT_EQ(initVXDecoder(), 0);
  EXPECT_EQ(i_heap, process_decoder.scratch.top());
  EXPECT_EQ(initVX5Decoder(), 0);
  EXPECT_EQ(i_heap, process_decoder.scratch_5k.top());
}

TEST(ProcessDrivers, InitDriversResetTheirCoders) {
  set_mode(2);
  const Words prm = random_words(24);
  Words wide = prm;
  wide[0] = 0;
  Pcm out(240);
  const auto use = [&] {
    dec_swt(prm.data(), out.data(), 0);
    decoder_5k(prm.data() + 1, out.data(), 0);
    decod_wb(wide.data(), out.data());
    numPacketsMissing = 3;
  };
  use();
  Narrowband state{process_decoder.swt, process_decoder.five_k, process_decoder.shared};
  WidebandDecoder wideband = process_decoder.wideband;
  initVXDecoder();
  EXPECT_EQ(numPacketsMissing, 0);
  init_dec_swt(state.swt, state.shared);
  init_decoder_5k(state.five_k, state.shared);
  init_decod_wb(wideband);
  EXPECT_TRUE(same(state));
  EXPECT_EQ(std::memcmp(&process_decoder.wideband, &wideband, sizeof wideband), 0);

  // That of flavor 2 resets its own decoder and what the two share but the seed.
  use();
  state = {process_decoder.swt, process_decoder.five_k, process_decoder.shared};
  wideband = process_decoder.wideband;
  initVX5Decoder();
  EXPECT_EQ(numPacketsMissing, 0);
  init_decoder_5k(state.five_k, state.shared);
  EXPECT_TRUE(same(state));
  EXPECT_EQ(std::memcmp(&process_decoder.wideband, &wideband, sizeof wideband), 0);
}

// A host may go on after a free, or free twice.
TEST(ProcessDrivers, FreeingFreesNothingAndResetsNothing) {
  set_mode(1);
  initVXEncoder();
  initVXDecoder();
  const Pcm speech = speech_like_pcm(144, 25);
  std::vector<std::uint8_t> unit(19);
  VXEncode(speech.data(), unit.data(), 1);
  Pcm out(144);
  dec_swt(random_words(26).data(), out.data(), 0);
  const auto bytes = [](const auto& state) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(&state);
    return std::vector<std::uint8_t>(first, first + sizeof state);
  };
  const auto encoder = bytes(process_encoder), decoder = bytes(process_decoder);
  const auto* top = i_heap;
  for (int twice = 0; twice < 2; ++twice) {
    freeVXEncoder();
    freeVXDecoder();
    freeVX5Decoder();
  }
  EXPECT_EQ(i_heap, top);
  EXPECT_TRUE(bytes(process_encoder) == encoder);
  EXPECT_TRUE(bytes(process_decoder) == decoder);
}

// The plug-in refuses such a flavor; the drivers are for study, and anybody may call them.
TEST(ProcessDrivers, AFlavorThatIsNoneCodesZerosAndDecodesNothing) {
  set_mode(1);
  initVXEncoder();
  initVXDecoder();
  initVX5Decoder();
  const Pcm pcm = speech_like_pcm(144, 26);
  using Driver = void (*)(const std::uint8_t*, std::int16_t*, std::uint32_t, std::uint32_t*,
                          std::uint32_t, std::int32_t*);
  const Driver drivers[] = {VXDecode, VX5Decode, VX16Decode};
  for (const std::uint32_t flavor : {4u, 255u, ~0u}) {
    SCOPED_TRACE(flavor);
    std::vector<std::uint8_t> unit(19, 0xee);
    VXEncode(pcm.data(), unit.data(), flavor);
    EXPECT_THAT(unit, ::testing::Each(0));
    for (const Driver driver : drivers) {
      Pcm out(144, 4711);
      std::uint32_t mask = 1;
      std::int32_t samples = -1;
      driver(unit.data(), out.data(), 19, &mask, flavor, &samples);
      EXPECT_EQ(samples, 0);
      EXPECT_THAT(out, ::testing::Each(4711));
    }
  }
}

// The plug-in codes with the process's switches; streams do not look at them.
TEST(ProcessDrivers, WidebandSwitchesReachThePluginAndNoStream) {
  const Pcm pcm = speech_like_pcm(2560, 25, 16000.0);
  using Bytes = std::vector<std::uint8_t>;
  const auto encode = [&] {
    Bytes bytes(320);
    std::uint32_t n = 0, size = 0;
    process_encoder = FrameEncoder{};  // some predictor memories have no other way back
    SetFlavor(3);
    InitEncoder(16000, 2, &n, &size);
    Encode(pcm.data(), bytes.data());
    return bytes;
  };
  const auto decode = [](const Bytes& bytes) {
    Pcm out(2560);
    std::uint16_t length = 0;
    process_decoder = FrameDecoder{};
    InitDecoder();
    SetFlavor(3);
    Decode(bytes.data(), 320, out.data(), &length, 0xffffu);
    return out;
  };
  const auto stream = [&] {
    const quel_encoder_options enc_options = QUEL_ENCODER_OPTIONS(3);
    const quel_decoder_options dec_options = QUEL_DECODER_OPTIONS(3);
    quel_encoder* encoder = nullptr;
    quel_decoder* decoder = nullptr;
    EXPECT_EQ(quel_encoder_create(&enc_options, &encoder), QUEL_OK);
    EXPECT_EQ(quel_decoder_create(&dec_options, &decoder), QUEL_OK);
    Pcm out(2560);
    for (std::size_t k = 0; k < 2560; k += 160) {
      std::uint8_t unit[20];
      EXPECT_EQ(quel_encode(encoder, &pcm[k], 160, unit, 20), 20);
      EXPECT_EQ(quel_decode(decoder, unit, 20, ~0u, &out[k], 160), 160);
    }
    quel_encoder_destroy(encoder);
    quel_decoder_destroy(decoder);
    return out;
  };
  nb_iter_selected = 2;
  running_vector_from_signs = bad_lsf_ind = bad_pitch_ind = 0;
  const Bytes bytes = encode();
  const Pcm heard = decode(bytes), streamed = stream();
  EXPECT_EQ(streamed, heard);
  nb_iter_selected = 5;
  EXPECT_NE(encode(), bytes);
  nb_iter_selected = 2;
  running_vector_from_signs = 1;
  EXPECT_NE(encode(), bytes);
  running_vector_from_signs = 0;
  EXPECT_EQ(encode(), bytes);
  bad_lsf_ind = 1;
  EXPECT_NE(decode(bytes), heard);
  bad_lsf_ind = 0;
  bad_pitch_ind = 1;
  EXPECT_NE(decode(bytes), heard);
  bad_pitch_ind = 0;
  EXPECT_EQ(decode(bytes), heard);
  nb_iter_selected = 5;
  running_vector_from_signs = bad_lsf_ind = bad_pitch_ind = 1;
  EXPECT_EQ(stream(), streamed);
}

TEST(ProcessDrivers, DriversWithoutAModeRecordDoNothing) {
  const Pcm pcm(480, 1000);
  std::vector<std::uint8_t> bytes(40, 0xee);
  Pcm out(2400, 0x5a5a);
  process_mode = Mode{};
  initVXEncoder();
  initVXDecoder();
  initVX5Decoder();
  for (std::uint32_t flavor = 0; flavor < 4; ++flavor) {
    VXEncode(pcm.data(), bytes.data(), flavor);
    std::uint32_t mask = ~0u;
    std::int32_t samples = 7;
    VXDecode(bytes.data(), out.data(), 40, &mask, flavor, &samples);
    EXPECT_EQ(samples, 0);
    EXPECT_EQ(mask, ~0u);
  }
  EXPECT_THAT(bytes, ::testing::Each(0xee));
  EXPECT_THAT(out, ::testing::Each(0x5a5a));
}

// The mask goes by address: a driver takes one bit for each frame.
TEST(ProcessDrivers, DriversConsumeTheMaskAndHandOverTheFlavor) {
  constexpr int calls_frames[] = {2, 1, 2, 1};
  const Pcm pcm = speech_like_pcm(480, 22);
  for (std::uint32_t flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    set_mode(static_cast<std::int32_t>(flavor));
    initVXEncoder();
    initVXDecoder();
    if (flavor == 2) initVX5Decoder();
    std::vector<std::uint8_t> unit(40, 0xee);
    VXEncode(pcm.data(), unit.data(), flavor);
    const auto bytes = static_cast<std::size_t>(outputBytes);
    EXPECT_THAT(std::vector(unit.begin() + outputBytes, unit.end()), ::testing::Each(0xee));
    std::uint32_t mask = 0xa5a5a5ffu;
    std::int32_t samples = 0;
    Pcm out(480);
    using Driver = void (*)(const std::uint8_t*, std::int16_t*, std::uint32_t, std::uint32_t*,
                            std::uint32_t, std::int32_t*);
    constexpr Driver drivers[] = {VXDecode, VXDecode, VX5Decode, VX16Decode};
    drivers[flavor](unit.data(), out.data(), static_cast<std::uint32_t>(bytes), &mask, flavor,
                    &samples);
    EXPECT_EQ(mask, 0xa5a5a5ffu >> calls_frames[flavor]);
    EXPECT_EQ(samples, calls_frames[flavor] * len_frame);
    if (flavor < 2) {
      EXPECT_EQ(process_decoder.swt.last_mode, static_cast<std::int32_t>(flavor));
    }
  }
}

// A host may load on one thread and work on another: working memory is each thread's own.
TEST(ProcessDrivers, AnyThreadMayCall) {
  const Pcm pcm = speech_like_pcm(2304, 23);
  std::uint32_t samples = 0, bytes = 0;
  std::vector<std::uint8_t> here(304), there(304);
  Pcm heard_here(2304), heard_there(2304);
  std::uint16_t length = 0;
  const auto work = [&](std::vector<std::uint8_t>& unit, Pcm& heard) {
    Encode(pcm.data(), unit.data());
    Decode(unit.data(), 304, heard.data(), &length, 0xffffu);
  };
  SetFlavor(1);
  InitEncoder(8000, 2, &samples, &bytes);
  InitDecoder();
  work(here, heard_here);
  InitEncoder(8000, 2, &samples, &bytes);
  InitDecoder();
  std::thread([&] { work(there, heard_there); }).join();
  EXPECT_EQ(there, here);
  EXPECT_EQ(heard_there, heard_here);
  EXPECT_EQ(length, 4608);
}

}  // namespace
}  // namespace quel
