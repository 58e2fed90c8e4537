// What quel reads and writes: pipes, rates, channels, formats.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tools/tool_support.h"

namespace quel::test {
namespace {

using Pcm = std::vector<std::int16_t>;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelIo : public ToolTest {
 protected:
  ProgramResult quel(const std::vector<std::string>& arguments) {
    return run_program(QUEL_PROGRAM, arguments);
  }
  /// A line of shell in the test's folder, with the program as $Q.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh",
                       {"-c", "cd \"$1\" && Q=\"$2\" && " + line, "sh", path(""), QUEL_PROGRAM});
  }
  void make_input(int samples = 8000, int rate = 8000) {
    write_audio(path("in.wav"), wav16, rate, 1, loud_speech(samples, 1, rate));
  }
  Bytes file(const std::string& name) { return read_bytes(path(name)); }
};

TEST_F(QuelIo, PipesBothWaysGiveTheFilesBytes) {
  make_input();
  ASSERT_EQ(shell("$Q encode in.wav c && $Q decode c out.wav").status, 0);
  EXPECT_EQ(shell("cat in.wav | $Q encode - - | cat > c2").err, "");
  EXPECT_EQ(file("c2"), file("c"));
  EXPECT_EQ(shell("$Q encode - - < in.wav > c3").err, "");
  EXPECT_EQ(file("c3"), file("c"));
  // Both at once, and into a file, whose header is then put right.
  EXPECT_EQ(shell("cat in.wav | $Q encode - - | $Q decode - - > out2.wav").err, "");
  EXPECT_EQ(file("out2.wav"), file("out.wav"));
  EXPECT_EQ(shell("cat c | $Q decode - - | cat > out3.wav").err, "");
  // Through a pipe the header says "up to the end"; the samples are the same.
  Bytes piped = file("out3.wav"), whole = file("out.wav");
  ASSERT_EQ(piped.size(), whole.size());
  EXPECT_TRUE(std::equal(piped.begin() + 44, piped.end(), whole.begin() + 44));
  EXPECT_EQ(Bytes(piped.begin() + 40, piped.begin() + 44), Bytes(4, 0xff));
  // Such a stream is read by its end.
  EXPECT_EQ(shell("cat out3.wav | $Q encode - c4 && $Q encode out.wav c5").err, "");
  EXPECT_EQ(file("c4"), file("c5"));
}

TEST_F(QuelIo, WavOfUnknownLengthOnAPipe) {
  make_input(5000);
  ASSERT_EQ(quel({"encode", path("in.wav"), path("c")}).status, 0);
  const Bytes whole = file("in.wav");
  for (const std::uint32_t length : {0u, 0x7ffff000u, 0x7fffffffu, 0xfffffff0u, 0xffffffffu}) {
    Bytes bytes = whole;
    for (std::size_t i = 0; i < 4; ++i) {
      bytes[4 + i] = bytes[40 + i] = static_cast<std::uint8_t>(length >> (8 * i));
    }
    write_bytes(path("unknown"), bytes);
    EXPECT_EQ(shell("cat unknown | $Q encode - - | cat > c2").err, "");
    EXPECT_EQ(file("c2"), file("c")) << length;
  }
  // Chunks behind the samples are no sound where the length is known.
  Bytes bytes = whole;
  bytes.insert(bytes.end(), {'L', 'I', 'S', 'T', 4, 0, 0, 0, 'a', 'b', 'c', 'd'});
  write_bytes(path("chunk"), bytes);
  EXPECT_EQ(shell("cat chunk | $Q encode - - | cat > c3").err, "");
  EXPECT_EQ(file("c3"), file("c"));
}

TEST_F(QuelIo, Rf64OnAPipeByItsOwnLengthOrNone) {
  const Pcm pcm = loud_speech(3000, 2);
  write_audio(path("in.wav"), wav16, 8000, 1, pcm);
  write_audio(path("in.rf64"), SF_FORMAT_RF64 | SF_FORMAT_PCM_16, 8000, 1, pcm);
  ASSERT_EQ(quel({"encode", path("in.wav"), path("c")}).status, 0);
  const Bytes whole = file("in.rf64");
  const std::string text(whole.begin(), whole.end());
  ASSERT_EQ(text.substr(0, 4), "RF64");
  const std::size_t ds64 = text.find("ds64"), data = text.find("data");
  ASSERT_NE(ds64, std::string::npos);
  // Chunks behind the samples, which the length of ds64 leaves out.
  Bytes bytes = whole;
  bytes.insert(bytes.end(), {'L', 'I', 'S', 'T', 4, 0, 0, 0, 'a', 'b', 'c', 'd'});
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(data) + 4, 4, std::uint8_t{255});
  write_bytes(path("chunk"), bytes);
  EXPECT_EQ(shell("cat chunk | $Q encode - - | cat > c2").err, "");
  EXPECT_EQ(file("c2"), file("c"));
  // A program that did not know: up to the end.
  for (const std::uint8_t byte : {std::uint8_t{0}, std::uint8_t{255}}) {
    bytes = whole;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(data) + 4, 4, std::uint8_t{255});
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(ds64) + 8, 24, byte);
    write_bytes(path("unknown"), bytes);
    EXPECT_EQ(shell("cat unknown | $Q encode - - | cat > c3").err, "");
    EXPECT_EQ(file("c3"), file("c"));
  }
}

TEST_F(QuelIo, EveryFormatFromAPipeAsFromAFile) {
  const Pcm pcm = loud_speech(3000, 2);
  std::vector<float> scaled;  // beyond full scale there would be a word about it
  for (const std::int16_t x : pcm) scaled.push_back(static_cast<float>(x) / 32768.0f);
  const int formats[] = {SF_FORMAT_WAV | SF_FORMAT_PCM_U8,  SF_FORMAT_WAV | SF_FORMAT_PCM_24,
                         SF_FORMAT_WAV | SF_FORMAT_PCM_32,  SF_FORMAT_WAV | SF_FORMAT_FLOAT,
                         SF_FORMAT_WAV | SF_FORMAT_DOUBLE,  SF_FORMAT_WAV | SF_FORMAT_ALAW,
                         SF_FORMAT_WAV | SF_FORMAT_ULAW,    SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM,
                         SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, SF_FORMAT_RF64 | SF_FORMAT_PCM_16,
                         SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_AIFF | SF_FORMAT_PCM_16,
                         SF_FORMAT_AU | SF_FORMAT_PCM_16,   SF_FORMAT_OGG | SF_FORMAT_VORBIS,
                         SF_FORMAT_CAF | SF_FORMAT_PCM_16,  SF_FORMAT_W64 | SF_FORMAT_PCM_16};
  for (const int format : formats) {
    SCOPED_TRACE(format);
    const int coding = format & SF_FORMAT_SUBMASK;
    if (coding == SF_FORMAT_FLOAT || coding == SF_FORMAT_DOUBLE) {
      write_audio(path("a"), format, 8000, 1, scaled);
    } else {
      write_audio(path("a"), format, 8000, 1, pcm);
    }
    EXPECT_EQ(shell("$Q encode a c -f && cat a | $Q encode - - | cat > c2").err, "");
    EXPECT_EQ(file("c2"), file("c"));
    EXPECT_GT(file("c").size(), 300u);
  }
}

TEST_F(QuelIo, SevenRates) {
  for (const int rate : {6000, 8000, 11025, 16000, 44100, 48000, 192000}) {
    SCOPED_TRACE(rate);
    make_input(rate / 2, rate);
    ASSERT_EQ(shell("$Q encode in.wav c -f && $Q decode c out.wav -f").err, "");
    const Audio audio = load_audio(path("out.wav"));
    // The default flavor goes by the rate.
    EXPECT_EQ(audio.rate, rate >= 16000 ? 16000 : 8000);
    const int wanted = static_cast<int>(static_cast<double>(rate / 2) * audio.rate / rate + 0.5);
    EXPECT_EQ(audio.samples.size(), static_cast<std::size_t>(wanted));
  }
}

TEST_F(QuelIo, OneToEightChannels) {
  const Pcm mono = loud_speech(2000, 3);
  write_audio(path("mono.wav"), wav16, 8000, 1, mono);
  ASSERT_EQ(shell("$Q encode mono.wav mono").status, 0);
  for (int channels = 1; channels <= 8; ++channels) {
    SCOPED_TRACE(channels);
    // The mean of equal channels is each of them.
    Pcm all, last;
    for (const std::int16_t x : mono) {
      all.insert(all.end(), static_cast<std::size_t>(channels), x);
      last.insert(last.end(), static_cast<std::size_t>(channels - 1), 99);
      last.push_back(x);
    }
    write_audio(path("all.wav"), wav16, 8000, channels, all);
    write_audio(path("last.wav"), wav16, 8000, channels, last);
    const std::string n = std::to_string(channels);
    EXPECT_EQ(shell("$Q encode all.wav c1 -f && $Q encode last.wav c2 -f --channel " + n +
                    " && cat last.wav | $Q encode - c3 -f --channel " + n)
                  .err,
              "");
    EXPECT_EQ(file("c1"), file("mono"));
    EXPECT_EQ(file("c2"), file("mono"));
    EXPECT_EQ(file("c3"), file("mono"));
    const ProgramResult result =
        quel({"encode", path("all.wav"), path("x"), "--channel", std::to_string(channels + 1)});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quel: " + path("all.wav") + ": has no channel " +
                              std::to_string(channels + 1) + ", only " + n + "\n");
  }
}

TEST_F(QuelIo, NothingAndOneSample) {
  for (const int samples : {0, 1}) {
    for (const std::string flavor : {"6.5", "8.5", "5", "16"}) {
      SCOPED_TRACE(flavor);
      make_input(samples);
      ASSERT_EQ(shell("$Q encode in.wav c -f --flavor " + flavor +
                      " && $Q decode c out.wav -f && "
                      "cat in.wav | $Q encode - - --flavor " +
                      flavor + " | $Q decode - - > p.wav")
                    .err,
                "");
      EXPECT_EQ(load_audio(path("out.wav")).samples.size(),
                static_cast<std::size_t>(flavor == "16" ? 2 * samples : samples));
      EXPECT_EQ(file("p.wav"), file("out.wav"));
    }
  }
}

TEST_F(QuelIo, FlavorsHaveNumbersAndNames) {
  make_input();
  const char* const names[] = {"6.5", "8.5", "5", "16"};
  for (int flavor = 0; flavor < 4; ++flavor) {
    EXPECT_EQ(shell("$Q encode in.wav a -f --flavor " + std::to_string(flavor) +
                    " && $Q encode in.wav b -f --flavor " + names[flavor])
                  .err,
              "");
    EXPECT_EQ(file("a"), file("b"));
    EXPECT_EQ(file("a").at(28 + 20), flavor);  // last byte of the header packet
  }
}

TEST_F(QuelIo, BareSamplesInAndOut) {
  make_input(4000);
  const Pcm pcm = load_audio(path("in.wav")).samples;
  Bytes little, big;
  for (const std::int16_t x : pcm) {
    for (int channel = 0; channel < 2; ++channel) {
      little.insert(little.end(),
                    {static_cast<std::uint8_t>(x & 255), static_cast<std::uint8_t>(x >> 8 & 255)});
      big.insert(big.end(),
                 {static_cast<std::uint8_t>(x >> 8 & 255), static_cast<std::uint8_t>(x & 255)});
    }
  }
  write_bytes(path("little.raw"), little);
  write_bytes(path("big"), big);
  const std::string raw = " --raw-rate 8000 --raw-chan 2 --raw-endianness ";
  EXPECT_EQ(shell("$Q encode in.wav c && $Q encode little.raw c1" + raw +
                  "little && "
                  "$Q encode big c2" +
                  raw + "big && cat big | $Q encode - c3" + raw + "big")
                .err,
            "");
  EXPECT_EQ(file("c1"), file("c"));
  EXPECT_EQ(file("c2"), file("c"));
  EXPECT_EQ(file("c3"), file("c"));
  EXPECT_EQ(shell("$Q decode c o.wav && $Q decode c o.pcm && $Q decode c - --format raw > o2 && "
                  "$Q decode c o3.RAW --raw-endianness big && $Q decode c o.flac")
                .err,
            "");
  const Pcm heard = load_audio(path("o.wav")).samples;
  EXPECT_EQ(bytes_pcm(file("o.pcm")), heard);  // the tests' hosts are little-endian
  EXPECT_EQ(file("o2"), file("o.pcm"));
  Bytes swapped = file("o3.RAW");
  for (std::size_t i = 0; i + 1 < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
  EXPECT_EQ(swapped, file("o.pcm"));
  const Audio flac = load_audio(path("o.flac"));
  EXPECT_EQ(flac.format, SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
  EXPECT_EQ(flac.samples, heard);
}

TEST_F(QuelIo, BareUnits) {
  make_input(4000);
  ASSERT_EQ(shell("$Q encode in.wav c && $Q decode c o.wav && $Q encode in.wav u --raw && "
                  "cat u | $Q decode - o2.wav --raw --flavor 8.5")
                .err,
            "");
  EXPECT_EQ(file("u").size() % 19, 0u);
  Pcm heard = load_audio(path("o2.wav")).samples;
  heard.resize(4000);
  EXPECT_EQ(heard, load_audio(path("o.wav")).samples);
}

TEST_F(QuelIo, FlacThroughAPipeIsTheSameSound) {
  make_input();
  ASSERT_EQ(shell("$Q encode in.wav c").status, 0);
  EXPECT_EQ(shell("$Q decode c o.flac && $Q decode c - --format flac > o2.flac").err, "");
  EXPECT_EQ(file("o2.flac"), file("o.flac"));
  EXPECT_EQ(shell("$Q decode c - --format flac | cat > o3.flac").err, "");
  EXPECT_EQ(shell("$Q encode o.flac again && $Q encode o3.flac again3 && "
                  "$Q decode c - --format flac | $Q encode - again4")
                .err,
            "");
  EXPECT_EQ(file("again3"), file("again"));
  EXPECT_EQ(file("again4"), file("again"));
}

TEST_F(QuelIo, GainRatePacketsAndComments) {
  make_input();
  ASSERT_EQ(shell("$Q encode in.wav c").status, 0);
  EXPECT_EQ(shell("$Q encode in.wav t --comment 'TITLE=T\u00e9' --comment ARTIST=me").err, "");
  const Bytes tagged = file("t");
  const std::string text(tagged.begin(), tagged.end());
  EXPECT_THAT(text, HasSubstr("TITLE=T\u00e9"));
  EXPECT_THAT(text, HasSubstr("ARTIST=me"));
  EXPECT_EQ(shell("$Q encode in.wav p --packet-ms 20").err, "");
  EXPECT_GT(file("p").size(), file("c").size());
  EXPECT_EQ(shell("$Q decode p p.wav && $Q decode c c.wav").err, "");
  EXPECT_EQ(file("p.wav"), file("c.wav"));
  // Without sound left the codec gives what it gives for silence.
  EXPECT_EQ(shell("$Q encode in.wav g --gain -100 && $Q decode g g.wav").err, "");
  const Pcm quiet = load_audio(path("g.wav")).samples;
  EXPECT_TRUE(std::all_of(quiet.begin(), quiet.end(), [](int x) { return x > -50 && x < 50; }));
  EXPECT_EQ(shell("$Q decode c r.wav --rate 48000 --gain -6").err, "");
  EXPECT_EQ(load_audio(path("r.wav")).rate, 48000);
  EXPECT_EQ(load_audio(path("r.wav")).samples.size(), 48000u);
}

TEST_F(QuelIo, OddNames) {
  const std::string name = "two words \u00fc\u6f22 'quoted' $HOME";
  make_input();
  ASSERT_EQ(quel({"encode", path("in.wav"), path(name + ".quel")}).status, 0);
  ASSERT_EQ(quel({"decode", path(name + ".quel"), path(name + ".wav")}).status, 0);
  EXPECT_THAT(names(), ElementsAre("in.wav", name + ".quel", name + ".wav"));
}

TEST_F(QuelIo, AFullDeviceBehindStandardOutputIsAFailure) {
  make_input(80000);
  ASSERT_EQ(shell("$Q encode in.wav c").status, 0);
  for (const std::string line : {"$Q encode in.wav - > /dev/full", "$Q decode c - > /dev/full",
                                 "$Q decode c - --format raw > /dev/full"}) {
    const ProgramResult result = shell(line);
    EXPECT_EQ(result.status, 1) << line;
    EXPECT_EQ(result.err, "quel: standard output: No space left on device\n");
  }
}

TEST_F(QuelIo, AFullDiskFailsInEveryFormatAndLeavesNothing) {
  make_input(80000);
  ASSERT_EQ(shell("$Q encode in.wav c").status, 0);
  for (const std::string name : {"o.wav", "o.flac", "o.raw"}) {
    const ProgramResult result = run_program_limited("trap '' XFSZ && ulimit -f 8", QUEL_PROGRAM,
                                                     {"decode", path("c"), path(name)});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quel: " + path(name) + ": File too large\n");
  }
  EXPECT_THAT(names(), ElementsAre("c", "in.wav"));
}

TEST_F(QuelIo, AKilledRunLeavesWhatCanBeDecoded) {
  make_input(80000);
  ASSERT_EQ(shell("$Q encode in.wav whole && $Q decode whole whole.wav").status, 0);
  for (const std::string signal : {"INT", "KILL"}) {
    // Nine of ten seconds arrive, then nothing more: four pages of two seconds are full.
    // Shells start background programs deaf to SIGINT.
    const ProgramResult result = shell(
        "rm -f c.part; mkfifo pipe && { exec 3<>pipe; head -c 144044 in.wav >&3 & "
        "env --default-signal=INT \"$Q\" encode pipe c & "
        "run=$!; while ! [ -s c.part ] || [ $(stat -c %s c.part) -lt 8700 ]; do "
        "i=$((i+1)); [ $i -lt 1000 ] || break; sleep 0.01; done; kill -" +
        signal + " $run; wait $run; echo $?; rm pipe; }");
    EXPECT_EQ(result.out, signal == "KILL" ? "137\n" : "130\n");
    EXPECT_FALSE(exists(path("c")));
    const ProgramResult decoded = shell("$Q decode c.part part.wav -f");
    EXPECT_EQ(decoded.status, 1);
    EXPECT_THAT(decoded.err, HasSubstr("cut short: decoded "));
    const Pcm part = load_audio(path("part.wav")).samples,
              whole = load_audio(path("whole.wav")).samples;
    ASSERT_GT(part.size(), 60000u);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin()));
  }
  // A further run replaces what was left.
  EXPECT_EQ(shell("$Q encode in.wav c").err, "");
  EXPECT_EQ(file("c"), file("whole"));
  EXPECT_FALSE(exists(path("c.part")));
}

TEST_F(QuelIo, ATerminalGetsNoBytesButProgress) {
  if (shell("command -v script").status != 0) GTEST_SKIP() << "no script(1) to give a terminal";
  make_input(80000);
  const ProgramResult refused = shell("script -qec \"$Q encode in.wav -\" /dev/null < /dev/null");
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.out, HasSubstr("standard output: is a terminal"));
  // A pipe that stops for a while, so that the progress has something to tell.
  const auto on_terminal = [&](const std::string& options) {
    const std::string slow =
        "(head -c 80044 in.wav; sleep 0.5; tail -c +80045 in.wav) | \"$Q\" encode - c -f" + options;
    write_bytes(path("slow"), Bytes(slow.begin(), slow.end()));
    const ProgramResult result = shell("export Q && script -qec 'sh slow' /dev/null < /dev/null");
    EXPECT_EQ(result.status, 0);
    return result.out;
  };
  EXPECT_THAT(on_terminal(""), HasSubstr(" x real time"));
  EXPECT_EQ(on_terminal(" --quiet"), "");
}

}  // namespace
}  // namespace quel::test
