#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <quelcodec/quelcodec.hpp>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

Bytes coded(int flavor) {
  Encoder encoder(flavor);
  const auto samples = static_cast<int>(encoder.samples_per_unit());
  return encoder.encode_units(std::span<const std::int16_t>(
      test::speech_like_pcm(100 * samples, 1, quel_sampling_rate(flavor))));
}

Pcm decoded(Decoder& decoder, const Bytes& units, std::span<const std::uint8_t> received = {}) {
  Pcm pcm(static_cast<std::size_t>(quel_decode_units_samples(decoder.get(), units.size())));
  pcm.resize(static_cast<std::size_t>(decoder.try_decode_units(units, received, pcm)));
  return pcm;
}

Decoder enhancing(int flavor, Concealment concealment = Concealment::immediate) {
  return Decoder(decoder_options(flavor, concealment, /*enhance=*/true));
}

class Enhance : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(All, Enhance, ::testing::Range(0, 4));

TEST_P(Enhance, IsThereInFlavors2And3) {
  const int flavor = GetParam();
  const Bytes units = coded(flavor);
  Decoder plain(flavor);
  Decoder enhanced = enhancing(flavor);
  const Pcm a = decoded(plain, units), b = decoded(enhanced, units);
  ASSERT_EQ(a.size(), b.size());
  EXPECT_EQ(a == b, flavor < 2);
  // It is the same speech.
  double product = 0, energy_a = 0, energy_b = 0;
  for (std::size_t n = 0; n < a.size(); ++n) {
    product += double(a[n]) * b[n];
    energy_a += double(a[n]) * a[n];
    energy_b += double(b[n]) * b[n];
  }
  EXPECT_GT(product * product, 0.85 * energy_a * energy_b);
  EXPECT_NEAR(energy_b / energy_a, 1.0, 0.25);
}

TEST_P(Enhance, OnlyZeroAndOneAreTaken) {
  for (const int value : {-1, 2, INT_MAX, INT_MIN}) {
    quel_decoder_options options = QUEL_DECODER_OPTIONS(GetParam());
    options.enhance = value;
    quel_decoder* decoder = nullptr;
    EXPECT_EQ(quel_decoder_create(&options, &decoder), QUEL_ERROR_OPTIONS) << value;
    EXPECT_EQ(decoder, nullptr);
    EXPECT_EQ(quel_decoder_size(&options), QUEL_ERROR_OPTIONS);
  }
  EXPECT_LE(Decoder::memory_size(decoder_options(GetParam(), Concealment::immediate, true)),
            14 * 1024);
}

TEST_P(Enhance, GoesOnBehindAResetAndInACopy) {
  const Bytes units = coded(GetParam());
  Decoder decoder = enhancing(GetParam());
  const Pcm first = decoded(decoder, units);
  decoder.reset();
  EXPECT_EQ(decoded(decoder, units), first);

  const quel_decoder_options options = decoder_options(GetParam(), Concealment::immediate, true);
  const auto size = static_cast<std::size_t>(quel_decoder_size(&options));
  std::vector<std::max_align_t> here(size / sizeof(std::max_align_t) + 1), there(here.size());
  quel_decoder* stream = nullptr;
  ASSERT_EQ(quel_decoder_init(here.data(), size, &options, &stream), QUEL_OK);
  const auto unit = static_cast<std::size_t>(quel_bytes_per_unit(GetParam()));
  Pcm block(QUEL_MAX_SAMPLES), again(QUEL_MAX_SAMPLES);
  for (std::size_t at = 0; at < units.size() / 2; at += unit) {
    quel_decode(stream, &units[at], unit, QUEL_ALL_RECEIVED, block.data(), block.size());
  }
  std::memcpy(there.data(), here.data(), size);
  auto* copy = reinterpret_cast<quel_decoder*>(
      reinterpret_cast<std::byte*>(there.data()) +
      (reinterpret_cast<std::byte*>(stream) - reinterpret_cast<std::byte*>(here.data())));
  const std::size_t middle = units.size() / 2 / unit * unit;
  for (std::size_t at = middle; at + unit <= units.size(); at += unit) {
    quel_decode(stream, &units[at], unit, QUEL_ALL_RECEIVED, block.data(), block.size());
    quel_decode(copy, &units[at], unit, QUEL_ALL_RECEIVED, again.data(), again.size());
    ASSERT_EQ(block, again);
  }
}

// Random bits, losses of any kind and excitation that runs away.
TEST_P(Enhance, TakesAnything) {
  test::Random random(3);
  for (const Concealment concealment : {Concealment::immediate, Concealment::deferred}) {
    Decoder decoder = enhancing(GetParam(), concealment),
            again = enhancing(GetParam(), concealment);
    const auto unit = static_cast<std::size_t>(quel_bytes_per_unit(GetParam()));
    Bytes units(400 * unit);
    for (auto& byte : units) byte = static_cast<std::uint8_t>(random.bits() >> 24);
    Bytes received(400 * static_cast<std::size_t>(quel_frames_per_unit(GetParam())));
    for (auto& flag : received) flag = random.integer(0, 5) != 0;
    const Pcm whole = decoded(decoder, units, received);
    // The same a unit at a time.
    Pcm parts;
    const auto frames = static_cast<std::size_t>(quel_frames_per_unit(GetParam()));
    for (std::size_t k = 0; k < 400; ++k) {
      const Pcm part = decoded(again,
                               Bytes(units.begin() + static_cast<std::ptrdiff_t>(k * unit),
                                     units.begin() + static_cast<std::ptrdiff_t>((k + 1) * unit)),
                               std::span(received).subspan(k * frames, frames));
      parts.insert(parts.end(), part.begin(), part.end());
    }
    EXPECT_EQ(parts, whole);
  }
}

}  // namespace
}  // namespace quel
