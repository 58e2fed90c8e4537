// The plug-in functions as a media host calls them. CTest gives each test a process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "interface/plain_driver.h"
#include "interface/process_codec.h"
#include "quelcodec/quelcodec.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::Random;
using test::speech_like_pcm;
using ::testing::Each;

constexpr std::size_t most_samples = QUEL_PLUGIN_MAX_SAMPLES;
constexpr std::int16_t untouched = 0x5a5a;

using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

// Decodes one call into a buffer with a guard behind it, and checks that nothing but the samples
// that the call reports was written.
Pcm decode_call(const Bytes& bytes, std::uint32_t received) {
  Pcm out(most_samples + 480, untouched);
  std::uint16_t length = 1;
  EXPECT_EQ(
      Decode(bytes.data(), static_cast<std::uint16_t>(bytes.size()), out.data(), &length, received),
      0);
  EXPECT_EQ(length % 2, 0);
  const auto samples = static_cast<std::ptrdiff_t>(length / 2);
  EXPECT_THAT(Pcm(out.begin() + samples, out.end()), Each(untouched));
  out.resize(static_cast<std::size_t>(samples));
  return out;
}

Bytes random_bytes(std::size_t n, std::uint64_t seed) {
  Random random(seed);
  Bytes bytes(n);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random.bits() >> 24);
  return bytes;
}

// One InitEncoder and as many Encode as the samples fill.
Bytes encode_calls(std::uint16_t flavor, const Pcm& pcm) {
  SetFlavor(flavor);
  std::uint32_t samples = 0, bytes = 0;
  InitEncoder(8000, 2, &samples, &bytes);
  Bytes out(pcm.size() / samples * bytes);
  for (std::size_t k = 0; k < pcm.size() / samples; ++k) {
    Encode(&pcm[k * samples], &out[k * bytes]);
  }
  return out;
}

void ready_to_decode(std::uint16_t flavor) {
  InitDecoder();
  SetFlavor(flavor);
}

TEST(Plugin, StateAtLoad) {
  EXPECT_EQ(CurFlavor, 4);
  EXPECT_EQ(framesPerCall, 8);
  EXPECT_EQ(numPacketsMissing, 0);
  EXPECT_EQ(len_frame, 0);
  EXPECT_EQ(fac_inter_var, 0.0f);
  EXPECT_STREQ(Bandwidth, "6500,8500,5000,16000");
  EXPECT_EQ(sizeof Bandwidth, 22u);
  EXPECT_EQ(bad_lsf_ind, 0);
  EXPECT_EQ(bad_pitch_ind, 0);
  EXPECT_EQ(nb_iter_selected, 2);
  EXPECT_EQ(running_vector_from_signs, 0);
}

TEST(Plugin, BothCountsAreFour) {
  EXPECT_EQ(GetNumberOfFlavors(), 4u);
  EXPECT_EQ(GetNumberOfQNFlavors(), 4u);
}

TEST(Plugin, SetFlavorRefusesWhatIsNone) {
  EXPECT_EQ(SetFlavor(2), 0u);
  EXPECT_EQ(SetFlavor(4), 8u);
  EXPECT_EQ(CurFlavor, 2);
  EXPECT_EQ(SetFlavor(65535), 8u);
  EXPECT_EQ(CurFlavor, 2);
}

TEST(Plugin, ModeRecordKeepsItsNarrowbandMembersInFlavor3) {
  set_mode(2);
  set_mode(3);
  EXPECT_EQ(num_subfr, 5);
  EXPECT_EQ(gamma4, 0.7f);
  EXPECT_EQ(fac_inter_var, 1.0f / 6.0f);
  EXPECT_EQ(len_frame, 160);
  set_mode(7);
  EXPECT_EQ(initFlavor, 7);
  EXPECT_EQ(len_frame, 160);
  EXPECT_EQ(prmBits, 160);
}

TEST(Plugin, InitEncoderTellsTheSizesOfACall) {
  constexpr std::uint32_t samples[] = {2304, 2304, 3840, 2560};
  constexpr std::uint32_t bytes[] = {232, 304, 296, 320};
  constexpr std::int32_t calls[] = {8, 16, 8, 16};
  for (std::uint16_t flavor = 0; flavor < 4; ++flavor) {
    std::uint32_t n = 0, b = 0;
    SetFlavor(flavor);
    EXPECT_EQ(InitEncoder(8000, 2, &n, &b), 0u);
    EXPECT_EQ(n, samples[flavor]);
    EXPECT_EQ(b, bytes[flavor]);
    EXPECT_EQ(framesPerCall, calls[flavor]);
  }
}

TEST(Plugin, DecodeWithoutAFlavorFailsAndLeavesTheLength) {
  const Bytes bytes(29);
  Pcm out(most_samples, untouched);
  std::uint16_t length = 4711;
  EXPECT_EQ(InitDecoder(), 0);
  EXPECT_EQ(Decode(bytes.data(), 29, out.data(), &length, 3), -1);
  EXPECT_EQ(length, 4711);
  EXPECT_THAT(out, Each(untouched));
}

TEST(Plugin, Flavor0UnitGives288Samples) {
  ready_to_decode(0);
  EXPECT_EQ(decode_call(random_bytes(29, 1), 3).size(), 288u);
}

TEST(Plugin, TwoLostFramesAreMadeUpWhenTheThirdArrives) {
  ready_to_decode(1);
  EXPECT_EQ(decode_call(random_bytes(57, 2), 4).size(), 432u);
  EXPECT_EQ(numPacketsMissing, 0);
}

TEST(Plugin, LostFramesAtTheEndAreMadeUpInTheNextCall) {
  ready_to_decode(1);
  EXPECT_EQ(decode_call(random_bytes(57, 3), 1).size(), 144u);
  EXPECT_EQ(numPacketsMissing, 2);
  EXPECT_EQ(decode_call(random_bytes(19, 4), 1).size(), 3u * 144u);
}

TEST(Plugin, SevenLostFramesGiveFiveConcealedAndOneNormal) {
  for (std::uint16_t flavor = 0; flavor < 4; ++flavor) {
    ready_to_decode(flavor);
    set_mode(flavor);
    const auto bytes = static_cast<std::size_t>(8 * prmBits / 8);
    EXPECT_EQ(decode_call(random_bytes(bytes, 5), 1u << 7).size(),
              6u * static_cast<std::size_t>(len_frame));
  }
}

TEST(Plugin, TooFewBitsGiveNothing) {
  ready_to_decode(1);
  EXPECT_EQ(decode_call(Bytes(18), 1).size(), 0u);
  EXPECT_EQ(decode_call(Bytes{}, 1).size(), 0u);
}

TEST(Plugin, LeftoverBitsAreIgnored) {
  ready_to_decode(1);
  EXPECT_EQ(decode_call(Bytes(37), 3).size(), 144u);
}

TEST(Plugin, OneCallGivesAtMost37Frames) {
  // Five losses carried over, 32 frames of the mask; all that follow count as lost.
  ready_to_decode(2);
  EXPECT_EQ(decode_call(random_bytes(37 * 3, 6), 0).size(), 0u);
  EXPECT_EQ(decode_call(random_bytes(37 * 20, 7), 0xffffffffu).size(), 37u * 240u);
  EXPECT_EQ(numPacketsMissing, 5);
}

// The frame sizes may be another flavor's, so that any flavor's call may give as much as flavor
// 2's. The buffer has exactly the promised size, for the address sanitizer to see a sample behind
// it.
TEST(Plugin, NoCallGivesMoreThanPromised) {
  std::size_t most = 0;
  for (std::uint16_t sizes = 0; sizes < 4; ++sizes) {
    for (std::uint16_t flavor = 0; flavor < 4; ++flavor) {
      SCOPED_TRACE(::testing::Message() << flavor << " in frames of " << sizes);
      encode_calls(sizes, Pcm(3840));
      SetFlavor(flavor);
      InitDecoder();
      Pcm out(QUEL_PLUGIN_MAX_SAMPLES);
      const Bytes bytes = random_bytes(20 * 37, flavor);
      std::uint16_t length = 0;
      // Five losses carried over, then 32 frames.
      for (const std::uint32_t mask : {0u, ~0u}) {
        ASSERT_EQ(Decode(bytes.data(), 20 * 37, out.data(), &length, mask), 0);
        ASSERT_LE(length / 2u, out.size());
      }
      most = std::max<std::size_t>(most, length / 2);
      if (sizes == 2) {
        EXPECT_EQ(length / 2u, out.size());
      }
    }
  }
  EXPECT_EQ(most, QUEL_PLUGIN_MAX_SAMPLES);
}

// A call of fewer bytes: frames may be cut out of them at another flavor's length. The buffer has
// exactly the documented size.
TEST(Plugin, FewerBytesNeedNoMoreRoomThanPromised) {
  for (std::uint16_t sizes = 0; sizes < 4; ++sizes) {
    encode_calls(sizes, Pcm(3840));
    for (std::uint16_t flavor = 0; flavor < 4; ++flavor) {
      for (std::uint16_t bytes = 0; bytes < 592; bytes = static_cast<std::uint16_t>(bytes + 3)) {
        SCOPED_TRACE(::testing::Message()
                     << bytes << " bytes of " << flavor << " in frames of " << sizes);
        SetFlavor(sizes);
        std::uint32_t ignored = 0;
        InitEncoder(8000, 2, &ignored, &ignored);
        SetFlavor(flavor);
        InitDecoder();
        const Bytes units = random_bytes(20 * 5, 1);
        std::uint16_t length = 0;
        Pcm out(1200u + bytes * 8u / 148u * 240u);
        ASSERT_EQ(Decode(units.data(), 20 * 5, out.data(), &length, 0), 0);
        const Bytes more = random_bytes(bytes, 2);
        ASSERT_EQ(Decode(more.data(), bytes, out.data(), &length, ~0u), 0);
        ASSERT_LE(length / 2u, out.size());
      }
    }
  }
}

TEST(Plugin, AnUnsetModeRecordDecodesNothing) {
  SetFlavor(1);
  InitDecoder();
  EXPECT_EQ(decode_call(random_bytes(57, 8), 7).size(), 0u);
}

TEST(Plugin, EncodeBeforeInitEncoderWritesNothing) {
  const Pcm pcm(3840);
  Bytes out(400, 0xee);
  Encode(pcm.data(), out.data());
  SetFlavor(1);
  Encode(pcm.data(), out.data());
  EXPECT_THAT(out, Each(0xee));
}

TEST(Plugin, EncodeOfAnotherFlavorThanPreparedWritesNothing) {
  const Pcm pcm(3840);
  Bytes out(400, 0xee);
  std::uint32_t samples = 0, bytes = 0;
  SetFlavor(0);
  InitEncoder(8000, 2, &samples, &bytes);
  for (std::uint16_t other = 1; other < 4; ++other) {
    SetFlavor(other);
    Encode(pcm.data(), out.data());
  }
  EXPECT_THAT(out, Each(0xee));
  SetFlavor(0);
  Encode(pcm.data(), out.data());
  EXPECT_NE(out, Bytes(400, 0xee));
}

TEST(Plugin, InitEncoderWithoutAFlavorPreparesNothing) {
  std::uint32_t samples = 7, bytes = 7;
  EXPECT_EQ(InitEncoder(8000, 2, &samples, &bytes), 0u);
  EXPECT_EQ(samples, 0u);
  EXPECT_EQ(bytes, 0u);
  Bytes out(400, 0xee);
  Encode(Pcm(3840).data(), out.data());
  EXPECT_THAT(out, Each(0xee));
}

// SetFlavor, InitDecoder in this order leaves the record of the flavor before: every frame then
// takes that record's samples, cut or followed by zeros, and nothing is written behind them.
TEST(Plugin, ForeignModeRecordCutsLongFrames) {
  encode_calls(0, Pcm(2304));
  SetFlavor(2);
  InitDecoder();
  // 58 bytes hold four frames of the record's 116 bits.
  EXPECT_EQ(decode_call(random_bytes(58, 9), 15).size(), 4u * 144u);
}

TEST(Plugin, ForeignModeRecordFillsGapsWithZeros) {
  encode_calls(2, Pcm(3840));
  SetFlavor(0);
  InitDecoder();
  const Pcm out = decode_call(random_bytes(37, 10), 3);
  ASSERT_EQ(out.size(), 480u);
  for (const std::ptrdiff_t frame : {0, 240}) {
    EXPECT_THAT(Pcm(out.begin() + frame + 144, out.begin() + frame + 240), Each(0));
    EXPECT_NE(Pcm(out.begin() + frame, out.begin() + frame + 144), Pcm(144));
  }
}

TEST(Plugin, EveryPairOfRecordAndDecoderStaysInBounds) {
  for (std::uint16_t record = 0; record < 4; ++record) {
    for (std::uint16_t flavor = 0; flavor < 4; ++flavor) {
      SetFlavor(record);
      std::uint32_t samples = 0, bytes = 0;
      InitEncoder(8000, 2, &samples, &bytes);
      SetFlavor(flavor);
      InitDecoder();
      for (std::uint64_t k = 0; k < 20; ++k) {
        decode_call(random_bytes(200, k), static_cast<std::uint32_t>(0x5a5a1234u << k));
      }
    }
  }
}

// What a stream of this flavor makes of the same input: as if alone.
Bytes stream_units(int flavor, const Pcm& pcm) {
  const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
  quel_encoder* encoder = nullptr;
  EXPECT_EQ(quel_encoder_create(&options, &encoder), QUEL_OK);
  const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor));
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
  Bytes units(pcm.size() / samples * bytes);
  for (std::size_t k = 0; k < pcm.size() / samples; ++k) {
    EXPECT_EQ(quel_encode(encoder, &pcm[k * samples], samples, &units[k * bytes], bytes),
              static_cast<int>(bytes));
  }
  quel_encoder_destroy(encoder);
  return units;
}

// mask: received bits per call of as many units as an Encode makes.
Pcm stream_pcm(int flavor, const Bytes& units, const std::vector<std::uint32_t>& masks,
               std::size_t units_per_call) {
  quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor);
  options.concealment = QUEL_CONCEAL_DEFERRED;
  quel_decoder* decoder = nullptr;
  EXPECT_EQ(quel_decoder_create(&options, &decoder), QUEL_OK);
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
  const auto frames = static_cast<std::size_t>(quel_frames_per_unit(flavor));
  Pcm pcm, block(QUEL_MAX_SAMPLES);
  for (std::size_t k = 0; k < units.size() / bytes; ++k) {
    const std::uint32_t mask = masks[k / units_per_call] >> (k % units_per_call * frames);
    const int n = quel_decode(decoder, &units[k * bytes], bytes, mask, block.data(), block.size());
    EXPECT_GE(n, 0);
    pcm.insert(pcm.end(), block.begin(), block.begin() + n);
  }
  quel_decoder_destroy(decoder);
  return pcm;
}

class PluginFlavor : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(All, PluginFlavor, ::testing::Range(0, 4));

TEST_P(PluginFlavor, GivesBitForBitWhatAStreamGives) {
  const int flavor = GetParam();
  const Pcm pcm = speech_like_pcm(3840 * 9, 11, flavor == 3 ? 16000 : 8000);
  const Bytes units = encode_calls(static_cast<std::uint16_t>(flavor), pcm);
  const std::size_t coded = units.size() / static_cast<std::size_t>(outputBytes) *
                            static_cast<std::size_t>(framesPerCycle * len_frame);
  const Pcm head(pcm.begin(), pcm.begin() + static_cast<std::ptrdiff_t>(coded));
  EXPECT_EQ(units, test::plain_encode(flavor, head));
  EXPECT_EQ(units, stream_units(flavor, head));

  const std::size_t call = static_cast<std::size_t>(framesPerCall * outputBytes);
  const std::vector<std::uint32_t> masks = {~0u,     0xfff3u, 0x10f1u, 0u,  0xff00u, 0xffffffu,
                                            0xa5a5u, 0xffffu, ~0u,     ~0u, ~0u,     ~0u,
                                            ~0u,     ~0u,     ~0u,     ~0u};
  // A fresh process: fac_inter_var as at load, which flavor 2 alone sets.
  ASSERT_EQ(fac_inter_var, flavor == 2 ? 1.0f / 6.0f : 0.0f);
  ready_to_decode(static_cast<std::uint16_t>(flavor));
  test::PlainDecoder plain(flavor);
  Pcm decoded;
  for (std::size_t k = 0; k < units.size() / call; ++k) {
    const auto at = units.begin() + static_cast<std::ptrdiff_t>(k * call);
    const Bytes bytes(at, at + static_cast<std::ptrdiff_t>(call));
    const Pcm part = decode_call(bytes, masks[k]);
    EXPECT_EQ(part, plain.call(flavor, bytes, masks[k])) << k;
    decoded.insert(decoded.end(), part.begin(), part.end());
  }
  EXPECT_EQ(decoded, stream_pcm(flavor, units, masks, static_cast<std::size_t>(framesPerCall)));
}

// An encoder of one flavor and a decoder of another take turns in one process.
TEST(Plugin, EncoderAndDecoderOfDifferentFlavorsWorkAsIfAlone) {
  for (int enc = 0; enc < 4; ++enc) {
    for (int dec = 0; dec < 4; ++dec) {
      SCOPED_TRACE(::testing::Message() << enc << " with " << dec);
      const auto enc_samples = static_cast<std::size_t>(enc == 2 ? 3840 : enc == 3 ? 2560 : 2304);
      constexpr std::size_t calls = 3;
      const Pcm pcm = speech_like_pcm(static_cast<int>(enc_samples * calls), 12);
      const auto unit = static_cast<std::size_t>(quel_bytes_per_unit(dec));
      const Bytes coded = stream_units(dec, speech_like_pcm(480 * 3 * 8, 13));

      std::uint32_t samples = 0, bytes = 0;
      SetFlavor(static_cast<std::uint16_t>(enc));
      InitEncoder(8000, 2, &samples, &bytes);
      ASSERT_EQ(samples, enc_samples);
      SetFlavor(static_cast<std::uint16_t>(dec));
      InitDecoder();
      // Taking turns, each after its SetFlavor. The wideband predictor memories of a process are
      // never reset, so a second wideband run of this process starts elsewhere than a stream.
      Bytes units(bytes * calls);
      Pcm decoded;
      for (std::size_t k = 0; k < calls; ++k) {
        SetFlavor(static_cast<std::uint16_t>(enc));
        Encode(&pcm[k * samples], &units[k * bytes]);
        SetFlavor(static_cast<std::uint16_t>(dec));
        const auto at = coded.begin() + static_cast<std::ptrdiff_t>(k * unit);
        const Pcm part = decode_call(Bytes(at, at + static_cast<std::ptrdiff_t>(unit)), 3);
        decoded.insert(decoded.end(), part.begin(), part.end());
      }
      if (enc != 3) {
        EXPECT_EQ(units, stream_units(enc, pcm));
      }
      const Bytes head(coded.begin(), coded.begin() + static_cast<std::ptrdiff_t>(unit * calls));
      // Where both flavors are one, the decoder met its own record at its first Decode, too.
      if (dec != 3) {
        EXPECT_EQ(decoded, stream_pcm(dec, head, {~0u}, calls));
      }
    }
  }
}

// InitDecoder marks the record as the selected flavor's without setting it.
TEST(Plugin, EncodeRepairsTheRecordThatADecoderLeft) {
  const Pcm pcm = speech_like_pcm(2304, 14);
  Bytes alone = encode_calls(0, pcm);
  std::uint32_t samples = 0, bytes = 0;
  SetFlavor(0);
  InitEncoder(8000, 2, &samples, &bytes);
  SetFlavor(2);
  decode_call(Bytes(37), 3);
  SetFlavor(0);
  InitDecoder();
  ASSERT_EQ(len_frame, 240);
  Bytes out(alone.size());
  Encode(pcm.data(), out.data());
  EXPECT_EQ(out, alone);
}

TEST(Plugin, InitDecoderResetsEveryDecoder) {
  for (std::uint16_t flavor = 0; flavor < 3; ++flavor) {
    ready_to_decode(flavor);
    set_mode(flavor);
    const auto n = static_cast<std::size_t>(outputBytes);
    const Pcm first = decode_call(random_bytes(n, 15), 3);
    for (std::uint64_t k = 0; k < 20; ++k) decode_call(random_bytes(n, k), 2);
    InitDecoder();
    EXPECT_EQ(decode_call(random_bytes(n, 15), 3), first);
  }
}

TEST(Plugin, InitLeavesOnlyWhatIsDocumentedOfFlavor3) {
  const auto same = [](const auto& a, const auto& b) { return std::memcmp(&a, &b, sizeof a) == 0; };
  const Pcm pcm = speech_like_pcm(2560 * 2, 21, 16000.0);
  const Bytes bytes = encode_calls(3, pcm);
  EXPECT_NE(encode_calls(3, pcm), bytes);
  WidebandEncoder encoder;
  encoder.lsf = process_encoder.wideband.lsf;
  encoder.gains = process_encoder.wideband.gains;
  encoder.decimator = process_encoder.wideband.decimator;
  encoder.acelp = process_encoder.wideband.acelp;  // rewritten by every search
  std::uint32_t samples = 0, size = 0;
  InitEncoder(16000, 2, &samples, &size);
  EXPECT_TRUE(same(process_encoder.wideband, encoder));

  ready_to_decode(3);
  const Pcm first = decode_call(bytes, 0xfff7u);
  WidebandDecoder decoder;
  decoder.lsf = process_decoder.wideband.lsf;
  decoder.lag = process_decoder.wideband.lag;
  decoder.gains = process_decoder.wideband.gains;
  decoder.random = process_decoder.wideband.random;
  EXPECT_NE(decoder.random, WidebandDecoder{}.random);
  InitDecoder();
  EXPECT_TRUE(same(process_decoder.wideband, decoder));
  EXPECT_NE(decode_call(bytes, 0xfff7u), first);
}

// Lost frames of one flavor are made up for in the next one that arrives, whatever its flavor.
TEST(Plugin, AnotherFlavorKeepsTheDecodersStates) {
  encode_calls(1, Pcm(2304));  // sets the record, so that both decoders start from one
  ready_to_decode(1);
  decode_call(random_bytes(19 * 9, 20), 0x7f);
  ASSERT_EQ(numPacketsMissing, 2);
  test::PlainDecoder alone(0);
  alone.swt = process_decoder.swt;
  alone.shared = process_decoder.shared;
  alone.lost = 2;
  SetFlavor(0);
  const Bytes bytes = random_bytes(29, 21);
  const Pcm out = decode_call(bytes, 3);
  EXPECT_EQ(out.size(), 4u * 144u);
  EXPECT_EQ(prmBits, 116);
  EXPECT_EQ(out, alone.call(0, bytes, 3));
}

// On one thread, so that they meet in i_heap.
TEST_P(PluginFlavor, StreamsBetweenItsCallsDisturbNothing) {
  const int flavor = GetParam();
  SetFlavor(static_cast<std::uint16_t>(flavor));
  std::uint32_t samples = 0, bytes = 0;
  InitEncoder(8000, 2, &samples, &bytes);
  ready_to_decode(static_cast<std::uint16_t>(flavor));
  constexpr std::size_t calls = 3;
  const Pcm pcm = speech_like_pcm(static_cast<int>(samples * calls), 22);
  Bytes units(bytes * calls);
  Pcm decoded;
  for (std::size_t k = 0; k < calls; ++k) {
    for (int other = 0; other < 4; ++other) {
      const std::byte* const heap = i_heap;
      stream_pcm(other, stream_units(other, Pcm(480, 999)), {0xf5u}, 100);
      EXPECT_EQ(i_heap, heap);
    }
    Encode(&pcm[k * samples], &units[k * bytes]);
    const auto at = units.begin() + static_cast<std::ptrdiff_t>(k * bytes);
    const Pcm part = decode_call(Bytes(at, at + static_cast<std::ptrdiff_t>(bytes)), 0xffe7u);
    decoded.insert(decoded.end(), part.begin(), part.end());
  }
  EXPECT_EQ(units, stream_units(flavor, pcm));
  EXPECT_EQ(decoded, stream_pcm(flavor, units, std::vector<std::uint32_t>(calls, 0xffe7u),
                                static_cast<std::size_t>(framesPerCall)));
}

TEST(Plugin, FreeingFreesNothing) {
  const Pcm pcm = speech_like_pcm(2304, 16);
  const Bytes before = encode_calls(1, pcm);
  FreeEncoder();
  FreeDecoder();
  EXPECT_EQ(encode_calls(1, pcm), before);
}

TEST(Plugin, PropertiesComeFromTheOneObject) {
  std::uint16_t length = 0;
  const auto* rate = static_cast<const std::uint8_t*>(GetFlavorProperty(3, 1, &length));
  ASSERT_EQ(length, 4);
  std::uint32_t value = 0;
  std::copy_n(rate, 4, reinterpret_cast<std::uint8_t*>(&value));
  EXPECT_EQ(value, 16000u);
  EXPECT_EQ(GetFlavorProperty(4, 1, &length), nullptr);
  EXPECT_EQ(length, 0);
}

TEST(Plugin, InitMallocMovesTheScratchStackToTheHeap) {
  std::byte* const before = i_heap;
  void* const top = init_malloc();
  ASSERT_NE(top, nullptr);
  EXPECT_EQ(top, e_heap);
  EXPECT_NE(i_heap, before);
  // The codec routines work on it.
  set_mode(1);
  init_cod_swt();
  std::array<std::int32_t, 21> prm{};
  prm[0] = 1;
  std::byte* const heap = i_heap;
  cod_swt(speech_like_pcm(144, 17).data(), prm.data());
  EXPECT_EQ(i_heap, heap);
  std::free(i_heap - scratch_bytes);
  std::free(e_heap - scratch_bytes);
  i_heap = before;
}

TEST(Plugin, AnyOrderOfCallsStaysInBounds) {
  Random random(18);
  const Pcm pcm = speech_like_pcm(3840, 19);
  Bytes out(400);
  for (int step = 0; step < 600; ++step) {
    std::uint32_t samples = 0, bytes = 0;
    switch (random.integer(0, 7)) {
      case 0:
        InitEncoder(8000, 2, &samples, &bytes);
        EXPECT_LE(samples, 3840u);
        EXPECT_LE(bytes, 320u);
        break;
      case 1:
        InitDecoder();
        break;
      case 2:
      case 3:
        SetFlavor(static_cast<std::uint16_t>(random.integer(0, 5)));
        break;
      case 4:
        Encode(pcm.data(), out.data());
        break;
      case 5:
        set_mode(random.integer(-1, 5));
        break;
      default:
        if (CurFlavor < 4) {
          decode_call(random_bytes(static_cast<std::size_t>(random.integer(0, 700)),
                                   static_cast<std::uint64_t>(step)),
                      random.bits());
        }
    }
  }
}

TEST(Snr, TotalsOfTheProcess) {
  std::vector<float> x(80, 100.0f), y(80, 90.0f);
  snr(x.data(), y.data(), 80);
  // Signal and noise of 80 samples, 0.01 added to each.
  EXPECT_EQ(snr_totals.snr, static_cast<float>(10.0 * std::log10(800000.01 / 8000.01)));
  EXPECT_EQ(snr_totals.cntsnr, 1.0f);
}

}  // namespace
}  // namespace quel
