#include "tools/ogg_decoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tools/ogg_support.h"

namespace quel::tools {
namespace {

using namespace quel::test;

constexpr OggConcealment all_concealments[] = {OggConcealment::immediate, OggConcealment::deferred,
                                               OggConcealment::none};

OggDecodeOptions concealed(OggConcealment concealment) {
  OggDecodeOptions options;
  options.concealment = concealment;
  return options;
}

Pcm first_of(const Pcm& pcm, std::uint64_t n) {
  return {pcm.begin(), pcm.begin() + static_cast<std::ptrdiff_t>(n)};
}

class OggDecoderLossTest : public testing::TestWithParam<int> {
 protected:
  const int flavor = GetParam();
  std::uint64_t unit_samples() const {
    return static_cast<std::uint64_t>(quel_samples_per_unit(flavor));
  }
  const std::uint64_t delay = static_cast<std::uint64_t>(quel_delay(flavor));
  /// Units of so many seconds.
  std::vector<Bytes> speech(double seconds) const {
    const double samples = seconds * quel_sampling_rate(flavor);
    return coded_units(flavor, static_cast<std::uint64_t>(samples) / unit_samples());
  }
};
INSTANTIATE_TEST_SUITE_P(OggDecoderLoss, OggDecoderLossTest, testing::Range(0, 4));

TEST_P(OggDecoderLossTest, LengthAndWhatComesBeforeALossStay) {
  const auto units = speech(1.0);
  const std::uint64_t n = samples_of(flavor, units.size()) - 50;
  const Bytes file = ogg_file(flavor, units, n);
  const auto pages = page_spans(file);
  const Pcm whole = ogg_decode(file);
  for (std::size_t page = 2; page + 1 < pages.size(); ++page) {
    const std::uint64_t lost_from = granule_of(file, pages[page - 1]);
    for (const OggConcealment concealment : all_concealments) {
      SCOPED_TRACE(page);
      const Pcm heard = ogg_decode(without(file, pages[page]), concealed(concealment));
      ASSERT_EQ(heard.size(), n);
      // A lost frame's sound starts, at the earliest, a delay ahead of its place in the stream.
      const std::uint64_t same = std::max(lost_from, delay) - delay;
      EXPECT_EQ(first_of(heard, same), first_of(whole, same));
    }
  }
}

TEST_P(OggDecoderLossTest, SoundComesBackAfterALoss) {
  const auto units = speech(6.0);
  const std::uint64_t n = samples_of(flavor, units.size());
  const Bytes file = ogg_file(flavor, units, n);
  const auto pages = page_spans(file);
  const std::size_t page = 4;
  const Pcm whole = ogg_decode(file);
  const std::uint64_t after =
      granule_of(file, pages[page]) + static_cast<std::uint64_t>(ogg_preroll(flavor));
  for (const OggConcealment concealment : all_concealments) {
    const Pcm heard = ogg_decode(without(file, pages[page]), concealed(concealment));
    ASSERT_EQ(heard.size(), n);
    int worst = 0;
    for (std::uint64_t i = after; i < n; ++i)
      worst = std::max(worst, std::abs(heard[i] - whole[i]));
    EXPECT_LE(worst, 1);  // past the preroll two decoders differ by roundings only
  }
}

TEST_P(OggDecoderLossTest, WithoutConcealmentALossIsSilent) {
  const auto units = speech(1.0);
  const std::uint64_t n = samples_of(flavor, units.size());
  const Bytes file = ogg_file(flavor, units, n);
  const auto pages = page_spans(file);
  const Pcm made_up = ogg_decode(without(file, pages[4]));
  const Pcm heard = ogg_decode(without(file, pages[4]), concealed(OggConcealment::none));
  // Flavor 2 gives a frame one frame later.
  const std::uint64_t lag = flavor == QUEL_FLAVOR_5K ? 240 : 0;
  const std::uint64_t from = granule_of(file, pages[3]) + lag - delay;
  const std::uint64_t to = granule_of(file, pages[4]) + lag - delay;
  Pcm expected = made_up;
  std::fill(expected.begin() + static_cast<std::ptrdiff_t>(from),
            expected.begin() + static_cast<std::ptrdiff_t>(to), std::int16_t{0});
  EXPECT_EQ(heard, expected);
}

TEST_P(OggDecoderLossTest, DeferredConcealmentMakesUpFiveFramesAndThenIsSilent) {
  const auto units = speech(1.5);
  const auto frame = static_cast<std::size_t>(quel_samples_per_frame(flavor));
  const auto frames_per_unit = static_cast<std::size_t>(quel_frames_per_unit(flavor));
  for (const std::size_t lost : {1u, 2u, 3u, 4u, 5u, 6u, 11u}) {
    SCOPED_TRACE(lost);
    // The plug-in's way, frame by frame, is what the stream gives without any silence.
    Decoder decoder(flavor, Concealment::deferred);
    Pcm expected;
    const std::size_t first = 7;
    for (std::size_t i = 0; i < units.size(); ++i) {
      Pcm pcm = i >= first && i < first + lost ? decoder.conceal() : decoder.decode(units[i]);
      const std::size_t missing = lost * frames_per_unit;
      if (i == first + lost && missing > 5) {
        pcm.insert(pcm.begin() + static_cast<std::ptrdiff_t>(5 * frame), (missing - 5) * frame, 0);
      }
      expected.insert(expected.end(), pcm.begin(), pcm.end());
    }
    expected.erase(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(delay));

    OggWriterOptions single;  // a unit on each page
    single.packet_ms = single.page_ms = 1;
    const Bytes file = ogg_file(flavor, units, samples_of(flavor, units.size()), single);
    const auto pages = page_spans(file);
    Bytes holed = file;
    const auto at = [&](std::size_t page) {
      return holed.begin() + static_cast<std::ptrdiff_t>(pages[page].start);
    };
    holed.erase(at(2 + first), at(2 + first + lost));
    EXPECT_EQ(ogg_decode(holed, concealed(OggConcealment::deferred)), expected);
    // Lost frames that the caller chooses are no different.
    OggDecodeOptions chosen = concealed(OggConcealment::deferred);
    std::size_t count = 0;
    chosen.lose = [&count, lost, frames_per_unit] {
      const std::size_t unit = count++ / frames_per_unit;
      return unit >= 7 && unit < 7 + lost;
    };
    EXPECT_EQ(ogg_decode(file, chosen), expected);
  }
}

TEST_P(OggDecoderLossTest, ALossAtTheEndIsFilledToTheEnd) {
  const auto units = speech(0.6);
  const std::uint64_t n = samples_of(flavor, units.size()) - 10;
  const Bytes file = ogg_file(flavor, units, n);
  const PageSpan last = page_spans(file).back();
  // The end alone survives.
  const Bytes end = make_page(static_cast<std::uint32_t>(get_number(file, 14, 4)), 99,
                              granule_of(file, last), 4, {});
  const Bytes cut = joined({without(file, last), end});
  for (const OggConcealment concealment : all_concealments) {
    EXPECT_EQ(ogg_decode(cut, concealed(concealment)).size(), n);
  }
}

TEST_P(OggDecoderLossTest, SingleFramesCanBeLost) {
  const auto units = speech(1.0);
  const int frames_per_unit = quel_frames_per_unit(flavor);
  const std::uint64_t n = samples_of(flavor, units.size());
  OggDecodeOptions options;
  test::Random random(5);
  std::vector<bool> lost(units.size() * static_cast<std::size_t>(frames_per_unit));
  for (std::size_t i = 0; i < lost.size(); ++i) lost[i] = random.uniform(0, 1) < 0.3;
  std::size_t next = 0;
  options.lose = [&] { return lost.at(next++); };

  Decoder plain(flavor);
  Pcm expected;
  for (std::size_t i = 0; i < units.size(); ++i) {
    std::uint32_t received = 0;
    for (int f = 0; f < frames_per_unit; ++f) {
      const bool gone =
          lost[i * static_cast<std::size_t>(frames_per_unit) + static_cast<std::size_t>(f)];
      received |= (gone ? 0u : 1u) << f;
    }
    const Pcm pcm = plain.decode(units[i], received);
    expected.insert(expected.end(), pcm.begin(), pcm.end());
  }
  expected.erase(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(delay));

  const Bytes file = ogg_file(flavor, units, n);
  MemorySource source(file);
  OggReader reader(source, "f");
  OggDecoder decoder(reader, options);
  EXPECT_EQ(take_all(decoder), expected);
  EXPECT_EQ(decoder.frames(), lost.size());
  EXPECT_EQ(decoder.lost_frames(),
            static_cast<std::uint64_t>(std::count(lost.begin(), lost.end(), true)));
  EXPECT_EQ(decoder.samples(), n);
  next = 0;
  options.concealment = OggConcealment::none;
  EXPECT_EQ(ogg_decode(file, options).size(), n);
}

}  // namespace
}  // namespace quel::tools
