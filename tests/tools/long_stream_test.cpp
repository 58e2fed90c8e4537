#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/ogg_support.h"
#include "tools/resampler.h"
#include "tools/sound_writer.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

using tools::OggDecoder;
using tools::OggReader;
using tools::OggWriter;
using tools::Resampler;
using tools::WavWriter;

constexpr std::uint64_t two_31 = std::uint64_t{1} << 31;
constexpr std::uint64_t two_32 = std::uint64_t{1} << 32;

// Counters that days of sound would have to move on are set by hand: an explicit instantiation may
// name what is private.
template <typename Member, typename Member::type value>
struct Open {
  friend typename Member::type reach(Member) { return value; }
};
#define OPEN(Name, Class, member)        \
  struct Name {                          \
    using type = std::uint64_t Class::*; \
    friend type reach(Name);             \
  };                                     \
  template struct Open<Name, &Class::member>
OPEN(WriterUnits, OggWriter, units_);
OPEN(ReaderStart, OggReader, start_);
OPEN(ReaderPosition, OggReader, position_);
OPEN(ReaderPlaced, OggReader, placed_);
OPEN(DecoderPosition, OggDecoder, position_);
OPEN(DecoderUnits, OggDecoder, units_);
OPEN(DecoderFrames, OggDecoder, frames_);
OPEN(DecoderSamples, OggDecoder, samples_);
OPEN(WavSamples, WavWriter, samples_);
OPEN(ResamplerTaken, Resampler, taken_);
OPEN(ResamplerGiven, Resampler, given_);
#undef OPEN

struct Limit {
  int flavor;
  std::uint64_t samples;
};

class LongStreamTest : public testing::TestWithParam<Limit> {
 protected:
  static constexpr std::uint64_t units = 120;
  static constexpr std::uint64_t before = 50;  // units, to the limit

  int flavor() const { return GetParam().flavor; }
  std::uint64_t unit_samples() const {
    return static_cast<std::uint64_t>(quel_samples_per_unit(flavor()));
  }
  std::uint64_t first() const { return GetParam().samples / unit_samples() - before; }

  // Units as a file from the unit `first`, whose last one lacks three samples.
  Bytes file(const std::vector<Bytes>& coded, std::uint64_t first) const {
    Bytes file;
    const auto sink = [&file](auto page) { file.insert(file.end(), page.begin(), page.end()); };
    OggWriter writer(sink, tools::make_head(flavor(), 8000), tools::make_tags(), small_pages());
    writer.write(coded[0]);
    writer.*reach(WriterUnits{}) += first;
    for (std::size_t i = 1; i < coded.size(); ++i) writer.write(coded[i]);
    writer.finish((first + units) * unit_samples() -
                  static_cast<std::uint64_t>(quel_delay(flavor())) - 3);
    return file;
  }
};
INSTANTIATE_TEST_SUITE_P(LongStream, LongStreamTest,
                         testing::Values(Limit{0, two_31}, Limit{1, two_32}, Limit{2, two_32},
                                         Limit{3, two_31}));

TEST_P(LongStreamTest, GranulePositionsRiseThroughTheLimit) {
  const Bytes bytes = file(coded_units(flavor(), units), first());
  const auto pages = page_spans(bytes);
  std::uint64_t last = first() * unit_samples();
  int on_either_side[2] = {};
  for (std::size_t i = 2; i < pages.size(); ++i) {
    const std::uint64_t granule = granule_of(bytes, pages[i]);
    EXPECT_GT(granule, last);
    EXPECT_LT(granule, last + 8000);
    EXPECT_TRUE(i + 1 == pages.size() || granule % unit_samples() == 0);
    ++on_either_side[granule >= GetParam().samples ? 1 : 0];
    last = granule;
  }
  EXPECT_EQ(last, (first() + units) * unit_samples() - 3);
  EXPECT_GT(on_either_side[0], 1);
  EXPECT_GT(on_either_side[1], 1);
}

TEST_P(LongStreamTest, SoundIsAsAtTheStartOfAStream) {
  const auto coded = coded_units(flavor(), units);
  for (const std::size_t hole : {std::size_t{0}, std::size_t{4}}) {  // pages, 0 for none
    Bytes early = file(coded, 0), late = file(coded, first());
    if (hole != 0) early = without(early, page_spans(early)[hole]);
    if (hole != 0) late = without(late, page_spans(late)[hole]);
    const Pcm expected = ogg_decode(early);

    tools::MemorySource source(late);
    OggReader reader(source, "f");
    reader.*reach(ReaderStart{}) = reader.*reach(ReaderPosition{}) = reader.*reach(ReaderPlaced{}) =
                                                                         first();
    OggDecoder decoder(reader);
    decoder.*reach(DecoderUnits{}) = first();
    decoder.*reach(DecoderFrames{}) = two_32 - 10;
    decoder.*reach(DecoderSamples{}) = two_32 - 10;
    decoder.*reach(DecoderPosition{}) = first() * unit_samples();
    Pcm pcm = take_all(decoder);
    // Only at the start of a stream is the delay cut off.
    const auto delay = static_cast<std::size_t>(quel_delay(flavor()));
    ASSERT_GT(pcm.size(), delay);
    pcm.erase(pcm.begin(), pcm.begin() + static_cast<std::ptrdiff_t>(delay));
    EXPECT_EQ(pcm, expected) << hole;
    EXPECT_EQ(reader.end(), (first() + units) * unit_samples() - 3);
    EXPECT_EQ(reader.position(), first() + units);
    EXPECT_EQ(reader.report().lost_units > 0, hole != 0);
    EXPECT_EQ(reader.report().misplaced_pages, 0u);
    EXPECT_EQ(decoder.frames() - (two_32 - 10),
              units * static_cast<std::uint64_t>(quel_frames_per_unit(flavor())));
    EXPECT_EQ(decoder.samples() - (two_32 - 10), expected.size() + delay);
  }
}

class LongSoundTest : public ToolTest {};

TEST_F(LongSoundTest, AWavHeaderCountsToItsLimit) {
  tools::OutputFile output(path("out.wav"), false, path("in"));
  WavWriter writer(output, 8000);
  writer.*reach(WavSamples{}) = tools::wav_max_samples - 10;
  writer.write(Pcm(10));
  writer.finish();
  const Bytes file = read_bytes(path("out.wav"));
  EXPECT_EQ(get_number(file, 40, 4), 2 * std::uint64_t{tools::wav_max_samples});
  EXPECT_EQ(get_number(file, 4, 4), 2 * std::uint64_t{tools::wav_max_samples} + 36);
}

TEST_F(LongSoundTest, LengthsStayExactThroughResampling) {
  for (const std::uint64_t start : {two_31 - 3000, two_32 - 3000}) {
    Resampler early(8000, 16000), late(8000, 16000);
    late.*reach(ResamplerTaken{}) = start;
    late.*reach(ResamplerGiven{}) = 2 * start;
    std::vector<float> in(6000), expected, given;
    for (std::size_t i = 0; i < in.size(); ++i) in[i] = static_cast<float>(i % 100) / 100;
    early.process(in, expected);
    early.finish(expected);
    late.process(in, given);
    late.finish(given);
    EXPECT_EQ(given, expected);
    EXPECT_EQ(given.size(), 12000u);
  }
}

}  // namespace
}  // namespace quel::test
