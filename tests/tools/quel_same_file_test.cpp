// Outputs that are the inputs, as a shell user meets it.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <string>

#include "tools/tool_support.h"

namespace quel::test {
namespace {

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class QuelSameFile : public ToolTest {
 protected:
  void SetUp() override {
    write_audio(path("s.wav"), wav16, 8000, 1, loud_speech(4000, 1));
    ASSERT_EQ(shell("$Q encode s.wav c && $Q demux c units && $Q dump c > text").err, "");
  }
  ProgramResult shell(const std::string& line) {
    return run_program("/bin/sh",
                       {"-c", "cd \"$1\" && Q=\"$2\" && " + line, "sh", path(""), QUEL_PROGRAM});
  }
};

TEST_F(QuelSameFile, NoCommandReplacesItsInput) {
  struct Case {
    std::string call, output;
  };
  for (const Case& each :
       {Case{"encode -f s.wav s.wav --format quel", "s.wav"},
        Case{"encode s.wav ./s.wav --format quel", "./s.wav"},
        Case{"encode -f - s.wav --format quel < s.wav", "s.wav"}, Case{"decode -f c c", "c"},
        Case{"demux -f c c", "c"}, Case{"mux -f --flavor 1 units units", "units"},
        Case{"mux -f --from-dump text text", "text"},
        Case{"eval -f s.wav --flavor 1 --html s.wav", "s.wav"},
        Case{"eval -f s.wav --flavor 1 --json s.wav", "s.wav"},
        Case{"encode s.wav - >> s.wav", "standard output"}}) {
    SCOPED_TRACE(each.call);
    const auto files = names();
    const Bytes sound = read_bytes(path("s.wav")), coded = read_bytes(path("c")),
                units = read_bytes(path("units")), text = read_bytes(path("text"));
    const ProgramResult result = shell("$Q " + each.call);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "quel: " + each.output + ": is the input; the output needs another name\n");
    EXPECT_EQ(read_bytes(path("s.wav")), sound);
    EXPECT_EQ(read_bytes(path("c")), coded);
    EXPECT_EQ(read_bytes(path("units")), units);
    EXPECT_EQ(read_bytes(path("text")), text);
    EXPECT_EQ(names(), files);
  }
}

TEST_F(QuelSameFile, DevicesMayBeBoth) {
  EXPECT_EQ(shell("$Q mux --flavor 1 - - < /dev/null > /dev/null").err, "");
}

}  // namespace
}  // namespace quel::test
