// Outputs that have no name yet, and standard files that are missing, as a shell user meets them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <filesystem>
#include <string>

#include "tools/output_file.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelPart : public ToolTest {
 protected:
  void SetUp() override { write_audio(path("in.wav"), wav16, 8000, 1, loud_speech(4000, 1)); }
  /// Q is quel, in the test's folder.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh", {"-c", "cd \"$1\" && Q=\"$2\" && export Q && " + line, "sh",
                                   path(""), QUEL_PROGRAM});
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
    EXPECT_EQ(shell("$Q " + call).status, 1);
    EXPECT_EQ(text("keep.part"), "rescue");
    ASSERT_TRUE(fs::remove(path("keep.part")));
    EXPECT_EQ(shell("$Q " + call).status, 1);
    EXPECT_THAT(names(), ElementsAre("bad", "in.wav"));
  }
  // What was longer leaves nothing behind the new file's end.
  write_text("keep.part", std::string(100000, 'x'));
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

TEST_F(QuelPart, APipeUnderAnotherNameIsNoRegularFile) {
  ASSERT_EQ(shell("$Q encode in.wav c").status, 0);
  const ProgramResult result = shell("{ $Q decode c /dev/stdout; echo $? >status; } | cat");
  EXPECT_EQ(text("status"), "1\n");
  EXPECT_EQ(result.err, "quel: /dev/stdout: not a regular file\n");
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
