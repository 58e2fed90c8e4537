#include "tools/ogg_info.h"

#include <gtest/gtest.h>

#include "tools/ogg_support.h"

namespace quel::tools {
namespace {

using namespace quel::test;

OggInfo info_of(const Bytes& file) {
  MemorySource source(file);
  OggReader reader(source, "f");
  return read_info(reader);
}

std::vector<Bytes> any_units(int flavor, std::size_t n) {
  return {n, Bytes(static_cast<std::size_t>(quel_bytes_per_unit(flavor)), 7)};
}

TEST(OggInfo, TellsWhatAFileHolds) {
  constexpr double rates[] = {29 * 8 / 0.036, 19 * 8 / 0.018, 37 * 8 / 0.06, 16000};
  for (int flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    const auto samples = static_cast<std::uint64_t>(3 * quel_sampling_rate(flavor));
    OggTags tags = make_tags();
    add_comment(tags, "A=b");
    const Bytes file = ogg_file(flavor, any_units(flavor, 400), samples, {}, tags);
    const OggInfo info = info_of(file);
    EXPECT_EQ(info.head.flavor, flavor);
    EXPECT_EQ(info.rate, quel_sampling_rate(flavor));
    EXPECT_EQ(info.delay, quel_delay(flavor));
    EXPECT_EQ(info.samples, samples);
    EXPECT_EQ(info.seconds, 3.0);
    EXPECT_DOUBLE_EQ(info.net_bit_rate, rates[flavor]);
    EXPECT_DOUBLE_EQ(info.gross_bit_rate, 8.0 * static_cast<double>(file.size()) / 3.0);
    EXPECT_EQ(info.tags.comments, tags.comments);
    EXPECT_FALSE(info.report.damaged());
  }
}

TEST(OggInfo, CountsDamage) {
  const Bytes file = ogg_file(1, any_units(1, 45), samples_of(1, 45));
  const auto pages = page_spans(file);
  Bytes damaged = without(file, pages[3]);
  damaged[pages[3].start + 60] ^= 1;  // what was page 4
  const OggInfo info = info_of(damaged);
  EXPECT_EQ(info.samples, samples_of(1, 45));
  EXPECT_EQ(info.report.lost_units, 18u);
  EXPECT_EQ(info.report.holes, 1u);
  EXPECT_EQ(info.report.damaged_pages, 1u);
  EXPECT_EQ(info.report.skipped_bytes, pages[4].size);
  EXPECT_TRUE(info.report.complete);
  EXPECT_TRUE(info.report.damaged());
}

TEST(OggInfo, ACutFileHoldsWhatItGives) {
  const Bytes file = ogg_file(1, any_units(1, 45), samples_of(1, 45));
  const OggInfo info = info_of(without(file, page_spans(file).back()));
  EXPECT_EQ(info.samples, samples_of(1, 36));
  EXPECT_FALSE(info.report.complete);
}

TEST(OggInfo, AnEmptySourceHasNoRate) {
  const OggInfo info = info_of(ogg_file(2, {}, 0));
  EXPECT_EQ(info.samples, 0u);
  EXPECT_EQ(info.gross_bit_rate, 0.0);
  EXPECT_FALSE(info.report.damaged());
}

TEST(OggInfo, IsTheSameAfterSeekingAndReading) {
  const Bytes file = ogg_file(1, any_units(1, 45), samples_of(1, 45));
  const Bytes damaged = without(file, page_spans(file)[3]);
  MemorySource source(damaged);
  OggReader reader(source, "f");
  reader.next();
  reader.seek(700);
  reader.next();
  const OggInfo info = read_info(reader);
  EXPECT_EQ(info.samples, samples_of(1, 45));
  EXPECT_EQ(info.report.lost_units, 9u);
  EXPECT_EQ(info.report.bytes, damaged.size());
}

}  // namespace
}  // namespace quel::tools
