// What streams that conceal at once do in and behind losses, seen from outside.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <vector>

#include "dsp/scratch.h"
#include "interface/frame_driver.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::Random;
using test::speech_like_pcm;

using Bytes = std::vector<std::uint8_t>;
using Flags = std::vector<std::uint8_t>;  // one a frame, 0 where it was lost
using Pcm = std::vector<std::int16_t>;

class ImmediateStream : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }
  int rate() const { return quel_sampling_rate(flavor()); }
  std::size_t frame() const { return static_cast<std::size_t>(quel_samples_per_frame(flavor())); }
  Bytes speech(int seconds, unsigned seed) const {
    const auto unit = static_cast<std::size_t>(quel_samples_per_unit(flavor()));
    Pcm pcm = speech_like_pcm(seconds * rate(), seed, rate());
    pcm.resize(pcm.size() / unit * unit);
    return Encoder(flavor()).encode_units(pcm);
  }
  std::size_t frames(const Bytes& units) const {
    return units.size() / static_cast<std::size_t>(quel_bytes_per_unit(flavor())) *
           static_cast<std::size_t>(quel_frames_per_unit(flavor()));
  }
  Pcm immediate(const Bytes& units, const Flags& received) const {
    return Decoder(flavor(), Concealment::immediate).decode_units(units, received);
  }
  // The frame decoder alone, which makes up for losses itself.
  Pcm plain(const Bytes& units, const Flags& received) const {
    FrameDecoder decoder;
    Mode mode;
    set_mode(mode, flavor());
    const ScratchSwitch scratch(decoder.scratch);
    init_parts(DecoderParts(decoder));
    Pcm heard(received.size() * frame());
    SampleSink out(heard.data());
    const auto per_unit = static_cast<std::size_t>(mode.framesPerCycle);
    for (std::size_t k = 0; k < received.size(); ++k) {
      const std::uint8_t* unit = &units[k / per_unit * static_cast<std::size_t>(mode.outputBytes)];
      take_frame_at_once(decoder, mode, received[k] != 0 ? unit : nullptr,
                         static_cast<std::int32_t>(k % per_unit) * mode.prmBits,
                         static_cast<std::uint32_t>(flavor()), out);
    }
    return heard;
  }
};

INSTANTIATE_TEST_SUITE_P(Flavor, ImmediateStream, ::testing::Values(0, 1, 2, 3));

Flags losses(std::size_t count, int one_in, std::uint64_t seed) {
  Random random(seed);
  Flags received(count);
  for (std::uint8_t& flag : received) flag = random.integer(1, one_in) == 1 ? 0 : 1;
  return received;
}

double difference(std::span<const std::int16_t> x, std::span<const std::int16_t> y) {
  double sum = 0.0;
  for (std::size_t n = 0; n < x.size(); ++n) sum += std::pow(static_cast<double>(x[n]) - y[n], 2);
  return sum;
}

double energy(std::span<const std::int16_t> x) {
  return difference(x, Pcm(x.size()));
}

TEST_P(ImmediateStream, WithoutLossesGivesTheFrameDecodersBits) {
  Random random(5);
  Bytes units = speech(6, 3);
  EXPECT_EQ(immediate(units, Flags(frames(units), 1)), plain(units, Flags(frames(units), 1)));
  for (std::uint8_t& byte : units) byte = static_cast<std::uint8_t>(random.bits() >> 24);
  EXPECT_EQ(immediate(units, Flags(frames(units), 1)), plain(units, Flags(frames(units), 1)));
}

TEST_P(ImmediateStream, BeforeAnythingWasHeardTheFrameDecoderConceals) {
  const Bytes units = speech(1, 3);
  const Flags nothing(frames(units));
  EXPECT_EQ(immediate(units, nothing), plain(units, nothing));
}

// Blocks of 10 ms that are audible in the clean sound and more than 6 dB above it in what is heard.
TEST_P(ImmediateStream, IsNotOftenerTooLoudThanTheFrameDecoder) {
  const Bytes units = speech(60, 7);
  const Pcm clean = immediate(units, Flags(frames(units), 1));
  const Flags received = losses(frames(units), 20, 1);
  const auto too_loud = [&](const Pcm& heard) {
    int count = 0;
    const auto block = static_cast<std::size_t>(rate()) / 100;
    for (std::size_t at = 0; at + block <= clean.size(); at += block) {
      const double audible = 1e4 * static_cast<double>(block);  // -50 dBov
      const double a = energy(std::span(clean).subspan(at, block));
      const double b = energy(std::span(heard).subspan(at, block));
      if (a > audible && b > 4.0 * a) ++count;
    }
    return count;
  };
  EXPECT_LT(too_loud(immediate(units, received)), too_loud(plain(units, received)));
}

TEST_P(ImmediateStream, AResetStreamHasForgottenItsLosses) {
  const Bytes units = speech(2, 3);
  const Flags received = losses(frames(units), 4, 2);
  Decoder decoder(flavor());
  const Pcm first = decoder.decode_units(units, received);
  decoder.reset();
  EXPECT_EQ(decoder.decode_units(units, received), first);
}

// From 160 ms on; the frame decoder of flavor 2 is a frame behind.
TEST_P(ImmediateStream, ALongLossIsSilentFrom160MillisecondsOn) {
  const Bytes units = speech(8, 9);
  const std::size_t count = frames(units), from = count / 2;
  Flags received(count, 1);
  std::fill(received.begin() + static_cast<std::ptrdiff_t>(from), received.end(), std::uint8_t{0});
  const Pcm heard = immediate(units, received);
  const std::size_t start = (from + (flavor() == QUEL_FLAVOR_5K ? 1 : 0)) * frame();
  const auto later = std::span(heard).subspan(start + static_cast<std::size_t>(rate()) * 16 / 100);
  ASSERT_GT(energy(std::span(heard).subspan(start - frame(), frame())), 0.0);
  // What the output's high-pass still has in it is a step or two of 16 bits.
  for (const std::int16_t v : later) ASSERT_LE(std::abs(v), 3);
}

TEST_P(ImmediateStream, BehindALongLossTheSoundComesBackAndMeetsTheClean) {
  const Bytes units = speech(8, 9);
  const std::size_t count = frames(units), from = count / 4, to = count / 2;
  Flags received(count, 1);
  std::fill(received.begin() + static_cast<std::ptrdiff_t>(from),
            received.begin() + static_cast<std::ptrdiff_t>(to), std::uint8_t{0});
  const Pcm heard = immediate(units, received), clean = immediate(units, Flags(count, 1));
  // A second on, where either has settled.
  const std::size_t settled = to * frame() + static_cast<std::size_t>(rate());
  const auto a = std::span(heard).subspan(settled), b = std::span(clean).subspan(settled);
  EXPECT_LT(difference(a, b), 1e-3 * energy(b));
}

// Description and decoding go by the same memories: describing a frame twice as far is decoding it.
TEST_P(ImmediateStream, AFrameBehindALossIsDescribedAsItIsDecoded) {
  const Bytes units = speech(4, 11);
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor()));
  const auto per_unit = static_cast<std::size_t>(quel_frames_per_unit(flavor()));
  const auto fields = static_cast<std::size_t>(quel_flavor_info(flavor())->fields_per_frame);
  Decoder described(flavor()), decoded(flavor());
  Random random(3);
  for (std::size_t at = 0; at < units.size(); at += bytes) {
    std::uint32_t mask = 0;
    std::vector<std::int32_t> indices(per_unit * fields);
    ASSERT_GT(quel_unit_unpack(flavor(), &units[at], bytes, indices.data(), indices.size()), 0);
    for (std::size_t f = 0; f < per_unit; ++f) {
      quel_frame frame = QUEL_FRAME;
      const bool arrived = random.integer(0, 3) != 0;
      mask |= (arrived ? 1u : 0u) << f;
      ASSERT_EQ(quel_frame_describe(described.get(), arrived ? &indices[f * fields] : nullptr,
                                    arrived ? fields : 0, &frame),
                QUEL_OK);
    }
    decoded.decode(std::span(units).subspan(at, bytes), mask);
    // A copy of either goes on alike.
    Pcm a(static_cast<std::size_t>(quel_samples_per_unit(flavor()))), b = a;
    if (at % (7 * bytes) != 0) continue;
    described.decode(std::span(units).subspan(at, bytes), QUEL_ALL_RECEIVED, a);
    decoded.decode(std::span(units).subspan(at, bytes), QUEL_ALL_RECEIVED, b);
    ASSERT_EQ(a, b);
  }
}

}  // namespace
}  // namespace quel
