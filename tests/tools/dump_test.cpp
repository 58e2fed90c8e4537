#include "tools/dump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tools/file_error.h"
#include "tools/mux.h"
#include "tools/ogg_support.h"
#include "tools/tool_support.h"
#include "tools/version.h"

namespace quel::tools {
namespace {

using test::Bytes;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string dumped(const Bytes& file, bool json = false) {
  std::ostringstream out;
  write_dump(file, "f", json, out);
  return out.str();
}

std::string refusal(const std::string& dump) {
  std::istringstream in(dump);
  try {
    parse_dump(in, "d");
  } catch (const FileError& error) {
    return error.what();
  }
  return "";
}

Bytes short_file(int flavor, std::uint64_t units = 4, const OggTags& tags = make_tags()) {
  return test::ogg_file(flavor, test::coded_units(flavor, units), test::samples_of(flavor, units),
                        test::small_pages(), tags);
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

class Dump : public test::ToolTest {
 protected:
  // The file that the dump of `file` makes.
  Bytes through_dump(const Bytes& file) {
    const std::string text = dumped(file);
    test::write_bytes(path("dump"), Bytes(text.begin(), text.end()));
    MuxJob job;
    job.input = path("dump");
    job.output = path("again");
    job.from_dump = job.force = true;
    run_mux(job);
    return test::read_bytes(job.output);
  }
};

TEST_F(Dump, GoesBackToTheSameBytesForEveryFlavorLengthAndLayout) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    const auto units = test::coded_units(flavor, 40);
    for (const std::uint64_t cut : {0u, 1u, 77u}) {
      for (const auto& [packet_ms, page_ms] :
           {std::pair{240, 2000}, {60, 180}, {10, 1}, {1000, 1000}}) {
        SCOPED_TRACE(::testing::Message() << flavor << ' ' << cut << ' ' << packet_ms);
        OggWriterOptions options;
        options.packet_ms = packet_ms;
        options.page_ms = page_ms;
        const Bytes file =
            test::ogg_file(flavor, units, test::samples_of(flavor, 40) - cut, options);
        EXPECT_EQ(through_dump(file), file);
      }
    }
  }
}

TEST_F(Dump, GoesBackToTheSameBytesForTheShortestSources) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    const auto units = test::coded_units(flavor, 2);
    for (const std::uint64_t samples : {0u, 1u}) {
      const Bytes file = test::ogg_file(flavor, units, samples);
      EXPECT_EQ(through_dump(file), file) << flavor << ' ' << samples;
    }
  }
}

TEST_F(Dump, KeepsTagsOfSeveralLinesAndTheSerialNumber) {
  OggTags tags = make_tags();
  add_comment(tags, "TITLE=two\nlines\r\\ and a backslash");
  add_comment(tags, "EMPTY=");
  add_comment(tags, "NAME=\xc3\xa4=b");
  add_comment(tags, "A\\nB\\=c");
  OggWriterOptions options;
  options.serial = 0xfedcba98u;
  const Bytes file = test::ogg_file(1, test::coded_units(1, 3), 200, options, tags);
  EXPECT_EQ(through_dump(file), file);
}

TEST_F(Dump, CompletesAFileThatWasCutShort) {
  const Bytes file = short_file(1, 40);
  const auto pages = test::page_spans(file);
  const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(pages[4].start));
  const Bytes again = through_dump(cut);
  MemorySource source(again);
  OggReader reader(source, "f");
  reader.drain();
  EXPECT_TRUE(reader.report().complete);
  EXPECT_FALSE(reader.report().damaged());
  EXPECT_EQ(test::ogg_decode(again), test::ogg_decode(cut));
}

TEST_F(Dump, SaysWhatEachFrameHolds) {
  const std::string text = dumped(short_file(2));
  EXPECT_THAT(text, StartsWith("quel-dump 1\nflavor 2\nbitstream 2\n"));
  std::istringstream lines(text);
  int frames = 0, indices = 0, frequencies = 0, subframes = 0;
  for (std::string line; std::getline(lines, line);) {
    frames += line.starts_with("frame ");
    indices += line.starts_with("indices ");
    frequencies += line.starts_with("frequencies ");
    subframes += line.starts_with("subframe lag ");
  }
  EXPECT_EQ(frames, 8);
  EXPECT_EQ(indices, 8);
  EXPECT_EQ(frequencies, 8);
  EXPECT_EQ(subframes, 40);
}

TEST_F(Dump, SaysWhoseUnitsTheyAre) {
  const std::string behaviour = std::to_string(quel_behaviour());
  EXPECT_THAT(dumped(short_file(1)), HasSubstr("\nencoder quelcodec " + version_text() +
                                               "\ncomment QUEL_BEHAVIOUR=" + behaviour + "\n"));
  EXPECT_THAT(dumped(short_file(1), true),
              HasSubstr(",\"bitstream\":2,\"behaviour\":" + behaviour + ",\"rate\":8000,"));
  EXPECT_THAT(dumped(short_file(1, 4, {"e", {}}), true),
              HasSubstr(",\"bitstream\":2,\"behaviour\":null,"));
}

TEST_F(Dump, KeepsEveryBehaviourAsItStands) {
  for (const char* told : {"99", "0", "two", ""}) {
    const Bytes file = short_file(1, 4, {"e", {{"A", "b"}, {"quel_BEHAVIOUR", told}}});
    EXPECT_EQ(through_dump(file), file) << told;
  }
  const Bytes twice = short_file(1, 4, {"e", {{"QUEL_BEHAVIOUR", "1"}, {"QUEL_BEHAVIOUR", "9"}}});
  EXPECT_EQ(through_dump(twice), twice);
}

TEST_F(Dump, LostUnitsAreMarkedAndCannotBeWritten) {
  const Bytes file = short_file(1, 40);
  const Bytes holed = test::without(file, test::page_spans(file)[3]);
  const std::string text = dumped(holed);
  EXPECT_THAT(text, HasSubstr(" lost\nframe "));
  EXPECT_THAT(refusal(text), HasSubstr("this frame was lost"));
  EXPECT_THAT(dumped(holed, true), HasSubstr("\"lost\":true"));
}

TEST_F(Dump, JsonIsBalancedAndHasAFrameForEachFrame) {
  OggTags tags = make_tags();
  add_comment(tags, "A=say \"no\"\n{[");
  const std::string json = dumped(short_file(3, 5, tags), true);
  int depth = 0;
  bool text = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    if (text) {
      if (json[i] == '\\')
        ++i;
      else if (json[i] == '"')
        text = false;
      continue;
    }
    text = json[i] == '"';
    depth += json[i] == '{' || json[i] == '[';
    depth -= json[i] == '}' || json[i] == ']';
    ASSERT_GE(depth, 0);
  }
  EXPECT_EQ(depth, 0);
  std::size_t frames = 0;
  for (std::size_t at = 0; (at = json.find("{\"time\":", at)) != std::string::npos; ++at) ++frames;
  EXPECT_EQ(frames, 5u);
  EXPECT_THAT(json, HasSubstr("{\"time\":-0.0050,"));
}

TEST_F(Dump, EveryLayoutThatTheWriterGivesComesBack) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    const auto seconds = test::coded_units(flavor, 101);
    std::vector<Bytes> units;
    while (units.size() < 1010) units.insert(units.end(), seconds.begin(), seconds.end());
    const auto unit_ms =
        static_cast<double>(quel_samples_per_unit(flavor)) * 1000.0 / quel_sampling_rate(flavor);
    for (const int packet_ms : {1, 9990, 10000}) {
      SCOPED_TRACE(::testing::Message() << flavor << ' ' << packet_ms);
      OggWriterOptions options;
      options.packet_ms = packet_ms;
      // A little more than one page.
      const auto n = static_cast<std::uint64_t>(std::max(2000, packet_ms) / unit_ms) + 5;
      const Bytes file = test::ogg_file(flavor, units, test::samples_of(flavor, n), options);
      EXPECT_EQ(through_dump(file), file);
    }
  }
}

// Four packets of 56 pieces fill a page that was to hold nine; a short one still goes beside them.
TEST_F(Dump, AFullPageMayEndWithAShortPacket) {
  OggWriterOptions options;
  options.packet_ms = 7000;
  options.page_ms = 60000;
  const auto seconds = test::coded_units(3, 100);
  std::vector<Bytes> units;
  while (units.size() < 5700) units.insert(units.end(), seconds.begin(), seconds.end());
  for (const std::uint64_t n : {2900u, 3500u, 5700u}) {
    const Bytes file = test::ogg_file(3, units, test::samples_of(3, n), options);
    EXPECT_EQ(through_dump(file), file) << n;
  }
}

TEST_F(Dump, AFileWithoutSoundHasNoFrames) {
  EXPECT_THAT(dumped(short_file(0, 0 + 1), true), HasSubstr("\"frames\":[\n{"));
  EXPECT_THAT(dumped(test::ogg_file(0, {}, 0), true), HasSubstr("\"frames\":[\n]}"));
}

TEST(DumpParser, NamesTheLineThatIsWrong) {
  const std::string text = dumped(short_file(1, 4, {make_tags().encoder, {}}));
  EXPECT_EQ(refusal(text), "");
  EXPECT_EQ(refusal(""), "d: not a dump as quel dump writes it without --json");
  EXPECT_EQ(refusal("{\"quel_dump\":1}"), "d: not a dump as quel dump writes it without --json");
  EXPECT_EQ(refusal(replaced(text, "flavor 1", "flavor 4")),
            "d: line 2: 4 is not a number from 0 to 3");
  EXPECT_EQ(refusal(replaced(text, "flavor 1", "flavor -1")),
            "d: line 2: -1 is not a number from 0 to 3");
  EXPECT_EQ(refusal(replaced(text, "flavor 1", "taste 1")), "d: line 2: taste means nothing here");
  EXPECT_THAT(refusal(replaced(text, "input-rate 44100", "input-rate 1")),
              HasSubstr("rate of 1 Hz"));
  EXPECT_THAT(refusal(replaced(text, "pre-skip 120", "pre-skip 119")),
              HasSubstr("skips 119 samples"));
  EXPECT_THAT(refusal(replaced(text, "encoder ", "encoder \\x")),
              HasSubstr("line 10: a backslash"));
  EXPECT_THAT(refusal(replaced(text, "frame 0", "comment x")),
              HasSubstr("not of the form NAME=value"));
  EXPECT_THAT(refusal(replaced(text, "frame 0\n", "")),
              HasSubstr("line 11: indices outside a frame"));
  EXPECT_THAT(refusal(replaced(text, "frame 1\n", "frame 1\nflavor 0\n")),
              HasSubstr("the flavor after the first frame"));
  EXPECT_THAT(refusal(replaced(text, "indices ", "indices 1 ")), HasSubstr("line 12: "));
  EXPECT_THAT(refusal(replaced(text, "indices ", "indices 64 ")),
              HasSubstr("line 12: 64 is not a number from 0 to 63"));
  EXPECT_THAT(refusal(replaced(text, "\nindices ", "\nfrequencies ")),
              HasSubstr("the frame before has 0 of 20 indices"));
}

TEST(DumpParser, RefusesBitstreamsAsFilesAreRefused) {
  const std::string text = dumped(short_file(1));
  const auto of = [&](const std::string& line) {
    return refusal(replaced(text, "bitstream 2\n", line + "\n"));
  };
  EXPECT_EQ(of("bitstream 1"),
            "d: its sound is coded in bitstream 1 and this program, quelcodec " + version_text() +
                ", reads bitstream 2; quelcodec 0.1.0 is the version that reads it");
  // The line of a dump that 0.1.0 wrote.
  EXPECT_EQ(of("behaviour 1"), of("bitstream 1"));
  EXPECT_EQ(of("behaviour 2"), "d: line 3: behaviour means nothing here");
  EXPECT_EQ(of("behaviour 0"), "d: line 3: behaviour means nothing here");
  EXPECT_EQ(of("behaviour 1 "), "d: line 3: behaviour means nothing here");
  EXPECT_THAT(of("bitstream 3"), HasSubstr("coded in bitstream 3 "));
  EXPECT_EQ(of("bitstream 0"), "d: its bitstream is number 0, which never was");
  EXPECT_THAT(of("bitstream 65535"), HasSubstr("coded in bitstream 65535 "));
  EXPECT_EQ(of("bitstream 65536"), "d: line 3: 65536 is not a number from 0 to 65535");
  EXPECT_EQ(of("bitstream two"), "d: line 3: two is not a number from 0 to 65535");
}

TEST(DumpParser, NamesTheProgramThatWroteADumpOfALaterBitstream) {
  const std::string later = replaced(dumped(short_file(1)), "bitstream 2\n", "bitstream 3\n");
  const std::string encoder = make_tags().encoder;
  const std::string told = "; a newer one is needed, such as the one that wrote it: " + encoder;
  EXPECT_THAT(refusal(later), EndsWith(told));
  // Whatever else a later bitstream changed, that is the cause to name.
  EXPECT_THAT(refusal(replaced(later, "pre-skip 120", "pre-skip 3")), EndsWith(told));
  EXPECT_THAT(refusal(replaced(later, "frame 0\n", "frame 0\ntaste 1\n")), EndsWith(told));
  EXPECT_THAT(refusal(replaced(later, "indices ", "indices x ")), EndsWith(told));
  EXPECT_THAT(refusal(replaced(later, "encoder ", "encoder \\x")), HasSubstr("wrote it: "));
  EXPECT_THAT(refusal(replaced(later, "encoder " + encoder + "\n", "")),
              EndsWith("; a newer one is needed"));
}

TEST(DumpParser, AUnitOfTwoFramesNeedsBoth) {
  const std::string text = dumped(short_file(0));
  EXPECT_THAT(refusal(text.substr(0, text.find("frame 7"))),
              HasSubstr("the last unit lacks frames"));
}

TEST(DumpParser, ValuesThatFollowFromTheIndicesMayBeLeftOut) {
  std::istringstream lines(dumped(short_file(1)));
  std::string bare;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("frequencies") && !line.starts_with("subframe")) bare += line + "\n";
  }
  std::istringstream in(bare);
  EXPECT_EQ(parse_dump(in, "d").units, test::coded_units(1, 4));
}

}  // namespace
}  // namespace quel::tools
