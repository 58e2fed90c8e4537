// Files that are not whole, through the commands, in this process: many runs in little time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "tools/ogg_support.h"
#include "tools/quel_main.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelDamage : public ToolTest {
 protected:
  ProgramResult quel(const std::vector<std::string>& arguments) {
    std::vector<const char*> argv = {"quel"};
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    std::ostringstream out, err;
    const int status = tools::run_quel(static_cast<int>(argv.size()), argv.data(), out, err);
    return {status, out.str(), err.str()};
  }
  ProgramResult decode(const Bytes& file) {
    write_bytes(path("c"), file);
    return quel({"decode", path("c"), path("o.raw"), "-f"});
  }
  std::size_t decoded_samples() { return read_bytes(path("o.raw")).size() / 2; }
  Bytes encoded(const std::string& name) {
    EXPECT_EQ(quel({"encode", path(name), path("c"), "-f"}).status, 0);
    return read_bytes(path("c"));
  }
  /// A line of shell in the test's folder, with the program as $Q.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh",
                       {"-c", "cd \"$1\" && Q=\"$2\" && " + line, "sh", path(""), QUEL_PROGRAM});
  }
  void expect_cut(const std::string& line, const std::string& message,
                  std::size_t least_samples = 1000) {
    const ProgramResult result = shell(line);
    EXPECT_EQ(result.status, 1) << line;
    EXPECT_THAT(result.err, StartsWith(message)) << line;
    // What there is is a whole coded file.
    EXPECT_EQ(quel({"decode", path("c"), path("o.raw"), "-f"}).err, "");
    EXPECT_GE(decoded_samples(), least_samples);
  }
  /// 3000 samples in a file of 44 + 6000 bytes.
  Bytes wav() {
    write_audio(path("in.wav"), wav16, 8000, 1, loud_speech(3000, 1));
    return read_bytes(path("in.wav"));
  }
};

TEST_F(QuelDamage, AnyWrongByteIsToldAndNothingGetsLonger) {
  const std::uint64_t samples = samples_of(1, 6) - 5;
  tools::OggWriterOptions options;  // pages of two units
  options.packet_ms = 18;
  options.page_ms = 36;
  const Bytes file = ogg_file(1, coded_units(1, 6), samples, options);
  const PageSpan last = page_spans(file).back();
  ASSERT_EQ(decode(file).status, 0);
  ASSERT_EQ(decoded_samples(), samples);
  for (std::size_t at = 0; at < file.size(); ++at) {
    SCOPED_TRACE(at);
    Bytes damaged = file;
    damaged[at] = static_cast<std::uint8_t>(~damaged[at]);
    write_bytes(path("o.raw"), {});
    const ProgramResult result = decode(damaged);
    // The checksum covers every byte, so none goes by unseen.
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("quel: " + path("c") + ": "));
    if (at < 49) {
      EXPECT_THAT(result.err, HasSubstr("the header, is damaged or missing"));
      EXPECT_EQ(decoded_samples(), 0u);
    } else if (at < last.start) {
      EXPECT_EQ(decoded_samples(), samples);
    } else {
      // The end is what the last page alone tells.
      EXPECT_THAT(result.err, HasSubstr("cut short: decoded "));
      EXPECT_LT(decoded_samples(), samples);
      EXPECT_GT(decoded_samples(), 0u);
    }
  }
}

TEST_F(QuelDamage, AnyMissingPageIsTold) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    const std::uint64_t samples = samples_of(flavor, 40) - 5;
    const Bytes file = ogg_file(flavor, coded_units(flavor, 40), samples);
    const auto pages = page_spans(file);
    for (std::size_t page = 0; page < pages.size(); ++page) {
      SCOPED_TRACE(::testing::Message() << flavor << ' ' << page);
      write_bytes(path("o.raw"), {});
      const ProgramResult result = decode(without(file, pages[page]));
      EXPECT_EQ(result.status, 1);
      if (page == 0) {
        EXPECT_THAT(result.err, HasSubstr("the header, is damaged or missing"));
        EXPECT_EQ(decoded_samples(), 0u);
      } else if (page + 1 == pages.size()) {
        EXPECT_THAT(result.err, HasSubstr("cut short: decoded "));
        EXPECT_LT(decoded_samples(), samples);
      } else {
        EXPECT_THAT(result.err,
                    HasSubstr(page == 1 ? "comments not read" : "lost units in 1 hole"));
        EXPECT_EQ(decoded_samples(), samples);
      }
    }
  }
}

TEST_F(QuelDamage, AWavWhoseLengthsWereNeverPutInIsCodedToItsEnd) {
  Bytes bytes = wav();
  const Bytes whole = encoded("in.wav");
  for (const std::uint32_t riff : {0u, 36u}) {
    put_number(bytes, 4, riff, 4);
    put_number(bytes, 40, 0, 4);
    write_bytes(path("killed.wav"), bytes);
    const ProgramResult result = quel({"encode", path("killed.wav"), path("c"), "-f"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(read_bytes(path("c")), whole);
    EXPECT_EQ(shell("$Q encode - - < killed.wav > c2").err, "");
    EXPECT_EQ(read_bytes(path("c2")), whole);
  }
  // Empty is not unknown.
  bytes.resize(44);
  write_bytes(path("empty.wav"), bytes);
  write_audio(path("none.wav"), wav16, 8000, 1, std::vector<std::int16_t>{});
  EXPECT_EQ(encoded("empty.wav"), encoded("none.wav"));
}

TEST_F(QuelDamage, SoundThatIsCutShortIsCodedAndTold) {
  for (const int format : {wav16, SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM,
                           SF_FORMAT_RF64 | SF_FORMAT_PCM_16, SF_FORMAT_AIFF | SF_FORMAT_PCM_16}) {
    SCOPED_TRACE(format);
    write_audio(path("in"), format, 8000, 1, loud_speech(3000, 1));
    Bytes bytes = read_bytes(path("in"));
    for (const std::string reads :
         {"$Q encode in c -f", "$Q encode - c -f < in", "cat in | $Q encode - c -f"}) {
      EXPECT_EQ(shell(reads).err, "") << reads;
    }
    bytes.resize(bytes.size() - 1000);
    write_bytes(path("in"), bytes);
    expect_cut("$Q encode in c -f", "quel: in: cut short: coded 0.");
    expect_cut("$Q encode - c -f < in", "quel: standard input: cut short: coded 0.");
    expect_cut("cat in | $Q encode - c -f", "quel: standard input: cut short: coded 0.");
  }
}

TEST_F(QuelDamage, SoundThatIsCutBeforeItsFirstSampleIsCutShort) {
  const Bytes whole = wav();
  for (const std::size_t bytes : {41u, 42u, 43u, 44u}) {
    SCOPED_TRACE(bytes);
    write_bytes(path("in"),
                Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(bytes)));
    expect_cut("$Q encode in c -f", "quel: in: cut short: coded 0.000 s", 0);
    expect_cut("cat in | $Q encode - c -f", "quel: standard input: cut short: coded 0.000 s", 0);
  }
}

TEST_F(QuelDamage, AFlacFileThatEndsBetweenFramesIsCutShort) {
  write_audio(path("in"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 8000, 1, loud_speech(12000, 1));
  Bytes bytes = read_bytes(path("in"));
  EXPECT_EQ(quel({"encode", path("in"), path("c")}).err, "");
  const Bytes sync = {0xff, 0xf8};
  bytes.erase(std::find_end(bytes.begin(), bytes.end(), sync.begin(), sync.end()), bytes.end());
  write_bytes(path("in"), bytes);
  expect_cut("$Q encode in c -f", "quel: in: cut short: coded 1.");
}

// Whole frames have 4096 samples; what is left of the one that is cut is no sound.
TEST_F(QuelDamage, AFlacFileThatEndsWithinAFrameIsCodedUpToThatFrame) {
  const std::vector<std::int16_t> pcm = loud_speech(12000, 1);
  write_audio(path("in"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 8000, 1, pcm);
  const Bytes whole = read_bytes(path("in"));
  const Bytes sync = {0xff, 0xf8};
  const auto last = std::find_end(whole.begin(), whole.end(), sync.begin(), sync.end());
  write_audio(path("start.wav"), wav16, 8000, 1,
              std::vector<std::int16_t>(pcm.begin(), pcm.begin() + 8192));
  ASSERT_EQ(shell("$Q encode start.wav start").err, "");
  for (const std::ptrdiff_t more : {1, 7, 100, 1000}) {
    SCOPED_TRACE(more);
    write_bytes(path("in"), Bytes(whole.begin(), last + more));
    const std::string cut = "cut short: coded 1.024 s of 1.500 s\n";
    expect_cut("$Q encode in c -f", "quel: in: " + cut, 8192);
    EXPECT_EQ(read_bytes(path("c")), read_bytes(path("start")));
    expect_cut("cat in | $Q encode - c -f", "quel: standard input: " + cut, 8192);
  }
}

// Samples at a place that the lengths do not lead to, and chunks at a place that they do.
TEST_F(QuelDamage, SamplesBehindALengthOfZeroAreCodedWhereTheFileSaysThatThereIsMore) {
  Bytes bytes = wav();
  const Bytes whole = encoded("in.wav");
  put_number(bytes, 40, 0, 4);
  write_bytes(path("zero.wav"), bytes);
  EXPECT_EQ(encoded("zero.wav"), whole);
  EXPECT_EQ(shell("cat zero.wav | $Q encode - c2").err, "");
  EXPECT_EQ(read_bytes(path("c2")), whole);
  bytes.resize(44);
  bytes.insert(bytes.end(), {'L', 'I', 'S', 'T', 4, 0, 0, 0, 'a', 'b', 'c', 'd'});
  put_number(bytes, 4, bytes.size() - 8, 4);
  write_bytes(path("empty.wav"), bytes);
  write_audio(path("none.wav"), wav16, 8000, 1, std::vector<std::int16_t>{});
  EXPECT_EQ(encoded("empty.wav"), encoded("none.wav"));
  EXPECT_EQ(shell("cat empty.wav | $Q encode - c2 -f").err, "");
  EXPECT_EQ(read_bytes(path("c2")), encoded("none.wav"));
}

TEST_F(QuelDamage, WhatIsCodedAlreadyIsSaidToBe) {
  wav();
  encoded("in.wav");
  const std::string already = ": is coded already; quel decode makes sound of it\n";
  EXPECT_EQ(quel({"encode", path("c"), path("again")}).err, "quel: " + path("c") + already);
  EXPECT_EQ(shell("cat c | $Q encode - again").err, "quel: standard input" + already);
  EXPECT_EQ(quel({"eval", path("c")}).err, "quel: " + path("c") + already);
  EXPECT_FALSE(exists(path("again")));
}

TEST_F(QuelDamage, ALengthThatNobodyKnewIsNoCut) {
  Bytes bytes = wav();
  const Bytes whole = encoded("in.wav");
  for (const std::uint32_t length : {0x7fffffffu, 0x7ffff000u, 0xffffffffu}) {
    put_number(bytes, 4, length, 4);
    put_number(bytes, 40, length, 4);
    write_bytes(path("open.wav"), bytes);
    EXPECT_EQ(quel({"encode", path("open.wav"), path("c"), "-f"}).err, "");
    EXPECT_EQ(read_bytes(path("c")), whole);
  }
}

}  // namespace
}  // namespace quel::test
