// Outputs that have no name yet, and standard files that are missing, as a shell user meets them.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tools/output_file.h"
#include "tools/part_mark.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelPart : public ToolTest {
 protected:
  void SetUp() override { write_audio(path("in.wav"), wav16, 8000, 1, loud_speech(4000, 1)); }
  /// Q is quel, in the test's folder.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh", {"-c", "cd \"$1\" && Q=\"$2\" && export Q && " + line, "sh",
                                   path(""), QUEL_PROGRAM});
  }
  /// As a run marks what it writes.
  void mark_part(const std::string& name) {
    const int file = open(path(name).c_str(), O_RDWR);
    tools::mark(file);
    EXPECT_TRUE(tools::is_marked(file)) << "the file system keeps no extended attributes";
    close(file);
  }
  void write_text(const std::string& name, const std::string& text) {
    write_bytes(path(name), Bytes(text.begin(), text.end()));
  }
  std::string text(const std::string& name) {
    const Bytes bytes = read_bytes(path(name));
    return {bytes.begin(), bytes.end()};
  }
};

TEST_F(QuelPart, TwoRunsNeverWriteOneFile) {
  const Bytes start = {1, 2}, end = {3};
  {
    tools::OutputFile first(path("o"), false, "");
    first.write(start);
    const ProgramResult result = shell("$Q encode in.wav o");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "quel: o: another run is writing it\n");
    first.write(end);
    first.commit();
  }
  EXPECT_EQ(read_bytes(path("o")), (Bytes{1, 2, 3}));
  EXPECT_EQ(shell("$Q encode -f in.wav o && $Q encode in.wav other").err, "");
  EXPECT_EQ(text("o"), text("other"));
  EXPECT_THAT(names(), ElementsAre("in.wav", "o", "other"));
}

TEST_F(QuelPart, AnInputThatFailsCostsNoRescue) {
  for (const std::string call :
       {"encode typo.wav keep", "decode typo keep", "mux --flavor 1 typo keep",
        "mux --from-dump typo keep", "demux typo keep", "eval typo.wav --html keep",
        "encode -f bad keep", "decode bad keep", "mux --from-dump bad keep",
        "encode - keep < bad"}) {
    SCOPED_TRACE(call);
    write_text("bad", "this is no sound");
    write_text("keep.part", "rescue");
    mark_part("keep.part");
    EXPECT_EQ(shell("$Q " + call).status, 1);
    EXPECT_EQ(text("keep.part"), "rescue");
    ASSERT_TRUE(fs::remove(path("keep.part")));
    EXPECT_EQ(shell("$Q " + call).status, 1);
    EXPECT_THAT(names(), ElementsAre("bad", "in.wav"));
  }
  // What was longer leaves nothing behind the new file's end.
  write_text("keep.part", std::string(100000, 'x'));
  mark_part("keep.part");
  ASSERT_EQ(shell("$Q encode in.wav keep && $Q encode in.wav other").err, "");
  EXPECT_EQ(text("keep"), text("other"));
}

TEST_F(QuelPart, ALinkInThePartsPlaceIsNotFollowed) {
  for (const std::string link : {"ln -s", "ln"}) {
    SCOPED_TRACE(link);
    write_text("precious", "precious");
    ASSERT_EQ(shell(link + " precious o.part").status, 0);
    EXPECT_EQ(shell("$Q encode in.wav o").status, 1);
    EXPECT_EQ(text("precious"), "precious");
    EXPECT_THAT(names(), ElementsAre("in.wav", "o.part", "precious"));
    ASSERT_EQ(shell("rm o.part").status, 0);
  }
}

TEST_F(QuelPart, ALinkToAFileThatIsToComeStaysALink) {
  ASSERT_EQ(shell("mkdir far && ln -s far/real near && ln -s near link").status, 0);
  EXPECT_EQ(shell("$Q encode in.wav link && $Q encode in.wav other").err, "");
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_TRUE(fs::is_symlink(path("near")));
  EXPECT_EQ(read_bytes(path("far/real")), read_bytes(path("other")));
  EXPECT_EQ(shell("ln -s loop loop; $Q encode in.wav loop").err,
            "quel: loop: Too many levels of symbolic links\n");
  EXPECT_TRUE(fs::is_symlink(path("loop")));
}

TEST_F(QuelPart, WhatAnotherProgramMadeIsLeftAlone) {
  for (const std::string call : {"encode -f in.wav o", "decode c o", "demux c o"}) {
    ASSERT_EQ(shell("$Q encode -f in.wav c").err, "");
    write_text("o.part", "a download");
    EXPECT_EQ(shell("$Q " + call).err,
              "quel: o.part: is there already, and quel did not make it; "
              "the output needs another name\n");
    EXPECT_EQ(text("o.part"), "a download");
    EXPECT_FALSE(exists(path("o")));
    // An empty file holds nothing that could be lost.
    write_text("o.part", "");
    EXPECT_EQ(shell("$Q " + call).err, "");
    EXPECT_THAT(names(), ElementsAre("c", "in.wav", "o"));
    ASSERT_TRUE(fs::remove(path("o")));
  }
}

TEST_F(QuelPart, NoMarkStaysOnWhatIsDone) {
  ASSERT_EQ(shell("$Q encode in.wav c").err, "");
  const int file = open(path("c").c_str(), O_RDONLY);
  EXPECT_FALSE(tools::is_marked(file));
  close(file);
}

// A file of zeros that takes no room on the disk and some time to code.
TEST_F(QuelPart, AnInterruptedRunRemovesWhatCanBeMadeAgain) {
  for (const std::string signal : {"INT", "TERM", "HUP"}) {
    SCOPED_TRACE(signal);
    const ProgramResult result = shell(
        "truncate -s 200M zeros.raw && { env --default-signal=INT --default-signal=HUP \"$Q\" "
        "encode zeros.raw c --raw-rate 8000 & run=$!; while ! [ -s c.part ]; do i=$((i+1)); "
        "[ $i -lt 1000 ] || break; sleep 0.01; done; kill -" +
        signal + " $run; wait $run; echo $?; rm zeros.raw; }");
    EXPECT_EQ(result.out, signal == "INT" ? "130\n" : signal == "TERM" ? "143\n" : "129\n");
    EXPECT_THAT(result.err, Not(HasSubstr("quel")));  // the shell itself may tell of the signal
    EXPECT_THAT(names(), ElementsAre("in.wav"));
  }
}

TEST_F(QuelPart, AnInterruptedRunSaysWhyItLeavesWhatCannot) {
  const ProgramResult result = shell(
      "mkfifo pipe && { exec 3<>pipe; head -c 4044 in.wav >&3 & env --default-signal=INT \"$Q\" "
      "encode pipe "
      "c --page-ms 18 & run=$!; while ! [ -s c.part ]; do i=$((i+1)); [ $i -lt 1000 ] || break; "
      "sleep 0.01; done; kill -INT $run; wait $run; echo $?; rm pipe; }");
  EXPECT_EQ(result.out, "130\n");
  EXPECT_EQ(result.err,
            "quel: interrupted: c.part stays, with what came so far, since its input "
            "cannot be read again\n");
  EXPECT_THAT(names(), ElementsAre("c.part", "in.wav"));
}

TEST_F(QuelPart, DevicesAndPipesAreWrittenStraightThrough) {
  ASSERT_EQ(shell("$Q encode in.wav c && $Q decode c o.wav && $Q decode c - | cat > p.wav").err,
            "");
  for (const std::string out : {"/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"}) {
    EXPECT_EQ(shell("$Q decode c " + out + " | cat > p2.wav").err, "") << out;
    EXPECT_EQ(text("p2.wav"), text("p.wav")) << out;
  }
  EXPECT_EQ(shell("$Q decode c /dev/stdout > o2.wav").err, "");
  EXPECT_EQ(text("o2.wav"), text("o.wav"));
  EXPECT_EQ(shell("mkfifo pipe && { cat pipe > p3.wav & $Q decode c pipe; wait; }").err, "");
  EXPECT_EQ(text("p3.wav"), text("p.wav"));
  EXPECT_EQ(shell("mkfifo more && { cat more > c2 & $Q encode in.wav more; wait; }").err, "");
  EXPECT_EQ(text("c2"), text("c"));
  EXPECT_EQ(shell("$Q encode in.wav /dev/null").err, "");
  EXPECT_EQ(shell("$Q decode c /dev/full").err, "quel: /dev/full: No space left on device\n");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_EQ(shell("mkdir d; $Q encode in.wav d").err, "quel: d: not a regular file\n");
}

TEST_F(QuelPart, ANameThatSaysOtherThanWhatIsWrittenIsRefused) {
  ASSERT_EQ(shell("$Q encode in.wav c.quel").err, "");
  for (const std::string call :
       {"encode in.wav y.wav", "encode in.wav y.MP3", "encode in.wav y.ogg", "encode in.wav y.raw",
        "decode c.quel b.mp3", "decode c.quel b.ogg", "decode c.quel b.quel",
        "decode c.quel b.units", "decode c.quel b.m4a"}) {
    const ProgramResult result = shell("$Q " + call);
    EXPECT_EQ(result.status, 2) << call;
    EXPECT_THAT(result.err, HasSubstr("or say --format")) << call;
  }
  EXPECT_THAT(names(), ElementsAre("c.quel", "in.wav"));
  EXPECT_EQ(shell("$Q encode in.wav y.wav --format quel && $Q encode in.wav y.raw --raw && "
                  "$Q encode in.wav y.units --format units && $Q decode c.quel b.mp3 --format wav "
                  "&& $Q decode c.quel b.dat && $Q decode c.quel b.wav")
                .err,
            "");
  EXPECT_EQ(text("y.wav"), text("c.quel"));
  EXPECT_EQ(text("y.raw"), text("y.units"));
  EXPECT_EQ(text("b.mp3"), text("b.wav"));
}

TEST_F(QuelPart, AnEmptyNameIsNoFile) {
  EXPECT_EQ(shell("$Q encode in.wav ''").err,
            "the output has an empty name\nRun with --help for more information.\n");
  for (const std::string call :
       {"encode in.wav ''", "encode '' o", "decode '' o", "encode '' --output-dir d"}) {
    EXPECT_EQ(shell("$Q " + call).status, 2) << call;
  }
  ASSERT_EQ(shell("$Q encode in.wav c").err, "");
  EXPECT_EQ(shell("$Q demux c ''").err, "quel: c: the output has an empty name\n");
  EXPECT_THAT(names(), ElementsAre("c", "in.wav"));
}

TEST_F(QuelPart, AClosedStandardInputIsAFailure) {
  for (const std::string call :
       {"encode - x --raw-rate 8000", "encode - x", "decode - x", "decode --raw --flavor 1 - x",
        "mux --flavor 1 - x", "demux - x", "info -", "dump -"}) {
    SCOPED_TRACE(call);
    const ProgramResult result = shell("$Q " + call + " <&-");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("quel: standard input: Bad file descriptor\n"));
    EXPECT_THAT(names(), ElementsAre("in.wav"));
  }
  EXPECT_EQ(shell("$Q mux --from-dump - x <&-").status, 1);
}

TEST_F(QuelPart, ClosedStandardOutputAndErrorReachNoFile) {
  ASSERT_EQ(shell("$Q encode in.wav c && $Q decode c c.wav").err, "");
  EXPECT_EQ(shell("$Q encode in.wav - >&-").err, "quel: standard output: Bad file descriptor\n");
  EXPECT_EQ(shell("$Q info c >&-").status, 1);
  EXPECT_EQ(shell("$Q decode c o.wav <&- >&- 2>&-").status, 0);
  EXPECT_EQ(read_bytes(path("o.wav")), read_bytes(path("c.wav")));
  EXPECT_EQ(shell("$Q encode none.wav o 2>&-").status, 1);
  EXPECT_THAT(names(), ElementsAre("c", "c.wav", "in.wav", "o.wav"));
}

}  // namespace
}  // namespace quel::test
