#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/sanitizers.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class QuelMemoryTest : public ToolTest {
 protected:
  ProgramResult version_within(int kib) {
    return run_program_limited("ulimit -v " + std::to_string(kib), QUEL_PROGRAM, {"--version"});
  }
};

// From the least address space in which the system can start the program at all.
TEST_F(QuelMemoryTest, WithoutMemoryItSaysSoAndFails) {
#if QUEL_SANITIZED
  GTEST_SKIP() << "sanitizers reserve more address space than there is memory";
#endif
  constexpr int unstarted = 127;
  int low = 1000, high = 1000000;
  while (high - low > 8) {
    const int middle = (low + high) / 2;
    const int status = version_within(middle).status;
    (status == unstarted || status == -1 ? low : high) = middle;
  }
  int told = 0;
  ProgramResult result;
  for (int k = 0; k < 40; ++k) {
    result = version_within(high + 16 * k);
    EXPECT_TRUE(result.status == 0 || result.status == 1) << result.status << ' ' << result.err;
    if (result.err == "quel: out of memory\n") {
      EXPECT_EQ(result.status, 1);
      ++told;
    }
  }
  EXPECT_GT(told, 0);
  EXPECT_EQ(result.status, 0);
}

// One that is read as a whole.
TEST_F(QuelMemoryTest, AFileThatIsTooLargeIsNamed) {
#if QUEL_SANITIZED
  GTEST_SKIP() << "sanitizers reserve more address space than there is memory";
#endif
  write_bytes(path("large"), {'O', 'g', 'g', 'S'});
  std::filesystem::resize_file(path("large"), std::uintmax_t{1} << 30);  // holes
  const ProgramResult result =
      run_program_limited("ulimit -v 60000", QUEL_PROGRAM, {"dump", path("large")});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "quel: " + path("large") + ": not enough memory\n");
}

// Ten minutes as a whole would take 19 MB as 16 bits alone.
TEST_F(QuelMemoryTest, EvalsMemoryDoesNotGrowWithTheRecording) {
#if QUEL_SANITIZED
  GTEST_SKIP() << "sanitizers keep freed memory";
#endif
  long small = 0;
  for (const int seconds : {20, 600}) {
    const int samples = 16000 * seconds;
    std::vector<std::int16_t> pcm = loud_speech(16000 * 20, 1, 16000.0);
    pcm.reserve(static_cast<std::size_t>(samples));
    while (pcm.size() < static_cast<std::size_t>(samples)) {
      pcm.insert(pcm.end(), pcm.begin(), pcm.begin() + 16000 * 20);
    }
    write_audio(path("a.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 1, pcm);
    const ProgramResult result =
        run_program("/bin/sh", {"-c",
                                "\"$1\" eval \"$2\" --flavor 3 >/dev/null & "
                                "run=$!; top=0; while size=$(sed -n "
                                "'s/^VmHWM:[^0-9]*\\([0-9]*\\).*/\\1/p' /proc/$run/status "
                                "2>/dev/null) && [ \"$size\" ]; do top=$size; sleep 0.02; "
                                "done; wait $run; echo $top",
                                "sh", QUEL_PROGRAM, path("a.wav")});
    const long kib = std::stol(result.out);
    if (small == 0) small = kib;
    EXPECT_LT(kib, small + 4000);  // what allocators keep
    EXPECT_GT(kib, 1000);
  }
}

// Between too little to start and enough, every failure that can name the file does so.
TEST_F(QuelMemoryTest, AFileThatFindsNoMemoryIsNamed) {
#if QUEL_SANITIZED
  GTEST_SKIP() << "sanitizers reserve more address space than there is memory";
#endif
  write_audio(path("a.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 8000, 1, loud_speech(800, 1));
  // A comment that takes more memory than a program that starts has to spare.
  const std::string comment = "NOTE=" + std::string(60000, 'x');
  ASSERT_EQ(
      run_program(QUEL_PROGRAM, {"encode", path("a.wav"), path("c"), "--comment", comment}).err,
      "");
  int low = 1000, high = 1000000;
  while (high - low > 8) {
    const int middle = (low + high) / 2;
    (version_within(middle).status == 0 ? high : low) = middle;
  }
  int told = 0;
  for (int k = 0; k < 40; ++k) {
    const ProgramResult result =
        run_program_limited("ulimit -v " + std::to_string(high + 32 * k), QUEL_PROGRAM,
                            {"decode", "-f", path("c"), path("o.wav")});
    EXPECT_THAT(result.err, Not(HasSubstr("bad_alloc")));
    if (result.err == "quel: " + path("c") + ": not enough memory\n") ++told;
  }
  EXPECT_GT(told, 0);
}

}  // namespace
}  // namespace quel::test
