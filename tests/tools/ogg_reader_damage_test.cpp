#include "tools/ogg_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/ogg_outcome.h"
#include "tools/ogg_support.h"

namespace quel::tools {
namespace {

using namespace quel::test;
using testing::HasSubstr;
using Kind = OggEvent::Kind;

class OneFlavor : public testing::Test {
 protected:
  static constexpr std::size_t n = 45;  // five pages
  const std::vector<Bytes> units = numbered_units(1, n);
  const Bytes file = ogg_file(1, units, samples_of(1, n));
  const std::vector<PageSpan> pages = page_spans(file);
  const std::uint32_t serial = static_cast<std::uint32_t>(get_number(file, 14, 4));
  Bytes page_bytes(std::size_t i) const {
    const auto from = file.begin() + static_cast<std::ptrdiff_t>(pages[i].start);
    return {from, from + static_cast<std::ptrdiff_t>(pages[i].size)};
  }
};

TEST_F(OneFlavor, SeekingInADamagedFileFindsTheSameHoles) {
  const Bytes damaged = without(file, pages[4]);
  const Outcome whole = read_all(damaged);
  ASSERT_EQ(whole.lost(), 9u);
  MemorySource source(damaged);
  OggReader reader(source, "f");
  for (std::uint64_t unit = n; unit-- > 0;) {
    SCOPED_TRACE(unit);
    EXPECT_EQ(reader.seek(unit * 144 + 143), unit);
    const auto from = whole.units.begin() + static_cast<std::ptrdiff_t>(unit);
    EXPECT_EQ(read_on(reader).units, std::vector<Bytes>(from, whole.units.end()));
    EXPECT_EQ(reader.report().lost_units, 9u);
  }
}

TEST_F(OneFlavor, SeekingFindsNothingInAnEmptyStream) {
  const Bytes empty = ogg_file(1, {}, 0);
  MemorySource source(empty);
  OggReader reader(source, "f");
  EXPECT_EQ(reader.seek(1000), 0u);
  EXPECT_EQ(reader.next().kind, Kind::end);
  EXPECT_TRUE(reader.report().complete);
}

TEST_F(OneFlavor, GarbageInFrontAndBetweenIsSteppedOver) {
  test::Random random(3);
  Bytes mixed;
  std::size_t garbage = 0;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    Bytes noise(static_cast<std::size_t>(random.integer(1, 400)));
    for (std::uint8_t& byte : noise) byte = static_cast<std::uint8_t>(random.integer(0, 255));
    garbage += noise.size();
    mixed = joined({mixed, noise, page_bytes(i)});
  }
  const Outcome outcome = read_all(mixed);
  EXPECT_EQ(outcome.units, units);
  EXPECT_EQ(outcome.report.skipped_bytes, garbage);
  EXPECT_TRUE(outcome.report.complete);
}

TEST_F(OneFlavor, AFalseLengthHidesNothingBehindIt) {
  // The first of these lengths claims a page that would go on past the end of the file.
  Bytes lying = file;
  std::fill_n(lying.begin() + static_cast<std::ptrdiff_t>(pages[2].start) + 26, 2, 255);
  const Outcome outcome = read_all(lying);
  EXPECT_EQ(outcome.units.size(), n);
  EXPECT_EQ(outcome.lost(), 9u);
  EXPECT_EQ(outcome.report.damaged_pages, 1u);
}

TEST_F(OneFlavor, ForeignStreamsBesideItAreIgnored) {
  const Bytes text = {'f', 'o', 'r', 'e', 'i', 'g', 'n'};
  Bytes mixed = make_page(serial + 1, 0, 0, 2, {text});
  for (std::size_t i = 0; i < pages.size(); ++i) {
    mixed = joined({mixed, page_bytes(i),
                    make_page(serial + 1, static_cast<std::uint32_t>(i + 1), 1000 * i, 0, {text})});
  }
  const Outcome outcome = read_all(mixed);
  EXPECT_EQ(outcome.units, units);
  EXPECT_EQ(outcome.report.foreign_pages, 1 + pages.size());
  EXPECT_FALSE(outcome.report.damaged());
}

TEST_F(OneFlavor, TheFirstOfTwoStreamsSideBySideIsRead) {
  Bytes other = ogg_file(1, units, 700);
  set_serial(other, serial + 1);
  const auto cut = static_cast<std::ptrdiff_t>(page_spans(other)[0].end());
  const Bytes mixed =
      joined({page_bytes(0), Bytes(other.begin(), other.begin() + cut),
              Bytes(file.begin() + static_cast<std::ptrdiff_t>(pages[1].start), file.end()),
              Bytes(other.begin() + cut, other.end())});
  const Outcome outcome = read_all(mixed);
  EXPECT_EQ(outcome.units, units);
  EXPECT_EQ(outcome.report.further_streams, 1u);
}

TEST_F(OneFlavor, TheFirstOfAChainIsReadAndTheRestCounted) {
  for (const std::uint32_t shift : {0u, 1u}) {
    SCOPED_TRACE(shift);
    Bytes second = ogg_file(1, units, 700), third = second;
    set_serial(second, serial + shift);
    set_serial(third, serial + 2 * shift);
    const Bytes chain = joined({file, second, third});
    const Outcome outcome = read_all(chain);
    EXPECT_EQ(outcome.units, units);
    EXPECT_EQ(outcome.report.further_streams, 2u);
    EXPECT_FALSE(outcome.report.damaged());
    MemorySource source(chain);
    OggReader reader(source, "f");
    EXPECT_EQ(reader.seek(700), 4u);
    EXPECT_EQ(read_on(reader).units, std::vector<Bytes>(units.begin() + 4, units.end()));
    // A first stream without its end is over where the next one starts.
    const Outcome cut = read_all(joined({without(file, pages.back()), second}));
    EXPECT_EQ(cut.units, std::vector<Bytes>(units.begin(), units.begin() + 36));
    EXPECT_FALSE(cut.report.complete);
    EXPECT_EQ(cut.report.further_streams, 1u);
  }
}

TEST_F(OneFlavor, RepeatedAndReorderedPagesAreDropped) {
  const Outcome twice =
      read_all(joined({page_bytes(0), page_bytes(1), page_bytes(2), page_bytes(2), page_bytes(4),
                       page_bytes(3), page_bytes(5), page_bytes(6)}));
  EXPECT_EQ(twice.report.misplaced_pages, 2u);
  EXPECT_EQ(twice.lost(), 9u);
  EXPECT_EQ(twice.units.size(), n);
  EXPECT_TRUE(in_place(twice.units, units));
}

TEST_F(OneFlavor, ImpossiblePositionsAreDropped) {
  for (const std::uint64_t granule :
       {std::uint64_t{0}, std::uint64_t{8 * 144}, std::uint64_t{18 * 144 + 1}, ~std::uint64_t{0},
        std::uint64_t{1} << 63, ~std::uint64_t{0} >> 1, (~std::uint64_t{0} >> 1) / 144 * 144,
        std::uint64_t{144} << 40}) {
    SCOPED_TRACE(granule);
    Bytes changed = file;
    set_granule(changed, pages[3], granule);
    const Outcome outcome = read_all(changed);
    EXPECT_EQ(outcome.report.misplaced_pages, 1u);
    EXPECT_EQ(outcome.lost(), 9u);
    EXPECT_EQ(outcome.units.size(), n);
    EXPECT_TRUE(in_place(outcome.units, units));
  }
}

TEST_F(OneFlavor, NoMoreThanAnHourIsLostBeyondWhatTheFileHolds) {
  constexpr std::uint64_t hour = 200000;  // units of 18 ms
  // Before the last page 36 units have come.
  for (const std::uint64_t lost : {hour + 36, hour + 37}) {
    Bytes changed = file;
    put_number(changed, pages.back().start + 18, 1000000, 4);  // as if as many pages were missing
    set_granule(changed, pages.back(), (n + lost) * 144);
    MemorySource source(changed);
    OggReader reader(source, "f");
    while (reader.next().kind == Kind::units) continue;
    reader.drain();
    const bool borne = lost == hour + 36;
    EXPECT_EQ(reader.report().lost_units, borne ? lost : 0);
    EXPECT_EQ(reader.report().complete, borne);
  }
}

// Where pages are counted without a gap nothing can be lost between them.
TEST_F(OneFlavor, APositionThatThePageNumbersDenyCostsOnlyItsOwnPage) {
  for (const std::uint64_t ahead : {1u, 9u, 1000u}) {
    SCOPED_TRACE(ahead);
    Bytes changed = file;
    set_granule(changed, pages[3], granule_of(file, pages[3]) + ahead * 144);
    const Outcome outcome = read_all(changed);
    EXPECT_EQ(outcome.report.misplaced_pages, 1u);
    EXPECT_EQ(outcome.lost(), 9u);
    EXPECT_EQ(outcome.units.size(), n);
    EXPECT_TRUE(in_place(outcome.units, units));
  }
  // A page has at most 65025 bytes of units.
  for (const std::uint64_t lost : {65025u / 19, 65025u / 19 + 1}) {
    Bytes changed = without(file, pages[5]);
    const PageSpan last = page_spans(changed)[5];
    set_granule(changed, last, (n - 9 + lost) * 144);
    EXPECT_EQ(read_all(changed).lost(), lost == 65025 / 19 ? lost : 0);
  }
}

// The pages of `file` from one on, as if that much had been sent before; page numbers as given.
Bytes moved(const Bytes& file, std::size_t from, std::uint64_t units, std::uint32_t numbers) {
  Bytes changed = file;
  const auto pages = page_spans(file);
  for (std::size_t i = from; i < pages.size(); ++i) {
    const std::uint64_t number = get_number(changed, pages[i].start + 18, 4);
    put_number(changed, pages[i].start + 18, number + numbers, 4);
    set_granule(changed, pages[i], granule_of(file, pages[i]) + units * 144);
  }
  return changed;
}

TEST_F(OneFlavor, AFileThatLacksHoursIsReadWherePagesAgree) {
  constexpr std::uint64_t hour = 200000;  // units of 18 ms
  for (const std::uint32_t numbers : {0u, 3600u}) {
    SCOPED_TRACE(numbers);
    for (const std::size_t from : {2u, 4u}) {
      const Bytes late = moved(file, from, 2 * hour, numbers);
      const std::uint64_t gap = 2 * hour, before = (from - 2) * 9;
      MemorySource source(late);
      OggReader reader(source, "f");
      std::vector<Bytes> received;
      std::uint64_t lost = 0;
      for (OggEvent event = reader.next(); event.kind != Kind::end; event = reader.next()) {
        if (event.kind == Kind::lost) {
          EXPECT_EQ(received.size(), before);
          lost += event.units;
          continue;
        }
        for (std::size_t i = 0; i < event.units; ++i) {
          const auto unit = event.bytes.subspan(19 * i, 19);
          received.emplace_back(unit.begin(), unit.end());
        }
      }
      EXPECT_EQ(received, units);
      EXPECT_EQ(lost, gap);
      EXPECT_EQ(reader.report().misplaced_pages, 0u);
      EXPECT_EQ(reader.report().holes, 1u);
      EXPECT_TRUE(reader.report().complete);
      // Sought, the same.
      EXPECT_EQ(reader.seek((gap + before + 3) * 144), gap + before + 3);
      EXPECT_EQ(
          read_on(reader).units,
          std::vector<Bytes>(units.begin() + static_cast<std::ptrdiff_t>(before) + 3, units.end()));
    }
  }
}

TEST_F(OneFlavor, NobodyLosesMoreThanADay) {
  constexpr std::uint64_t day = 24 * 200000;
  for (const std::uint64_t lost : {day, day + 1}) {
    const Bytes late = moved(file, 2, lost, 1000000);
    MemorySource source(late);
    OggReader reader(source, "f");
    reader.drain();
    EXPECT_EQ(reader.report().lost_units, lost == day ? day : 0);
    EXPECT_EQ(reader.report().misplaced_pages, lost == day ? 0u : 5u);
  }
}

TEST_F(OneFlavor, TheLastPageMayTrimLessThanAUnit) {
  for (const std::uint64_t trim : {1u, 143u}) {
    Bytes changed = file;
    set_granule(changed, pages.back(), n * 144 - trim);
    const Outcome outcome = read_all(changed);
    EXPECT_EQ(outcome.units, units);
    EXPECT_EQ(outcome.end, n * 144 - trim);
  }
  Bytes changed = file;
  set_granule(changed, pages.back(), (n - 1) * 144);
  const Outcome outcome = read_all(changed);
  EXPECT_EQ(outcome.report.misplaced_pages, 1u);
  EXPECT_FALSE(outcome.report.complete);
}

TEST_F(OneFlavor, APageOfBrokenUnitsIsLost) {
  const std::uint64_t granule = granule_of(file, pages[3]);
  for (const auto& [flags, packets] : std::vector<std::pair<int, std::vector<Bytes>>>{
           {0, {Bytes(18)}}, {0, {Bytes(20)}}, {0, {Bytes(19), Bytes()}}, {1, {Bytes(19)}}}) {
    const Bytes mixed = joined({page_bytes(0), page_bytes(1), page_bytes(2),
                                make_page(serial, 3, granule, flags, packets), page_bytes(4),
                                page_bytes(5), page_bytes(6)});
    const Outcome outcome = read_all(mixed);
    EXPECT_EQ(outcome.report.misplaced_pages, 1u);
    EXPECT_EQ(outcome.lost(), 9u);
    EXPECT_TRUE(in_place(outcome.units, units));
  }
  // A last page tells the end even so.
  const Bytes mixed =
      joined({without(file, pages.back()), make_page(serial, 6, n * 144 - 7, 4, {Bytes(18)})});
  const Outcome outcome = read_all(mixed);
  EXPECT_EQ(outcome.end, n * 144 - 7);
  EXPECT_EQ(outcome.lost(), 9u);
}

TEST_F(OneFlavor, PagesWithoutPacketsAndPositionMayStandAnywhere) {
  const Bytes filler = make_page(serial, 99, ~std::uint64_t{0}, 0, {});
  Bytes mixed = page_bytes(0);
  for (std::size_t i = 1; i < pages.size(); ++i) mixed = joined({mixed, filler, page_bytes(i)});
  const Outcome outcome = read_all(mixed);
  EXPECT_EQ(outcome.units, units);
  EXPECT_EQ(outcome.report.tags_error, "");
  EXPECT_EQ(outcome.report.misplaced_pages, 0u);
  EXPECT_FALSE(outcome.report.damaged());
  MemorySource source(mixed);
  OggReader reader(source, "f");
  EXPECT_EQ(reader.seek(20 * 144), 20u);
  EXPECT_EQ(read_on(reader).units, std::vector<Bytes>(units.begin() + 20, units.end()));
  // The middle of a packet that spans pages is no such page.
  Bytes middle = make_page(serial, 99, ~std::uint64_t{0}, 1, {});
  EXPECT_EQ(read_all(joined({page_bytes(0), page_bytes(1), middle})).report.misplaced_pages, 1u);
}

TEST_F(OneFlavor, ALastPageWithoutUnitsEndsTheStream) {
  const Bytes mixed = joined({without(file, pages.back()), make_page(serial, 6, 36 * 144, 4, {})});
  const Outcome outcome = read_all(mixed);
  EXPECT_EQ(outcome.units.size(), 36u);
  EXPECT_EQ(outcome.end, 36 * 144u);
  EXPECT_FALSE(outcome.report.damaged());
}

// A decoder has given the sound of the page before already: found by the fuzzer as decoded files
// that were longer than their accounts.
TEST_F(OneFlavor, ALastPageWithoutUnitsTakesNothingBack) {
  const Bytes mixed =
      joined({without(file, pages.back()), make_page(serial, 6, 36 * 144 - 3, 4, {})});
  const Outcome outcome = read_all(mixed);
  EXPECT_EQ(outcome.units.size(), 36u);
  EXPECT_EQ(outcome.end, 36 * 144u);
  EXPECT_EQ(outcome.report.misplaced_pages, 1u);
  EXPECT_EQ(ogg_decode(mixed).size(), 36 * 144u - 120);
}

TEST_F(OneFlavor, BrokenCommentsAreReportedNotRefused) {
  Bytes packet = pack_tags(make_tags());
  packet[8] = 0xff;
  const Bytes mixed =
      joined({page_bytes(0), make_page(serial, 1, 0, 0, {packet}),
              Bytes(file.begin() + static_cast<std::ptrdiff_t>(pages[2].start), file.end())});
  const Outcome outcome = read_all(mixed);
  EXPECT_EQ(outcome.units, units);
  EXPECT_EQ(outcome.report.tags_error,
            "the length of the encoder's name is more than the comments hold");
  EXPECT_EQ(read_all(without(file, pages[1])).report.tags_error,
            "the page of comments is damaged or missing");
  EXPECT_EQ(read_all(page_bytes(0)).report.tags_error,
            "the page of comments is damaged or missing");
}

TEST_F(OneFlavor, WhatIsNoCodedFileIsRefused) {
  EXPECT_EQ(refusal({}), "f: empty");
  EXPECT_EQ(refusal({'R', 'I', 'F', 'F'}), "f: not a file made by quel encode");
  EXPECT_EQ(refusal(Bytes(3000000)), "f: not a file made by quel encode");
  EXPECT_EQ(refusal(make_page(1, 0, 0, 2, {{'t', 'e', 'x', 't'}})),
            "f: an Ogg file without coded speech of this codec");
  // A megabyte of something else is not searched on.
  EXPECT_EQ(refusal(joined({Bytes(1 << 20), file})), "f: not a file made by quel encode");
  EXPECT_EQ(refusal(joined({Bytes((1 << 20) - 1), file})), "");
}

TEST_F(OneFlavor, TheHeaderStandsAlone) {
  const Bytes head = pack_head(make_head(1, 8000));
  const std::string message = "f: its first page holds something else than the header";
  EXPECT_EQ(refusal(make_page(1, 0, 0, 2, {head, head})), message);
  EXPECT_EQ(refusal(make_page(1, 0, 0, 2 | 4, {head})), message);
  EXPECT_EQ(refusal(make_page(1, 0, 0, 2, {head})), "");
  Bytes gain = head;
  gain[18] = 1;
  EXPECT_THAT(refusal(make_page(1, 0, 0, 2, {gain})), HasSubstr("gain"));
}

TEST_F(OneFlavor, ABitstreamToComeNamesTheProgramThatWroteTheFile) {
  OggHead head = make_head(1, 8000);
  head.bitstream = 3;
  const Bytes tags = pack_tags({"quelcodec 7.6.5", {}});
  EXPECT_THAT(
      refusal(joined({make_page(1, 0, 0, 2, {pack_head(head)}), make_page(1, 1, 0, 4, {tags})})),
      testing::EndsWith("such as the one that wrote it: quelcodec 7.6.5"));
  EXPECT_THAT(refusal(make_page(1, 0, 0, 2, {pack_head(head)})),
              HasSubstr("a newer one is needed"));
  // Whoever wrote that: nothing that a terminal obeys.
  const Bytes rude = pack_tags({"A\x1b[2J", {}});
  EXPECT_THAT(
      refusal(joined({make_page(1, 0, 0, 2, {pack_head(head)}), make_page(1, 1, 0, 4, {rude})})),
      testing::EndsWith("wrote it: A [2J"));
}

// Gives a byte at a time and cannot seek.
class Pipe : public MemorySource {
 public:
  using MemorySource::MemorySource;
  std::size_t read(std::span<std::uint8_t> bytes) override {
    return MemorySource::read(bytes.first(1));
  }
  bool seekable() const override { return false; }
};

TEST_F(OneFlavor, PipesAreReadButNotSought) {
  Pipe pipe(file);
  OggReader reader(pipe, "f");
  EXPECT_THROW(reader.seek(0), FileError);
  EXPECT_EQ(read_on(reader).units, units);
}

}  // namespace
}  // namespace quel::tools
