#include "tools/ogg_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/ogg_outcome.h"
#include "tools/ogg_support.h"

namespace quel::tools {
namespace {

using namespace quel::test;
using Kind = OggEvent::Kind;

class EveryFlavor : public testing::TestWithParam<int> {
 protected:
  static constexpr std::size_t n = 40;
  const int flavor = GetParam();
  const std::vector<Bytes> units = numbered_units(flavor, n);
  const std::uint64_t samples = samples_of(flavor, n) - 5;
  const Bytes file = ogg_file(flavor, units, samples);
  const std::vector<PageSpan> pages = page_spans(file);
};
INSTANTIATE_TEST_SUITE_P(OggReader, EveryFlavor, testing::Range(0, 4));

TEST_P(EveryFlavor, GivesBackWhatWasWritten) {
  MemorySource source(file);
  OggReader reader(source, "f");
  EXPECT_EQ(reader.head().flavor, flavor);
  EXPECT_EQ(reader.head().input_rate, 44100u);
  EXPECT_EQ(reader.tags().encoder, make_tags().encoder);
  const Outcome outcome = read_on(reader);
  EXPECT_EQ(outcome.units, units);
  EXPECT_EQ(outcome.end, samples + static_cast<std::uint64_t>(quel_delay(flavor)));
  EXPECT_FALSE(outcome.report.damaged());
  EXPECT_EQ(outcome.report.units, n);
  EXPECT_EQ(outcome.report.bytes, file.size());
  EXPECT_EQ(reader.position(), n);
}

TEST_P(EveryFlavor, AnyChangedByteCostsNoMoreThanItsPage) {
  test::Random random(static_cast<unsigned>(flavor));
  for (std::size_t at = 0; at < file.size(); ++at) {
    SCOPED_TRACE(at);
    Bytes changed = file;
    changed[at] ^= static_cast<std::uint8_t>(random.integer(1, 255));
    std::size_t page = 0;
    while (at >= pages[page].end()) ++page;
    if (page == 0) {
      EXPECT_EQ(refusal(changed), "f: its first page, the header, is damaged or missing");
      continue;
    }
    const Outcome outcome = read_all(changed);
    EXPECT_TRUE(outcome.report.damaged());
    EXPECT_TRUE(in_place(outcome.units, units));
    const bool last = page + 1 == pages.size();
    EXPECT_EQ(outcome.end.has_value(), !last);
    if (last) continue;
    EXPECT_EQ(outcome.units.size(), n);
    EXPECT_EQ(outcome.report.holes, page == 1 ? 0u : 1u);
    EXPECT_EQ(outcome.report.tags_error.empty(), page != 1);
    EXPECT_EQ(outcome.lost() * static_cast<std::uint64_t>(quel_samples_per_unit(flavor)),
              granule_of(file, pages[page]) - granule_of(file, pages[page - 1]));
  }
}

TEST_P(EveryFlavor, AnyMissingPageIsAHoleOfItsLength) {
  for (std::size_t page = 0; page < pages.size(); ++page) {
    SCOPED_TRACE(page);
    const Bytes rest = without(file, pages[page]);
    if (page == 0) {
      EXPECT_EQ(refusal(rest), "f: its first page, the header, is damaged or missing");
      continue;
    }
    const Outcome outcome = read_all(rest);
    const bool last = page + 1 == pages.size();
    EXPECT_TRUE(in_place(outcome.units, units));
    EXPECT_EQ(outcome.units.size() == n, !last);
    EXPECT_EQ(outcome.report.complete, !last);
    EXPECT_EQ(outcome.report.lost_units, outcome.lost());
    EXPECT_EQ(outcome.lost() > 0, page > 1 && !last);
    EXPECT_TRUE(outcome.report.damaged());
  }
}

TEST_P(EveryFlavor, CutAnywhereItGivesTheWholePages) {
  for (std::size_t size = 0; size < file.size(); ++size) {
    SCOPED_TRACE(size);
    const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size));
    if (size < pages[0].end()) {
      EXPECT_EQ(refusal(cut).empty(), false);
      continue;
    }
    std::size_t whole = 0;
    while (pages[whole].end() <= size) ++whole;
    const Outcome outcome = read_all(cut);
    EXPECT_EQ(outcome.lost(), 0u);
    EXPECT_TRUE(in_place(outcome.units, units));
    EXPECT_EQ(outcome.units.size() * static_cast<std::uint64_t>(quel_samples_per_unit(flavor)),
              granule_of(file, pages[whole - 1]));
    EXPECT_FALSE(outcome.report.complete);
    EXPECT_FALSE(outcome.end.has_value());
    EXPECT_EQ(outcome.report.skipped_bytes, size - pages[whole - 1].end());
  }
}

TEST_P(EveryFlavor, SeeksToTheUnitOfAnySample) {
  MemorySource source(file);
  OggReader reader(source, "f");
  test::Random random(7);
  const auto unit = static_cast<std::uint64_t>(quel_samples_per_unit(flavor));
  for (int i = 0; i < 100; ++i) {
    const auto wanted =
        static_cast<std::uint64_t>(random.integer(0, static_cast<int>(n * unit - 1)));
    SCOPED_TRACE(wanted);
    const std::uint64_t found = reader.seek(wanted);
    EXPECT_EQ(found, wanted / unit);
    const Outcome outcome = read_on(reader);
    EXPECT_EQ(outcome.units,
              std::vector<Bytes>(units.begin() + static_cast<std::ptrdiff_t>(found), units.end()));
    EXPECT_FALSE(outcome.report.damaged());
  }
  for (const std::uint64_t beyond : {n * unit, ~std::uint64_t{0}}) {
    EXPECT_EQ(reader.seek(beyond), n);
    EXPECT_EQ(reader.next().kind, Kind::end);
  }
}

}  // namespace
}  // namespace quel::tools
