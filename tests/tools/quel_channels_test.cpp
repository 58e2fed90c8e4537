// Recordings of several channels, one file for each.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <string>
#include <vector>

#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelChannels : public ToolTest {
 protected:
  /// A line of shell in the test's folder, with the program as $Q.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh",
                       {"-c", "cd \"$1\" && Q=\"$2\" && " + line, "sh", path(""), QUEL_PROGRAM});
  }
  Bytes file(const std::string& name) { return read_bytes(path(name)); }
  /// "call.wav" of so many channels, and "1.wav", "2.wav", ... with one of them each.
  void make_call(int channels, int rate = 8000) {
    std::vector<std::vector<std::int16_t>> sounds;
    std::vector<std::int16_t> joint;
    for (int c = 1; c <= channels; ++c) {
      sounds.push_back(loud_speech(rate, static_cast<std::uint64_t>(c), rate));
      write_audio(path(std::to_string(c) + ".wav"), wav16, rate, 1, sounds.back());
    }
    for (std::size_t n = 0; n < sounds[0].size(); ++n) {
      for (const auto& sound : sounds) joint.push_back(sound[n]);
    }
    write_audio(path("call.wav"), wav16, rate, channels, joint);
  }
};

TEST_F(QuelChannels, EachChannelHasAFileOfItsOwn) {
  for (const int channels : {1, 2, 3}) {
    for (const int rate : {8000, 44100}) {
      SCOPED_TRACE(::testing::Message() << channels << ' ' << rate);
      make_call(channels, rate);
      EXPECT_EQ(shell("$Q encode call.wav out.quel --channel each -f").err, "");
      EXPECT_EQ(shell("cat call.wav | $Q encode - piped --channel each -f --raw").err, "");
      for (int c = 1; c <= channels; ++c) {
        const std::string n = std::to_string(c);
        ASSERT_EQ(
            shell("$Q encode " + n + ".wav one -f && $Q encode " + n + ".wav bare -f --raw").err,
            "");
        EXPECT_EQ(file("out." + n + ".quel"), file("one"));
        EXPECT_EQ(file("piped." + n), file("bare"));
      }
      EXPECT_FALSE(exists(path("out." + std::to_string(channels + 1) + ".quel")));
      EXPECT_FALSE(exists(path("out.quel")));
    }
  }
}

TEST_F(QuelChannels, AFolderOfCalls) {
  make_call(2);
  ASSERT_EQ(shell("mkdir in && mv call.wav in && cp 1.wav in/mono.wav").status, 0);
  EXPECT_EQ(shell("$Q encode in --output-dir out --channel each").err, "");
  EXPECT_EQ(shell("ls out").out, "call.1.quel\ncall.2.quel\nmono.1.quel\nquel-manifest.tsv\n");
  for (const std::string n : {"1", "2"}) {
    ASSERT_EQ(shell("$Q encode " + n + ".wav one -f").err, "");
    EXPECT_EQ(file("out/call." + n + ".quel"), file("one"));
  }
  // Done is done, each by itself.
  ASSERT_EQ(shell("touch -d '2001-02-03' out/call.1.quel && rm out/call.2.quel").status, 0);
  EXPECT_EQ(shell("$Q encode in --output-dir out --channel each").err, "");
  EXPECT_EQ(shell("stat -c %Y out/call.1.quel").out, shell("date -d '2001-02-03' +%s").out);
  EXPECT_EQ(file("out/call.2.quel"), file("one"));
}

TEST_F(QuelChannels, AllOrNothing) {
  make_call(2);
  write_bytes(path("out.2.quel"), Bytes(1));
  const ProgramResult result = shell("$Q encode call.wav out.quel --channel each");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: out.2.quel: exists already (--force replaces it)\n");
  EXPECT_EQ(shell("$Q encode none.wav out.quel --channel each").status, 1);
  EXPECT_THAT(names(), ElementsAre("1.wav", "2.wav", "call.wav", "out.2.quel"));
}

TEST_F(QuelChannels, WhatIsNoChannelIsWrongUse) {
  make_call(1);
  for (const std::string channel : {"0", "every", "1025", "-1", "1.5"}) {
    const ProgramResult result = shell("$Q encode call.wav out --channel " + channel);
    EXPECT_EQ(result.status, 2) << channel;
    EXPECT_THAT(result.err, HasSubstr(channel + " is neither a channel, from 1, nor each"));
  }
  const ProgramResult result = shell("$Q encode call.wav - --channel each");
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.err, HasSubstr("each channel needs a file of its own, and - is one output"));
}

}  // namespace
}  // namespace quel::test
