#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
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
using ::testing::Each;

using Bytes = std::vector<std::uint8_t>;
using Indices = std::vector<std::int32_t>;
using Pcm = std::vector<std::int16_t>;

class StreamFrames : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }
  const quel_flavor& info() const { return *quel_flavor_info(flavor()); }
  std::size_t bytes() const { return static_cast<std::size_t>(info().bytes_per_unit); }
  std::size_t fields() const { return static_cast<std::size_t>(info().fields_per_frame); }
  std::size_t frames() const { return static_cast<std::size_t>(info().frames_per_unit); }
  Bytes random_unit(Random& random) const {
    Bytes unit(bytes());
    for (auto& byte : unit) byte = static_cast<std::uint8_t>(random.bits() >> 24);
    return unit;
  }
  Bytes speech_units(int count) const {
    return Encoder(flavor()).encode_units(
        test::speech_like_pcm(count * info().samples_per_unit, 51, info().sampling_rate));
  }
  Indices unpack(std::span<const std::uint8_t> unit) const {
    Indices indices(frames() * fields());
    EXPECT_EQ(quel_unit_unpack(flavor(), unit.data(), unit.size(), indices.data(), indices.size()),
              static_cast<int>(indices.size()));
    return indices;
  }
};
INSTANTIATE_TEST_SUITE_P(All, StreamFrames, ::testing::Range(0, 4));

// Bit by bit: the first bit of a byte is its lowest, the first of a field its lowest too.
TEST_P(StreamFrames, IndicesAreTheUnitsBitsInOrder) {
  Random random(52);
  for (int k = 0; k < 100; ++k) {
    const Bytes unit = random_unit(random);
    const Indices indices = unpack(unit);
    std::size_t bit = 0;
    for (std::size_t n = 0; n < indices.size(); ++n) {
      std::int32_t expected = 0;
      for (int i = 0; i < info().field_bits[n % fields()]; ++i, ++bit) {
        expected |= (unit[bit / 8] >> (bit % 8) & 1) << i;
      }
      ASSERT_EQ(indices[n], expected) << n;
    }
    EXPECT_EQ(bit, 8 * unit.size());
    Bytes packed(bytes(), 0xee);
    EXPECT_EQ(quel_unit_pack(flavor(), indices.data(), indices.size(), packed.data(), bytes()),
              info().bytes_per_unit);
    EXPECT_EQ(packed, unit);
  }
}

TEST_P(StreamFrames, PackRefusesWhatAFieldCannotHold) {
  const Indices zeros(frames() * fields());
  Bytes unit(bytes(), 0xee);
  const auto pack = [&](const Indices& indices) {
    return quel_unit_pack(flavor(), indices.data(), indices.size(), unit.data(), unit.size());
  };
  for (std::size_t n = 0; n < zeros.size(); ++n) {
    const std::int32_t limit = 1 << info().field_bits[n % fields()];
    Indices indices = zeros;
    for (const std::int32_t wrong : {limit, limit + 1, -1, INT_MIN, INT_MAX}) {
      indices[n] = wrong;
      EXPECT_EQ(pack(indices), QUEL_ERROR_RANGE) << n << ": " << wrong;
    }
    EXPECT_THAT(unit, Each(0xee));
    indices[n] = limit - 1;
    EXPECT_EQ(pack(indices), info().bytes_per_unit) << n;
    EXPECT_EQ(unpack(unit), indices);
    unit.assign(bytes(), 0xee);
  }
}

TEST_P(StreamFrames, WrongCallsWriteNothing) {
  Bytes unit(bytes(), 0xee);
  Indices indices(frames() * fields(), 77);
  const std::size_t n = indices.size();
  EXPECT_EQ(quel_unit_unpack(4, unit.data(), bytes(), indices.data(), n), QUEL_ERROR_FLAVOR);
  EXPECT_EQ(quel_unit_unpack(flavor(), nullptr, bytes(), indices.data(), n), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_unit_unpack(flavor(), unit.data(), bytes(), nullptr, n), QUEL_ERROR_ARGUMENT);
  for (const std::size_t wrong : {std::size_t{0}, bytes() - 1, bytes() + 1}) {
    EXPECT_EQ(quel_unit_unpack(flavor(), unit.data(), wrong, indices.data(), n), QUEL_ERROR_LENGTH);
  }
  EXPECT_EQ(quel_unit_unpack(flavor(), unit.data(), bytes(), indices.data(), n - 1),
            QUEL_ERROR_CAPACITY);
  EXPECT_THAT(indices, Each(77));

  indices.assign(n, 0);
  EXPECT_EQ(quel_unit_pack(-1, indices.data(), n, unit.data(), bytes()), QUEL_ERROR_FLAVOR);
  EXPECT_EQ(quel_unit_pack(flavor(), nullptr, n, unit.data(), bytes()), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_unit_pack(flavor(), indices.data(), n, nullptr, bytes()), QUEL_ERROR_ARGUMENT);
  for (const std::size_t wrong : {std::size_t{0}, n - 1, n + 1}) {
    EXPECT_EQ(quel_unit_pack(flavor(), indices.data(), wrong, unit.data(), bytes()),
              QUEL_ERROR_LENGTH);
  }
  EXPECT_EQ(quel_unit_pack(flavor(), indices.data(), n, unit.data(), bytes() - 1),
            QUEL_ERROR_CAPACITY);
  EXPECT_THAT(unit, Each(0xee));
}

TEST_P(StreamFrames, DescribeChecksItsArgumentsAndMovesNothing) {
  Decoder decoder(flavor()), twin(flavor());
  quel_frame frame = QUEL_FRAME;
  frame.frequency_count = 99;
  Indices indices(fields());
  const auto describe = [&](const std::int32_t* from, std::size_t count) {
    return quel_frame_describe(decoder.get(), from, count, &frame);
  };
  EXPECT_EQ(quel_frame_describe(nullptr, indices.data(), fields(), &frame), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_frame_describe(decoder.get(), indices.data(), fields(), nullptr),
            QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(describe(indices.data(), fields() - 1), QUEL_ERROR_LENGTH);
  EXPECT_EQ(describe(indices.data(), 0), QUEL_ERROR_LENGTH);
  EXPECT_EQ(describe(nullptr, fields()), QUEL_ERROR_LENGTH);
  for (std::size_t n = 0; n < fields(); ++n) {
    indices[n] = 1 << info().field_bits[n];
    EXPECT_EQ(describe(indices.data(), fields()), QUEL_ERROR_RANGE);
    indices[n] = -1;
    EXPECT_EQ(describe(indices.data(), fields()), QUEL_ERROR_RANGE);
    indices[n] = 0;
  }
  frame.size -= 1;
  EXPECT_EQ(describe(indices.data(), fields()), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(frame.frequency_count, 99);
  const Bytes units = speech_units(10);
  EXPECT_EQ(decoder.decode_units(units), twin.decode_units(units));
}

// A frame that was described has been decoded, lost ones included.
TEST_P(StreamFrames, DescribeMovesTheDecoderOn) {
  const Bytes units = speech_units(40);
  for (const Concealment concealment : {Concealment::immediate, Concealment::deferred}) {
    Decoder described(flavor(), concealment), decoded(flavor(), concealment);
    Random random(53);
    for (std::size_t at = 0; at < units.size(); at += bytes()) {
      const auto unit = std::span(units).subspan(at, bytes());
      const std::uint32_t received = random.integer(0, 2) == 0 ? random.bits() : ~0u;
      decoded.decode(unit, received);
      const Indices indices = unpack(unit);
      for (std::size_t f = 0; f < frames(); ++f) {
        const bool arrived = (received >> f & 1u) != 0;
        quel_frame frame = QUEL_FRAME;
        ASSERT_EQ(
            quel_frame_describe(described.get(), arrived ? indices.data() + f * fields() : nullptr,
                                arrived ? fields() : 0, &frame),
            QUEL_OK);
        EXPECT_EQ(frame.size, sizeof frame);
        EXPECT_EQ(frame.subframe_count, !arrived ? 0 : flavor() == 2 ? 5 : flavor() == 3 ? 2 : 3);
        EXPECT_EQ(frame.frequency_count, !arrived ? 0 : flavor() == 3 ? 16 : 10);
      }
    }
    EXPECT_EQ(described.counts().decoded, decoded.counts().decoded);
    EXPECT_EQ(described.counts().concealed, decoded.counts().concealed);
    EXPECT_EQ(described.decode_units(units), decoded.decode_units(units));
  }
}

// What a frame driver's decoder remembers of the last frame that it decoded.
struct Remembered {
  std::vector<float> frequencies;
  float pitch_gain, code_gain;
};
Remembered remembered(const FrameDecoder& decoder, int flavor) {
  if (flavor == QUEL_FLAVOR_16K) {
    const WidebandDecoder& wide = decoder.wideband;
    return {{wide.lsf.past_lsf_q.begin(), wide.lsf.past_lsf_q.end()},
            wide.gains.past_gain_pit,
            wide.gains.past_gain_code};
  }
  const NarrowbandDecoderShared& shared = decoder.shared;
  return {{shared.isf.past_isf.begin(), shared.isf.past_isf.end()},
          shared.gains.last_gain_pit,
          shared.gains.last_gain_code};
}

// A decoder that defers makes up for lost frames with the received one's parameters before it comes
// to that frame; the description starts where this ends.
TEST_P(StreamFrames, DescriptionsBehindDeferredLossesAreOfTheDecodersValues) {
  const Bytes units = speech_units(24);
  const std::size_t before = 20 * bytes();
  Mode mode;
  set_mode(mode, flavor());
  FrameDecoder plain;
  const ScratchSwitch scratch(plain.scratch);
  initVXDecoder(plain);
  initVX5Decoder(plain);
  const auto decode = [&](std::size_t at, std::size_t size, std::uint32_t mask) {
    Pcm pcm(64 * 240);
    std::int32_t samples = 0;
    VXDecode(plain, mode, units.data() + at, pcm.data(), static_cast<std::uint32_t>(size), &mask,
             static_cast<std::uint32_t>(flavor()), &samples);
  };
  for (std::size_t at = 0; at < before; at += bytes()) decode(at, bytes(), ~0u);
  for (int loss = 0; loss < 3; ++loss) decode(before, bytes(), 0);
  // Flavor 2 has decoded a frame once it is given the next.
  const bool behind = flavor() == QUEL_FLAVOR_5K;
  decode(before, behind ? bytes() : static_cast<std::size_t>(info().bits_per_frame + 7) / 8, ~0u);
  const Remembered wanted = remembered(plain, flavor());

  Decoder decoder(flavor(), Concealment::deferred);
  decoder.decode_units(std::span(units).first(before));
  for (int loss = 0; loss < 3; ++loss) decoder.conceal();
  const Indices indices = unpack(std::span(units).subspan(before, bytes()));
  quel_frame frame = QUEL_FRAME;
  ASSERT_EQ(quel_frame_describe(decoder.get(), indices.data(), fields(), &frame), QUEL_OK);
  EXPECT_EQ(std::vector<float>(frame.frequencies, frame.frequencies + frame.frequency_count),
            wanted.frequencies);
  const quel_subframe& last = frame.subframes[frame.subframe_count - 1];
  // The wideband decoder remembers no more than 1.
  EXPECT_EQ(flavor() == QUEL_FLAVOR_16K ? std::min(last.pitch_gain, 1.0f) : last.pitch_gain,
            wanted.pitch_gain);
  EXPECT_EQ(last.code_gain, wanted.code_gain);
}

// Speech: its frequencies rise, its lags and gains are those of speech, its pulses lie in order.
TEST_P(StreamFrames, DescriptionsOfSpeechAreSensible) {
  const Bytes units = speech_units(60);
  Decoder decoder(flavor());
  const int length = flavor() == 3 ? 80 : 48;
  const float top = static_cast<float>(info().sampling_rate) / 2.0f;
  for (std::size_t at = 0; at < units.size(); at += bytes()) {
    const Indices indices = unpack(std::span(units).subspan(at, bytes()));
    for (std::size_t f = 0; f < frames(); ++f) {
      quel_frame frame = QUEL_FRAME;
      ASSERT_EQ(quel_frame_describe(decoder.get(), indices.data() + f * fields(), fields(), &frame),
                QUEL_OK);
      const int rising = flavor() == 3 ? 16 : 9;
      for (int k = 1; k < rising; ++k) EXPECT_GT(frame.frequencies[k], frame.frequencies[k - 1]);
      EXPECT_GT(frame.frequencies[0], 0.0f);
      EXPECT_LT(frame.frequencies[rising - 1], top);
      for (int s = 0; s < frame.subframe_count; ++s) {
        const quel_subframe& subframe = frame.subframes[s];
        EXPECT_GE(subframe.lag, flavor() == 3 ? 29 : 19);
        EXPECT_LE(subframe.lag, flavor() == 3 ? 292 : 144);
        EXPECT_LE(std::abs(subframe.lag_thirds), 1);
        EXPECT_GE(subframe.pitch_gain, 0.0f);
        EXPECT_LE(subframe.pitch_gain, 1.5f);
        EXPECT_TRUE(std::isfinite(subframe.code_gain));
        ASSERT_LE(subframe.pulse_count, QUEL_MAX_PULSES);
        for (int p = 0; p < subframe.pulse_count; ++p) {
          EXPECT_LT(subframe.pulses[p].position, length);
          EXPECT_NE(subframe.pulses[p].amplitude, 0);
          const int before = p == 0 ? -1 : subframe.pulses[p - 1].position;
          EXPECT_GT(subframe.pulses[p].position, before);
        }
      }
    }
  }
}

}  // namespace
}  // namespace quel
