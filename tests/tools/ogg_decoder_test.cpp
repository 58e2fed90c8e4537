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

class OggDecoderTest : public testing::TestWithParam<int> {
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
INSTANTIATE_TEST_SUITE_P(OggDecoder, OggDecoderTest, testing::Range(0, 4));

TEST_P(OggDecoderTest, AnyLengthComesBackToTheSampleWhereItWas) {
  const auto units = speech(1.2);
  const Pcm plain = plain_decode(flavor, units);
  const std::uint64_t most = plain.size();
  std::vector<std::uint64_t> lengths = {0, 1, most - 1, most};
  // Around the ends of units, packets and pages; the delay decides where the last unit ends.
  for (const PageSpan& page : page_spans(ogg_file(flavor, units, most))) {
    const std::uint64_t end = granule_of(ogg_file(flavor, units, most), page);
    for (std::uint64_t n : {end, end + 1, end + 2}) {
      if (n > delay + 1 && n - delay - 1 <= most) lengths.push_back(n - delay - 1);
    }
  }
  test::Random random(static_cast<unsigned>(flavor));
  for (int i = 0; i < 200; ++i) {
    lengths.push_back(static_cast<std::uint64_t>(random.integer(0, static_cast<int>(most))));
  }
  for (const std::uint64_t n : lengths) {
    ASSERT_EQ(ogg_decode(ogg_file(flavor, units, n)), first_of(plain, n)) << n;
  }
}

TEST_P(OggDecoderTest, SoundLiesWhereTheSourceLay) {
  const auto units = speech(2.0);
  const Pcm source = speech_like_pcm(static_cast<int>(units.size() * unit_samples()), 1,
                                     quel_sampling_rate(flavor));
  const std::uint64_t n = samples_of(flavor, units.size());
  const Pcm heard = ogg_decode(ogg_file(flavor, units, n));
  const auto likeness = [&](std::ptrdiff_t lag) {
    double sum = 0.0;
    for (std::ptrdiff_t i = 500; i + 500 < static_cast<std::ptrdiff_t>(n); ++i) {
      sum += static_cast<double>(source[static_cast<std::size_t>(i)]) *
             heard[static_cast<std::size_t>(i + lag)];
    }
    return sum;
  };
  std::ptrdiff_t best = -500;
  for (std::ptrdiff_t lag = -500; lag <= 500; ++lag) {
    if (likeness(lag) > likeness(best)) best = lag;
  }
  // The narrowband high-passes and postfilters move the sound by parts of a sample.
  EXPECT_LE(std::abs(best), 1);
}

TEST_P(OggDecoderTest, ALargerPreSkipCutsTheStart) {
  const auto units = speech(0.5);
  OggHead head = make_head(flavor, 8000);
  head.pre_skip = static_cast<std::uint16_t>(head.pre_skip + 1000);
  Bytes file;
  OggWriter writer([&file](auto page) { file.insert(file.end(), page.begin(), page.end()); }, head,
                   make_tags(), small_pages());
  for (const Bytes& unit : units) writer.write(unit);
  const std::uint64_t n = samples_of(flavor, units.size()) - 1000;
  writer.finish(n);
  const Pcm plain = plain_decode(flavor, units);
  EXPECT_EQ(ogg_decode(file), Pcm(plain.begin() + 1000, plain.end()));
}

TEST_P(OggDecoderTest, AChangedByteIsHeardOnlyAsThatPagesLoss) {
  const auto units = speech(flavor == QUEL_FLAVOR_16K ? 0.3 : 0.45);
  const std::uint64_t n = samples_of(flavor, units.size()) - 50;
  const Bytes file = ogg_file(flavor, units, n);
  const auto pages = page_spans(file);
  ASSERT_GE(pages.size(), 4u);
  // What each page's loss sounds like. Without the last page the end is unknown.
  std::vector<Pcm> expected;
  for (std::size_t page = 2; page < pages.size(); ++page) {
    const std::uint64_t from = granule_of(file, pages[page - 1]) / unit_samples();
    const std::uint64_t to = granule_of(file, pages[page]) / unit_samples();
    std::vector<bool> lost(units.size(), false);
    for (std::uint64_t i = from; i < to; ++i) lost[i] = true;
    const bool last = page + 1 == pages.size();
    const Pcm pcm = plain_decode(flavor, units, lost);
    expected.push_back(first_of(pcm, last ? from * unit_samples() - delay : n));
  }
  for (std::size_t at = pages[2].start; at < file.size(); ++at) {
    Bytes changed = file;
    changed[at] ^= 0x40;
    std::size_t page = 2;
    while (at >= pages[page].end()) ++page;
    ASSERT_EQ(ogg_decode(changed), expected[page - 2]) << at;
  }
}

TEST_P(OggDecoderTest, CutAnywhereItGivesTheStart) {
  const auto units = speech(0.45);
  const Bytes file = ogg_file(flavor, units, samples_of(flavor, units.size()));
  const auto pages = page_spans(file);
  const Pcm plain = plain_decode(flavor, units);
  for (std::size_t size = pages[0].end(); size <= file.size(); ++size) {
    std::size_t whole = 0;
    while (whole + 1 < pages.size() && pages[whole + 1].end() <= size) ++whole;
    const std::uint64_t end = std::max(granule_of(file, pages[whole]), delay);
    const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
    ASSERT_EQ(ogg_decode(cut), first_of(plain, end - delay)) << size;
  }
}

TEST_P(OggDecoderTest, LengthAndWhatComesBeforeALossStay) {
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

TEST_P(OggDecoderTest, SoundComesBackAfterALoss) {
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

TEST_P(OggDecoderTest, WithoutConcealmentALossIsSilent) {
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

TEST_P(OggDecoderTest, DeferredConcealmentMakesUpFiveFramesAndThenIsSilent) {
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

TEST_P(OggDecoderTest, ALossAtTheEndIsFilledToTheEnd) {
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

TEST_P(OggDecoderTest, SingleFramesCanBeLost) {
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

TEST_P(OggDecoderTest, SeekingMeetsAFullDecode) {
  const auto units = speech(8.0);
  const std::uint64_t n = samples_of(flavor, units.size()) - 77;
  const Bytes file = ogg_file(flavor, units, n, {});
  const Pcm whole = ogg_decode(file);
  MemorySource source(file);
  OggReader reader(source, "f");
  OggDecoder decoder(reader);
  test::Random random(11);
  std::vector<std::uint64_t> places = {n, 0, n - 1, 1,
                                       static_cast<std::uint64_t>(ogg_preroll(flavor))};
  for (int i = 0; i < 12; ++i) {
    places.push_back(static_cast<std::uint64_t>(random.integer(0, static_cast<int>(n))));
  }
  for (const std::uint64_t place : places) {
    SCOPED_TRACE(place);
    decoder.seek(place);
    const Pcm heard = take_all(decoder);
    ASSERT_EQ(heard.size(), n - place);
    int worst = 0;
    for (std::size_t i = 0; i < heard.size(); ++i) {
      worst = std::max(worst, std::abs(heard[i] - whole[place + i]));
    }
    EXPECT_LE(worst, 1);
  }
  for (const std::uint64_t beyond : {n + 1, ~std::uint64_t{0}}) {
    decoder.seek(beyond);
    EXPECT_TRUE(decoder.next().empty());
  }
}

TEST_P(OggDecoderTest, SeekingInADamagedFileKeepsTheTime) {
  const auto units = speech(6.0);
  const std::uint64_t n = samples_of(flavor, units.size());
  const Bytes file = ogg_file(flavor, units, n);
  const Bytes holed = without(file, page_spans(file)[5]);
  for (const OggConcealment concealment : all_concealments) {
    MemorySource source(holed);
    OggReader reader(source, "f");
    OggDecoder decoder(reader, concealed(concealment));
    for (std::uint64_t place = 0; place < n; place += n / 9) {
      decoder.seek(place);
      EXPECT_EQ(take_all(decoder).size(), n - place);
    }
  }
}

}  // namespace
}  // namespace quel::tools
