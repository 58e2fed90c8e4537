#include "tools/ogg_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tools/ogg_support.h"

namespace quel::tools {
namespace {

using namespace quel::test;

constexpr int bos = 2, eos = 4;

std::vector<Bytes> any_units(int flavor, std::size_t n) {
  return {n, Bytes(static_cast<std::size_t>(quel_bytes_per_unit(flavor)), 7)};
}

int flags_of(const Bytes& file, const PageSpan& page) {
  return file.at(page.start + 5);
}

std::size_t body_bytes(const Bytes& file, const PageSpan& page) {
  return page.size - 27 - file.at(page.start + 26);
}

TEST(UnitCount, HoldsTheSourceAndWhatIsSkipped) {
  constexpr std::uint64_t unit[] = {288, 144, 480, 160}, delay[] = {120, 120, 360, 80};
  for (int flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    OggHead head = make_head(flavor, 8000);
    EXPECT_EQ(unit_count(head, 0), 0u);
    EXPECT_EQ(unit_count(head, 1), 1u);
    EXPECT_EQ(unit_count(head, unit[flavor] - delay[flavor]), 1u);
    EXPECT_EQ(unit_count(head, unit[flavor] - delay[flavor] + 1), 2u);
    EXPECT_EQ(unit_count(head, 10 * unit[flavor]), 11u);
    head.pre_skip = static_cast<std::uint16_t>(head.pre_skip + unit[flavor]);
    EXPECT_EQ(unit_count(head, 1), 2u);
  }
}

TEST(OggWriter, EveryPageIsSoundAndNumberedInOrder) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    const Bytes file = ogg_file(flavor, any_units(flavor, 100), samples_of(flavor, 100));
    const auto pages = page_spans(file);
    ASSERT_GT(pages.size(), 5u);
    for (std::size_t i = 0; i < pages.size(); ++i) {
      EXPECT_EQ(get_number(file, pages[i].start + 22, 4), page_checksum(file, pages[i]));
      EXPECT_EQ(get_number(file, pages[i].start + 18, 4), i);
      EXPECT_EQ(flags_of(file, pages[i]), i == 0 ? bos : i + 1 == pages.size() ? eos : 0);
    }
  }
}

TEST(OggWriter, HeadersStandAloneAtTheStart) {
  const Bytes file = ogg_file(1, any_units(1, 3), samples_of(1, 3));
  const auto pages = page_spans(file);
  const auto body = [&](std::size_t i) {
    const auto end = file.begin() + static_cast<std::ptrdiff_t>(pages.at(i).end());
    return Bytes(end - static_cast<std::ptrdiff_t>(body_bytes(file, pages.at(i))), end);
  };
  EXPECT_EQ(body(0), pack_head(make_head(1, 44100)));
  EXPECT_EQ(body(1), pack_tags(make_tags()));
  EXPECT_EQ(granule_of(file, pages[0]), 0u);
  EXPECT_EQ(granule_of(file, pages[1]), 0u);
}

TEST(OggWriter, GranulePositionsCountWholeUnitsAndTrimTheEnd) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    const auto unit = static_cast<std::uint64_t>(quel_samples_per_unit(flavor));
    for (const std::uint64_t trim : {std::uint64_t{0}, std::uint64_t{1}, unit - 1}) {
      const Bytes file = ogg_file(flavor, any_units(flavor, 100), samples_of(flavor, 100) - trim);
      const auto pages = page_spans(file);
      std::uint64_t units = 0;
      for (std::size_t i = 2; i < pages.size(); ++i) {
        units += body_bytes(file, pages[i]) / static_cast<std::size_t>(quel_bytes_per_unit(flavor));
        const bool last = i + 1 == pages.size();
        EXPECT_EQ(granule_of(file, pages[i]), units * unit - (last ? trim : 0));
      }
      EXPECT_EQ(units, 100u);
    }
  }
}

TEST(OggWriter, PacketsAndPagesComeNearestToTheirTimes) {
  constexpr std::size_t units_per_packet[] = {7, 13, 4, 24};  // 252, 234, 240, 240 ms
  constexpr std::size_t packets_per_page[] = {8, 9, 8, 8};
  for (int flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    const Bytes file = ogg_file(flavor, any_units(flavor, 500), samples_of(flavor, 500), {});
    const PageSpan page = page_spans(file).at(2);
    const std::size_t packet =
        units_per_packet[flavor] * static_cast<std::size_t>(quel_bytes_per_unit(flavor));
    EXPECT_EQ(body_bytes(file, page), packets_per_page[flavor] * packet);
    EXPECT_EQ(file.at(page.start + 26), packets_per_page[flavor] * (packet / 255 + 1));
  }
  OggWriterOptions shortest;
  shortest.packet_ms = shortest.page_ms = 1;
  const Bytes file = ogg_file(1, any_units(1, 5), samples_of(1, 5), shortest);
  EXPECT_EQ(page_spans(file).size(), 2u + 5u);
}

TEST(OggWriter, LongPacketsStayOnOnePage) {
  OggWriterOptions longest;
  longest.packet_ms = 10000;
  longest.page_ms = 60000;
  const Bytes file = ogg_file(3, any_units(3, 7000), samples_of(3, 7000), longest);
  const auto pages = page_spans(file);
  ASSERT_EQ(pages.size(), 2u + 3u);  // three packets of 20000 bytes fit on a page
  for (const PageSpan& page : pages) {
    EXPECT_EQ(flags_of(file, page) & 1, 0);
    EXPECT_LT(file[page.start + 26 + file[page.start + 26]], 255);
  }
  EXPECT_EQ(granule_of(file, pages[2]), 3 * 160000u);
}

TEST(OggWriter, AnEmptySourceIsTwoPages) {
  const Bytes file = ogg_file(0, {}, 0);
  const auto pages = page_spans(file);
  ASSERT_EQ(pages.size(), 2u);
  EXPECT_EQ(flags_of(file, pages[1]), eos);
  EXPECT_EQ(granule_of(file, pages[1]), 0u);
}

TEST(OggWriter, PagesGoOutAsSoonAsTheyAreFull) {
  std::size_t pages = 0;
  OggWriter writer([&pages](auto) { ++pages; }, make_head(1, 8000), make_tags(), small_pages());
  EXPECT_EQ(pages, 1u);
  // 3 units a packet, 3 packets a page; the next unit shows that a packet is not the last.
  for (int i = 0; i < 9; ++i) writer.write(any_units(1, 1)[0]);
  EXPECT_EQ(pages, 2u);
  writer.write(any_units(1, 1)[0]);
  EXPECT_EQ(pages, 3u);
  writer.finish(samples_of(1, 10));
  EXPECT_EQ(pages, 4u);
}

TEST(OggWriter, EqualInputGivesEqualFiles) {
  const auto units = any_units(2, 20);
  EXPECT_EQ(ogg_file(2, units, 9000), ogg_file(2, units, 9000));
  OggTags tags = make_tags();
  add_comment(tags, "A=b");
  const Bytes other = ogg_file(2, units, 9000, small_pages(), tags);
  EXPECT_NE(get_number(other, 14, 4), get_number(ogg_file(2, units, 9000), 14, 4));
  OggWriterOptions options;
  options.serial = 0xfedcba98u;
  EXPECT_EQ(get_number(ogg_file(2, units, 9000, options), 14, 4), 0xfedcba98u);
}

TEST(OggWriter, RefusesWhatDoesNotFit) {
  const auto sink = [](auto) {};
  const auto with = [&](int packet_ms, int page_ms) {
    OggWriter(sink, make_head(1, 8000), make_tags(), {packet_ms, page_ms, {}});
  };
  EXPECT_NO_THROW(with(1, 1));
  EXPECT_NO_THROW(with(10000, 60000));
  EXPECT_THROW(with(0, 1), std::invalid_argument);
  EXPECT_THROW(with(10001, 60000), std::invalid_argument);
  EXPECT_THROW(with(1, 0), std::invalid_argument);
  EXPECT_THROW(with(1, 60001), std::invalid_argument);

  OggWriter writer(sink, make_head(1, 8000), make_tags());
  EXPECT_THROW(writer.write(Bytes(18)), std::invalid_argument);
  EXPECT_THROW(writer.write(Bytes(20)), std::invalid_argument);
  EXPECT_THROW(writer.finish(1), std::invalid_argument);
  writer.write(Bytes(19));
  EXPECT_THROW(writer.finish(0), std::invalid_argument);
  EXPECT_THROW(writer.finish(25), std::invalid_argument);
  EXPECT_NO_THROW(writer.finish(24));
}

TEST(OggWriter, CostsAtMostThreePercent) {
  // A minute; flavor 1 already in ten seconds, the headers included.
  for (int flavor = 0; flavor < 4; ++flavor) {
    for (const int seconds : {10, 60}) {
      if (seconds == 10 && flavor != 1) continue;
      const auto samples = static_cast<std::uint64_t>(seconds * quel_sampling_rate(flavor));
      const auto units = any_units(flavor, unit_count(make_head(flavor, 8000), samples));
      const Bytes file = ogg_file(flavor, units, samples, {});
      const double net = static_cast<double>(units.size() * units[0].size());
      // Flavor 2, the lowest rate, pays for its headers with a little more than 3 % of a minute.
      const double most = flavor == 2 ? 1.035 : 1.03;
      EXPECT_LE(static_cast<double>(file.size()), most * net) << flavor << ", " << seconds << " s";
    }
  }
}

}  // namespace
}  // namespace quel::tools
