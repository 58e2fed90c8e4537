// Inputs out of a list.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <string>

#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::HasSubstr;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelList : public ToolTest {
 protected:
  /// A line of shell in the test's folder, with the program as $Q.
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh",
                       {"-c", "cd \"$1\" && Q=\"$2\" && " + line, "sh", path(""), QUEL_PROGRAM});
  }
  void make(const std::string& name) {
    write_audio(path(name), wav16, 8000, 1, loud_speech(800, 1));
  }
  std::string outputs() {
    return shell("cd out && find . -name '*.quel' -print0 | sort -z | tr '\\n\\0' '?\\n'").out;
  }
};

TEST_F(QuelList, EveryLineIsAnInputAndOutputsStandAsTheNamesSay) {
  ASSERT_EQ(shell("mkdir -p a/b").status, 0);
  for (const std::string name : {"x.wav", "a/x.wav", "a/b/y z.wav"}) make(name);
  EXPECT_EQ(shell("printf 'x.wav\\n./a/x.wav\\n\\na/b/y z.wav' > list && "
                  "$Q encode --files-from list --output-dir out")
                .err,
            "");
  EXPECT_EQ(outputs(), "./a/b/y z.quel\n./a/x.quel\n./x.quel\n");
  // Beside inputs that are named, and out of a pipe; roots and what leads out stay behind.
  ASSERT_EQ(shell("rm -r out").status, 0);
  EXPECT_EQ(shell("cd a && printf '../x.wav\\n%s/a/b/y z.wav\\n' \"$PWD/..\" | "
                  "$Q encode x.wav --files-from - --output-dir ../out/c")
                .status,
            1);  // both are x.quel
  EXPECT_EQ(shell("rm -r out; cd a && printf '../x.wav\\n' | "
                  "$Q encode b --files-from - --output-dir ../out")
                .err,
            "");
  EXPECT_EQ(outputs(), "./x.quel\n./y z.quel\n");
}

TEST_F(QuelList, NamesMayHoldAnythingWhereAZeroEndsThem) {
  ASSERT_EQ(shell("mkdir in").status, 0);
  make("in/two\nlines.wav");
  make("in/plain.wav");
  EXPECT_EQ(shell("find in -type f -print0 | $Q encode -0 --files-from - --output-dir out").err,
            "");
  EXPECT_EQ(outputs(), "./in/plain.quel\n./in/two?lines.quel\n");
  ASSERT_EQ(shell("rm -r in && mkdir heard").status, 0);
  EXPECT_EQ(shell("find out -name '*.quel' -print0 | "
                  "$Q decode --null --files-from /dev/stdin --output-dir heard")
                .err,
            "");
  EXPECT_EQ(shell("find heard -name '*.wav' | wc -l").out, "3\n");  // one name has two lines
}

TEST_F(QuelList, AListThatCannotBeUsedIsAFailure) {
  make("x.wav");
  ASSERT_EQ(shell("touch empty && printf 'x.wav\\n-\\n' > dash").status, 0);
  EXPECT_EQ(shell("$Q encode --files-from none --output-dir out").err,
            "quel: none: No such file or directory\n");
  EXPECT_EQ(shell("$Q encode --files-from empty --output-dir out").err,
            "quel: empty: names no inputs\n");
  EXPECT_EQ(shell("$Q encode --files-from dash --output-dir out").err,
            "quel: dash: standard input (-) cannot be one of many inputs\n");
  EXPECT_FALSE(exists(path("out")));
  // One that is missing does not stop the others.
  const ProgramResult result =
      shell("printf 'gone.wav\\nx.wav\\n' | $Q encode --files-from - --output-dir out");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("quel: gone.wav: No such file or directory\n"));
  EXPECT_EQ(outputs(), "./x.quel\n");
}

TEST_F(QuelList, WrongUse) {
  EXPECT_THAT(shell("$Q encode --files-from list x.quel").err,
              HasSubstr("--files-from needs --output-dir"));
  EXPECT_THAT(shell("$Q encode -0 a b").err, HasSubstr("--null needs --files-from"));
  EXPECT_EQ(shell("$Q encode --files-from '' --output-dir out").status, 2);
}

}  // namespace
}  // namespace quel::test
