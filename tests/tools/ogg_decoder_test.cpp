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
