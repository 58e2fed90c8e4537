#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/sanitizers.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

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

}  // namespace
}  // namespace quel::test
