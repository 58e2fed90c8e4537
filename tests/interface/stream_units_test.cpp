#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <tuple>
#include <vector>

#include "bitstream/serial.h"
#include "support/growing_fields.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::Random;
using test::speech_like_pcm;
using ::testing::Each;

using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;
using Floats = std::vector<float>;

constexpr std::int16_t untouched = 0x5a5a;

class StreamUnits : public ::testing::TestWithParam<std::tuple<int, Concealment>> {
 protected:
  int flavor() const { return std::get<0>(GetParam()); }
  Concealment concealment() const { return std::get<1>(GetParam()); }
  const quel_flavor& info() const { return *quel_flavor_info(flavor()); }
  std::size_t samples() const { return static_cast<std::size_t>(info().samples_per_unit); }
  std::size_t bytes() const { return static_cast<std::size_t>(info().bytes_per_unit); }
  std::size_t frames() const { return static_cast<std::size_t>(info().frames_per_unit); }
  Pcm speech(std::size_t units) const {
    return speech_like_pcm(static_cast<int>(units * samples()), 41, info().sampling_rate);
  }
  Bytes unit_by_unit(Encoder& encoder, const Pcm& pcm) const {
    Bytes units;
    for (std::size_t at = 0; at < pcm.size(); at += samples()) {
      const Bytes unit = encoder.encode(std::span(pcm).subspan(at, samples()));
      units.insert(units.end(), unit.begin(), unit.end());
    }
    return units;
  }
  // received  one byte a frame
  Pcm unit_by_unit(Decoder& decoder, const Bytes& units, const Bytes& received) const {
    Pcm pcm;
    for (std::size_t k = 0; k < units.size() / bytes(); ++k) {
      std::uint32_t mask = 0;
      for (std::size_t f = 0; f < frames(); ++f) {
        if (received[k * frames() + f] != 0) mask |= 1u << f;
      }
      const Pcm part = decoder.decode(std::span(units).subspan(k * bytes(), bytes()), mask);
      pcm.insert(pcm.end(), part.begin(), part.end());
    }
    return pcm;
  }
  // Single losses and bursts; any byte but zero says that a frame arrived.
  Bytes losses(std::size_t units, std::uint64_t seed) const {
    Random random(seed);
    Bytes received(units * frames());
    int burst = 0;
    for (auto& frame : received) {
      if (burst == 0 && random.integer(0, 9) == 0) burst = random.integer(1, 9);
      frame = burst > 0 ? 0 : static_cast<std::uint8_t>(random.integer(1, 127));
      burst = std::max(0, burst - 1);
    }
    return received;
  }
};
INSTANTIATE_TEST_SUITE_P(All, StreamUnits,
                         ::testing::Combine(::testing::Range(0, 4),
                                            ::testing::Values(Concealment::immediate,
                                                              Concealment::deferred)));

// Calls of no unit, one and many, and the plain call in between.
TEST_P(StreamUnits, ManyAreAsOneAfterTheOther) {
  constexpr std::size_t count = 60;
  const Pcm pcm = speech(count);
  const Bytes received = losses(count, 42);
  Encoder plain_encoder(flavor()), encoder(flavor());
  Decoder plain_decoder(flavor(), concealment()), decoder(flavor(), concealment());
  const Bytes units = unit_by_unit(plain_encoder, pcm);
  const Pcm expected = unit_by_unit(plain_decoder, units, received);

  Random random(43);
  Bytes coded;
  Pcm heard;
  for (std::size_t at = 0; at < count;) {
    const auto n =
        std::min<std::size_t>(count - at, static_cast<std::size_t>(random.integer(0, 9)));
    if (n == 1) {  // the plain calls
      const Bytes unit = encoder.encode(std::span(pcm).subspan(at * samples(), samples()));
      coded.insert(coded.end(), unit.begin(), unit.end());
    } else {
      const auto size = quel_encode_units_bytes(encoder.get(), n * samples());
      ASSERT_EQ(size, static_cast<std::int64_t>(n * bytes()));
      Bytes part(n * bytes());
      ASSERT_EQ(quel_encode_units(encoder.get(), pcm.data() + at * samples(), n * samples(),
                                  part.data(), part.size()),
                size);
      coded.insert(coded.end(), part.begin(), part.end());
    }
    ASSERT_EQ(coded.size(), (at + n) * bytes());
    if (n == 1) {
      const Pcm part = unit_by_unit(
          decoder, Bytes(coded.end() - static_cast<std::ptrdiff_t>(bytes()), coded.end()),
          Bytes(received.begin() + static_cast<std::ptrdiff_t>(at * frames()),
                received.begin() + static_cast<std::ptrdiff_t>((at + 1) * frames())));
      heard.insert(heard.end(), part.begin(), part.end());
    } else {
      const auto most =
          static_cast<std::size_t>(quel_decode_units_samples(decoder.get(), n * bytes()));
      Pcm part(most + 16, untouched);
      const auto given = quel_decode_units(decoder.get(), coded.data() + at * bytes(), n * bytes(),
                                           received.data() + at * frames(), part.data(), most);
      ASSERT_GE(given, 0);
      const auto end = part.begin() + static_cast<std::ptrdiff_t>(given);
      EXPECT_THAT(Pcm(end, part.end()), Each(untouched));
      heard.insert(heard.end(), part.begin(), end);
    }
    at += n;
  }
  EXPECT_EQ(coded, units);
  EXPECT_EQ(heard, expected);
}

TEST_P(StreamUnits, WithoutFlagsEveryFrameArrived) {
  const Bytes units = Encoder(flavor()).encode_units(speech(20));
  Decoder plain(flavor(), concealment()), decoder(flavor(), concealment());
  EXPECT_EQ(decoder.decode_units(units), unit_by_unit(plain, units, Bytes(20 * frames(), 1)));
}

TEST_P(StreamUnits, OfLostUnitsNoByteIsLookedAt) {
  const Bytes units = Encoder(flavor()).encode_units(speech(8));
  Decoder decoder(flavor(), concealment()), plain(flavor(), concealment());
  EXPECT_EQ(decoder.decode_units(units), plain.decode_units(units));
  const Bytes lost(3 * frames());
  Pcm pcm(10 * samples()), same(10 * samples());
  const auto given =
      quel_decode_units(decoder.get(), nullptr, 3 * bytes(), lost.data(), pcm.data(), pcm.size());
  EXPECT_EQ(quel_decode_units(plain.get(), units.data(), 3 * bytes(), lost.data(), same.data(),
                              same.size()),
            given);
  EXPECT_EQ(given,
            concealment() == Concealment::immediate ? static_cast<std::int64_t>(3 * samples()) : 0);
  EXPECT_EQ(pcm, same);
  EXPECT_EQ(decoder.decode_units(units), plain.decode_units(units));
}

// What a sample of -1..1 becomes, by the C library's own rounding of a double.
std::int16_t plain_sample(float x) {
  if (std::isnan(x)) return 0;
  const double y = std::nearbyint(32768.0 * static_cast<double>(x));
  return static_cast<std::int16_t>(std::fmin(32767.0, std::fmax(-32768.0, y)));
}

TEST_P(StreamUnits, FloatSamplesAreRoundedTo16BitsAndBackExact) {
  constexpr std::size_t count = 30;
  const Pcm pcm = speech(count);
  Random random(44);
  Floats in(pcm.size());
  for (std::size_t n = 0; n < in.size(); ++n) {
    in[n] = (static_cast<float>(pcm[n]) + static_cast<float>(random.integer(-4, 4)) / 4.0f) / 32768;
    if (random.integer(0, 500) == 0) in[n] = 3.0f * static_cast<float>(random.integer(-1, 1));
    if (random.integer(0, 2000) == 0) in[n] = std::numeric_limits<float>::quiet_NaN();
    if (random.integer(0, 2000) == 0) in[n] = -std::numeric_limits<float>::infinity();
  }
  Pcm rounded(in.size());
  std::transform(in.begin(), in.end(), rounded.begin(), plain_sample);
  const Bytes received = losses(count, 45);
  const Bytes units = Encoder(flavor()).encode_units(rounded);
  EXPECT_EQ(Encoder(flavor()).encode_units(in), units);

  const Pcm whole = Decoder(flavor(), concealment()).decode_units(units, received);
  const Floats heard = Decoder(flavor(), concealment()).decode_units_float(units, received);
  ASSERT_EQ(heard.size(), whole.size());
  for (std::size_t n = 0; n < heard.size(); ++n) {
    ASSERT_EQ(static_cast<double>(heard[n]) * 32768.0, whole[n]) << n;
  }
}

TEST_P(StreamUnits, WrongCallsChangeNothing) {
  const Pcm pcm = speech(6);
  const Floats real(pcm.size());
  Encoder encoder(flavor()), reference(flavor());
  const Bytes units = reference.encode_units(pcm);
  Bytes out(units.size(), 0xee);
  auto* const enc = encoder.get();
  const std::size_t n = pcm.size(), room = out.size();
  EXPECT_EQ(quel_encode_units_bytes(nullptr, n), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_encode_units_bytes(enc, n - 1), QUEL_ERROR_LENGTH);
  const auto wrong = [&](auto encode, const auto* in) {
    const decltype(in) nothing = nullptr;
    EXPECT_EQ(encode(nullptr, in, n, out.data(), room), QUEL_ERROR_ARGUMENT);
    EXPECT_EQ(encode(enc, nothing, n, out.data(), room), QUEL_ERROR_ARGUMENT);
    EXPECT_EQ(encode(enc, in, n, nullptr, room), QUEL_ERROR_ARGUMENT);
    EXPECT_EQ(encode(enc, in, n - 1, out.data(), room), QUEL_ERROR_LENGTH);
    EXPECT_EQ(encode(enc, in, n + 1, out.data(), room), QUEL_ERROR_LENGTH);
    EXPECT_EQ(encode(enc, in, n, out.data(), room - 1), QUEL_ERROR_CAPACITY);
    EXPECT_EQ(encode(enc, nothing, 0, nullptr, 0), 0);
  };
  wrong(quel_encode_units, pcm.data());
  wrong(quel_encode_units_float, real.data());
  EXPECT_THAT(out, Each(0xee));
  EXPECT_EQ(encoder.encode_units(pcm), units);

  Decoder decoder(flavor(), concealment()), twin(flavor(), concealment());
  auto* const dec = decoder.get();
  const Bytes flags(6 * frames(), 1), none(6 * frames(), 0);
  Bytes last = none;
  last.back() = 1;
  EXPECT_EQ(quel_decode_units_samples(nullptr, room), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decode_units_samples(dec, room + 1), QUEL_ERROR_LENGTH);
  const auto wrongly = [&](auto decode, auto heard) {
    using Sample = typename decltype(heard)::value_type;
    Sample* const nowhere = nullptr;
    const auto before = heard;
    const std::uint8_t* const in = units.data();
    Sample* const to = heard.data();
    EXPECT_EQ(decode(nullptr, in, room, nullptr, to, n), QUEL_ERROR_ARGUMENT);
    EXPECT_EQ(decode(dec, nullptr, room, nullptr, to, n), QUEL_ERROR_ARGUMENT);
    EXPECT_EQ(decode(dec, nullptr, room, last.data(), to, n), QUEL_ERROR_ARGUMENT);
    EXPECT_EQ(decode(dec, in, room, flags.data(), nowhere, n), QUEL_ERROR_ARGUMENT);
    EXPECT_EQ(decode(dec, in, room - 1, flags.data(), to, n), QUEL_ERROR_LENGTH);
    EXPECT_EQ(decode(dec, in, room + 1, flags.data(), to, n), QUEL_ERROR_LENGTH);
    EXPECT_EQ(decode(dec, in, room, flags.data(), to, n - 1), QUEL_ERROR_CAPACITY);
    // A length by mistake: as many whole units as can be written. Counting their frames one by one
    // would take years.
    const std::size_t absurd = std::numeric_limits<std::size_t>::max() / bytes() * bytes();
    EXPECT_EQ(decode(dec, in, absurd, nullptr, to, n), QUEL_ERROR_CAPACITY);
    EXPECT_EQ(decode(dec, nullptr, 0, nullptr, nowhere, 0), 0);
    EXPECT_EQ(heard, before);
  };
  wrongly(quel_decode_units, Pcm(n, untouched));
  wrongly(quel_decode_units_float, Floats(n, 0.25f));
  EXPECT_EQ(decoder.decode_units(units), twin.decode_units(units));
}

// Sizes that no memory holds, whatever the word length.
TEST_P(StreamUnits, SizesAreNotCutTo32Bits) {
  Encoder encoder(flavor());
  Decoder decoder(flavor(), concealment());
  const std::size_t many = std::numeric_limits<std::size_t>::max() / samples();
  // Doubles round such sizes; a size cut to 32 bits would be far off.
  EXPECT_DOUBLE_EQ(static_cast<double>(quel_encode_units_bytes(encoder.get(), many * samples())),
                   static_cast<double>(many) * static_cast<double>(bytes()));
  const std::size_t units = std::numeric_limits<std::size_t>::max() / bytes();
  const double due =
      static_cast<double>(units) * static_cast<double>(samples()) +
      (concealment() == Concealment::deferred ? 5.0 * info().samples_per_frame : 0.0);
  const std::int64_t got = quel_decode_units_samples(decoder.get(), units * bytes());
  if (due < 9.2e18) {
    EXPECT_DOUBLE_EQ(static_cast<double>(got), due);
  } else {
    EXPECT_EQ(got, QUEL_ERROR_LENGTH);
  }
}

// Frames with a whole subframe of zeros: among frames this loud nothing else gives one.
std::uint64_t silenced_frames(std::span<const std::int16_t> pcm, const quel_flavor& info) {
  const std::size_t subframe = info.sampling_rate == 16000 ? 80 : 48;
  const auto frame = static_cast<std::size_t>(info.samples_per_frame);
  std::uint64_t count = 0;
  for (std::size_t at = 0; at < pcm.size(); at += frame) {
    bool silent = false;
    for (std::size_t s = 0; s < frame; s += subframe) {
      const auto part = pcm.subspan(at + s, subframe);
      silent = silent || std::all_of(part.begin(), part.end(), [](int x) { return x == 0; });
    }
    if (silent) ++count;
  }
  return count;
}

// Frames lost before the call and in it: deferred concealment makes up for at most five of them.
TEST_P(StreamUnits, RoomIsAskedForToTheSampleBehindLosses) {
  const std::size_t frame = samples() / frames();
  const Bytes units = Encoder(flavor()).encode_units(speech(10));
  for (std::size_t before = 0; before <= 3; ++before) {
    for (std::size_t lost = 0; lost < 10 * frames(); ++lost) {
      SCOPED_TRACE(::testing::Message()
                   << before << " units lost before, frames in the call " << lost);
      Decoder decoder(flavor(), concealment());
      decoder.decode_units(std::span(units).first(before * bytes()), Bytes(before * frames(), 0));
      Bytes received(10 * frames(), 1);
      std::fill_n(received.begin(), lost, std::uint8_t{0});
      std::size_t due = 10 * frames();
      if (concealment() == Concealment::deferred) {
        due += std::min<std::size_t>(before * frames() + lost, 5) - lost;
      }
      Pcm heard(due * frame, untouched);
      const Pcm unheard = heard;
      EXPECT_EQ(quel_decode_units(decoder.get(), units.data(), units.size(), received.data(),
                                  heard.data(), heard.size() - 1),
                QUEL_ERROR_CAPACITY);
      EXPECT_EQ(heard, unheard);
      EXPECT_EQ(quel_decode_units(decoder.get(), units.data(), units.size(), received.data(),
                                  heard.data(), heard.size()),
                static_cast<std::int64_t>(heard.size()));
    }
  }
}

TEST_P(StreamUnits, CountsSayWhatBecameOfFrames) {
  constexpr std::size_t count = 40;
  const Bytes units = Encoder(flavor()).encode_units(speech(count));
  const Bytes received = losses(count, 46);
  Decoder decoder(flavor(), concealment());
  const Pcm heard = decoder.decode_units(units, received);
  const auto arrived = static_cast<std::uint64_t>(
      std::count_if(received.begin(), received.end(), [](int flag) { return flag != 0; }));
  quel_decoder_counts counts = decoder.counts();
  EXPECT_EQ(counts.decoded, arrived);
  EXPECT_EQ(
      (counts.decoded + counts.concealed) * static_cast<std::uint64_t>(info().samples_per_frame),
      heard.size());
  EXPECT_LE(counts.concealed, received.size() - arrived);
  EXPECT_GT(counts.concealed, 0u);
  EXPECT_EQ(counts.cleared, 0u);
  decoder.reset();
  counts = decoder.counts();
  EXPECT_EQ(counts.decoded + counts.concealed + counts.cleared, 0u);
}

TEST_P(StreamUnits, CountsOfAbsurdFramesAreThoseThatWereSilenced) {
  Random random(47);
  Bytes units;
  for (int k = 0; k < 400; ++k) {
    Bytes unit(bytes());
    for (std::size_t f = 0; f < frames(); ++f) {
      std::array<std::uint8_t, 20> bits{};
      test::Fields words = test::growing_fields(flavor(), false, random);
      if (TestBigEndian() != 0) SwapIntBytes(words.data(), static_cast<int>(words.size()));
      prm2binary(words.data(), bits.data(), flavor());
      bitcopy(unit.data(), bits.data(), static_cast<int>(f) * info().bits_per_frame, 0,
              info().bits_per_frame);
    }
    units.insert(units.end(), unit.begin(), unit.end());
  }
  Decoder decoder(flavor(), concealment());
  // Loud enough that no subframe is silent for want of gain.
  decoder.decode_units(Encoder(flavor()).encode_units(speech(20)));
  const Pcm heard = decoder.decode_units(units);
  const quel_decoder_counts counts = decoder.counts();
  EXPECT_GT(counts.cleared, 0u);
  EXPECT_EQ(counts.cleared, silenced_frames(heard, info()));
  EXPECT_EQ(counts.decoded, 420 * frames());
}

TEST(StreamCounts, OfAnOlderOrNewerCallerAreFilledAsFarAsKnown) {
  Decoder decoder(QUEL_FLAVOR_8K5);
  decoder.conceal();
  quel_decoder_counts counts = QUEL_DECODER_COUNTS;
  EXPECT_EQ(quel_decoder_statistics(nullptr, &counts), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_decoder_statistics(decoder.get(), nullptr), QUEL_ERROR_ARGUMENT);
  counts.size -= 1;
  EXPECT_EQ(quel_decoder_statistics(decoder.get(), &counts), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(counts.concealed, 0u);
  struct {
    quel_decoder_counts known;
    std::uint64_t later;
  } newer = {QUEL_DECODER_COUNTS, 7};
  newer.known.size = sizeof newer;
  EXPECT_EQ(quel_decoder_statistics(decoder.get(), &newer.known), QUEL_OK);
  EXPECT_EQ(newer.known.concealed, 1u);
  EXPECT_EQ(newer.known.size, sizeof newer);
  EXPECT_EQ(newer.later, 7u);
}

}  // namespace
}  // namespace quel
