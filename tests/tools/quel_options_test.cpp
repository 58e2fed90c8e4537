// Options of quel that no other test here turns to, each by its effect.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/ogg_support.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelOptions : public ToolTest {
 protected:
  void make_input(int samples, int rate = 8000) {
    write_audio(path("in.wav"), wav16, rate, 1, loud_speech(samples, 1, rate));
  }
  /// A line of shell in the test's folder, with the program as $Q.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh",
                       {"-c", "cd \"$1\" && Q=\"$2\" && " + line, "sh", path(""), QUEL_PROGRAM});
  }
  void run(const std::string& line) {
    const ProgramResult result = shell(line);
    ASSERT_EQ(result.status, 0) << line;
    ASSERT_EQ(result.out + result.err, "") << line;
  }
  Bytes file(const std::string& name) { return read_bytes(path(name)); }
  Pcm sound(const std::string& name) { return load_audio(path(name)).samples; }
};

TEST_F(QuelOptions, PacketsAndPagesHaveTheLengthsAskedFor) {
  make_input(16000);
  const auto count = [&](const std::string& options) {
    run("$Q encode in.wav c -f --flavor 8.5" + options);
    return page_spans(file("c")).size() - 2;  // headers apart
  };
  // 112 units of 18 ms, by default in packets of 13, of which a page has 9.
  EXPECT_EQ(count(""), 1u);
  EXPECT_EQ(count(" --page-ms 250"), 9u);
  EXPECT_EQ(count(" --page-ms 250 --packet-ms 18"), 8u);  // 14 units
  EXPECT_EQ(count(" --page-ms 1"), 9u);
  EXPECT_EQ(count(" --page-ms 1 --packet-ms 1"), 112u);
  // A packet's length is in its page's table, in pieces of 255.
  run("$Q encode in.wav c -f --flavor 8.5 --packet-ms 36 --page-ms 36");
  const Bytes coded = file("c");
  const PageSpan page = page_spans(coded)[2];
  EXPECT_EQ(coded.at(page.start + 26), 1);
  EXPECT_EQ(coded.at(page.start + 27), 38);
}

TEST_F(QuelOptions, APartIsThatPartOfTheWhole) {
  make_input(5 * 16000, 16000);
  for (const std::string flavor : {"0", "1", "2", "3"}) {
    SCOPED_TRACE(flavor);
    const double rate = flavor == "3" ? 16000.0 : 8000.0;
    run("$Q encode in.wav c -f --flavor " + flavor + " && $Q decode c whole.wav -f");
    const Pcm whole = sound("whole.wav");
    struct Case {
      std::string options;
      double from, to;
    };
    for (const Case& part :
         {Case{"--start 0", 0, 5}, Case{"--start 4.654321", 4.654321, 5},
          Case{"--length 2.5", 0, 2.5}, Case{"--start 0.5 --length 0", 0.5, 0.5},
          Case{"--start 4 --length 0.5", 4, 4.5}, Case{"--start 6 --length 1e9", 5, 5}}) {
      SCOPED_TRACE(part.options);
      const auto from = static_cast<std::ptrdiff_t>(std::llround(part.from * rate));
      const auto to = static_cast<std::ptrdiff_t>(std::llround(part.to * rate));
      const Pcm wanted(whole.begin() + from, whole.begin() + to);
      run("$Q decode c part.wav -f " + part.options);
      const Pcm heard = sound("part.wav");
      ASSERT_EQ(heard.size(), wanted.size());
      // A decoder that starts ahead of the place differs by roundings (docs/ogg-mapping.md).
      for (std::size_t i = 0; i < heard.size(); ++i) ASSERT_LE(std::abs(heard[i] - wanted[i]), 1);
      if (part.to != 4.5) continue;
      // In a pipe nothing is sought: all before the place is decoded.
      run("cat c | $Q decode - pipe.wav -f " + part.options);
      EXPECT_EQ(sound("pipe.wav"), wanted);
    }
  }
}

TEST_F(QuelOptions, APartOfOtherRatesLossesAndBareUnits) {
  make_input(5 * 8000);
  run("$Q encode in.wav c && $Q encode in.wav u --raw && $Q decode c whole.wav");
  run("$Q decode c part.wav --start 4 --length 0.5 --rate 48000");
  EXPECT_EQ(sound("part.wav").size(), 24000u);
  run("$Q decode u bare.wav --raw --flavor 8.5 --start 1 --length 0.25");
  const Pcm whole = sound("whole.wav");
  EXPECT_EQ(sound("bare.wav"), Pcm(whole.begin() + 8000, whole.begin() + 10000));
  // The same frames are lost as without the options.
  ASSERT_EQ(
      shell("$Q decode c lossy.wav --loss 20 && $Q decode c some.wav --loss 20 --start 3").status,
      0);
  const Pcm lossy = sound("lossy.wav");
  EXPECT_EQ(sound("some.wav"), Pcm(lossy.begin() + 24000, lossy.end()));
}

TEST_F(QuelOptions, APartOfADamagedFileIsSoundWhereItIsThere) {
  make_input(10 * 8000);
  run("$Q encode in.wav c --flavor 8.5");
  Bytes bytes = file("c");
  bytes.resize(bytes.size() - 5);
  write_bytes(path("c"), bytes);
  // Who reads on to the cut is told of it.
  const ProgramResult early = shell("cat c | $Q decode - a.wav --start 1 --length 1");
  EXPECT_EQ(early.status, 0);
  EXPECT_EQ(early.err, "");
  EXPECT_EQ(sound("a.wav").size(), 8000u);
  const ProgramResult sought = shell("$Q decode c b.wav --start 1 --length 1");
  EXPECT_EQ(sought.status, 1);
  EXPECT_THAT(sought.err, HasSubstr("quel: c: cut short behind what was decoded\n"));
  EXPECT_EQ(sound("b.wav").size(), 8000u);
  const ProgramResult rest = shell("$Q decode c d.wav --start 1");
  EXPECT_EQ(rest.status, 1);
  EXPECT_THAT(rest.err, HasSubstr("quel: c: cut short: decoded "));
  EXPECT_GT(sound("d.wav").size(), 50000u);
  // Counted is what was written, from a pipe too.
  const ProgramResult piped = shell("cat c | $Q decode - e.wav --start 1 --rate 16000");
  EXPECT_THAT(piped.err, HasSubstr("cut short: decoded " + std::to_string(sound("e.wav").size()) +
                                   " samples\n"));
}

TEST_F(QuelOptions, GainIsThatManyDecibels) {
  make_input(8000);
  const Pcm source = sound("in.wav");
  Pcm half;
  for (const std::int16_t x : source)
    half.push_back(static_cast<std::int16_t>(std::lrint(0.5 * x)));
  write_audio(path("half.wav"), wav16, 8000, 1, half);
  // -20 log10(2): the same as a source of half the level, rounding apart, hence not the same bits.
  const std::string down = " --gain -6.020599913279624";
  run("$Q encode half.wav a && $Q encode in.wav b" + down +
      " && $Q decode a a.wav && $Q decode b b.wav");
  const auto energy = [&](const std::string& name) {
    double sum = 0.0;
    for (const std::int16_t x : sound(name)) sum += static_cast<double>(x) * x;
    return sum;
  };
  EXPECT_NEAR(energy("b.wav") / energy("a.wav"), 1.0, 0.05);
  run("$Q decode a quiet.wav" + down);
  EXPECT_NEAR(energy("quiet.wav") / energy("a.wav"), 0.25, 0.001);
}

TEST_F(QuelOptions, CommentsComeBackThroughInfo) {
  make_input(2000);
  run("$Q encode in.wav c --comment TITLE=Tea --comment 'artist=Zo\u00eb, and a = b'");
  const ProgramResult text = shell("$Q info c");
  EXPECT_THAT(text.out, HasSubstr("TITLE=Tea\n"));
  EXPECT_THAT(text.out, HasSubstr("artist=Zo\u00eb, and a = b\n"));
  const ProgramResult json = shell("$Q info --json c");
  EXPECT_THAT(json.out, HasSubstr("{\"name\":\"TITLE\",\"value\":\"Tea\"}"));
}

TEST_F(QuelOptions, TheBehaviourIsNotForTheUserOfAnEncoderToSay) {
  make_input(2000);
  for (const std::string name : {"QUEL_BEHAVIOUR", "quel_behaviour"}) {
    const ProgramResult result = shell("$Q encode in.wav c --comment " + name + "=2");
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err,
                HasSubstr("the comment QUEL_BEHAVIOUR is there already and can be only once"));
  }
  EXPECT_THAT(names(), ElementsAre("in.wav"));
}

TEST_F(QuelOptions, StandardInputIsReadAndNamedByEveryCommand) {
  make_input(2000);
  run("$Q encode in.wav c");
  EXPECT_THAT(shell("$Q info - < c").out, StartsWith("standard input\n"));
  EXPECT_EQ(shell("cat c | $Q dump -").out, shell("$Q dump c").out);
  for (const std::string call : {"info -", "dump -", "demux - o", "decode - o"}) {
    EXPECT_EQ(shell("echo x | $Q " + call).err,
              "quel: standard input: not a file made by quel encode\n");
  }
  EXPECT_THAT(shell("echo x | $Q mux - o --flavor 1").err,
              StartsWith("quel: standard input: 2 bytes"));
  EXPECT_THAT(shell("echo x | $Q mux - o --from-dump").err, StartsWith("quel: standard input: "));
  EXPECT_EQ(shell("$Q eval - < in.wav").err,
            "quel: standard input: eval reads its input more than once and needs a file\n");
  EXPECT_THAT(names(), ElementsAre("c", "in.wav"));
}

TEST_F(QuelOptions, ADumpComesThroughANamedPipe) {
  make_input(2000);
  run("$Q encode in.wav c && mkfifo p && { $Q dump c > p & $Q mux --from-dump p d; }");
  EXPECT_EQ(file("d"), file("c"));
}

TEST_F(QuelOptions, AnOutputThatTakesNothingIsTold) {
  make_input(2000);
  run("$Q encode in.wav c");
  for (const std::string call :
       {"--help", "--version", "encode --help", "--man", "--completions bash", "selftest", "info c",
        "dump c", "eval in.wav --flavor 1"}) {
    SCOPED_TRACE(call);
    const ProgramResult result = shell("$Q " + call + " > /dev/full");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quel: standard output: cannot be written\n");
  }
}

TEST_F(QuelOptions, SeedsThatAreNoneAreRefusedInPlainWords) {
  for (const std::string call : {"eval in.wav", "decode c o.wav"}) {
    for (const std::string seed : {"-1", "x", "1.5", "18446744073709551616"}) {
      const ProgramResult result = shell("$Q " + call + " --seed " + seed);
      EXPECT_EQ(result.status, 2);
      EXPECT_THAT(result.err, HasSubstr(seed + " is not a whole number from 0 to 1844"));
    }
  }
}

TEST_F(QuelOptions, RatesThatFlacLacksAreWrongUse) {
  make_input(2000);
  run("$Q encode in.wav c");
  for (const std::string output : {"o.flac", "o --format flac"}) {
    for (const std::string rate : {"1000000", "655360", "65537"}) {
      const ProgramResult result = shell("$Q decode c " + output + " --rate " + rate);
      EXPECT_EQ(result.status, 2) << output << ' ' << rate;
      EXPECT_THAT(result.err, HasSubstr("FLAC holds at most 655350 Hz"));
    }
  }
  EXPECT_THAT(names(), ElementsAre("c", "in.wav"));
  run("$Q decode c o.flac --rate 655350 && $Q decode c p.flac --rate 65535");
  run("$Q decode c q --rate 1000000 && $Q decode c o.flac --format wav --rate 65537 -f");
}

TEST_F(QuelOptions, EvalsSeedAndConcealmentCount) {
  make_input(16000);
  const auto figures = [&](const std::string& options) {
    std::string json = shell("$Q eval in.wav --flavor 1 --json - " + options).out;
    return json.substr(0, json.find("\"encode_speed\""));  // what follows is time
  };
  const std::string one = figures("--loss 20");
  EXPECT_EQ(figures("--loss 20 --seed 1 --conceal immediate"), one);
  EXPECT_THAT(one, HasSubstr("\"concealment\": \"immediate\""));
  const auto snr = [](const std::string& json) { return json.substr(json.find("\"snr_db\"")); };
  EXPECT_NE(snr(figures("--loss 20 --seed 2")), snr(one));
  EXPECT_NE(snr(figures("--loss 20 --conceal deferred")), snr(one));
  EXPECT_NE(snr(figures("--loss 10")), snr(one));
}

}  // namespace
}  // namespace quel::test
