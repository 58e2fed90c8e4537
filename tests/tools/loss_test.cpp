#include "tools/loss.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/file_error.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

TEST(LossPattern, LosesTheShareAskedFor) {
  for (const double percent : {1.0, 5.0, 50.0, 99.0}) {
    LossPattern losses(percent, 42);
    int lost = 0;
    for (int i = 0; i < 100000; ++i) lost += losses.lost() ? 1 : 0;
    EXPECT_NEAR(lost, 1000.0 * percent, 600.0);  // about four deviations of the widest
  }
}

TEST(LossPattern, TheEndsAreExact) {
  LossPattern nothing, none(0.0, 0), all(100.0, 0), burst = LossPattern::bursts(100.0, 3.0, 1),
                                                    no_burst = LossPattern::bursts(0.0, 3.0, 1);
  for (int i = 0; i < 10000; ++i) {
    ASSERT_FALSE(nothing.lost());
    ASSERT_FALSE(none.lost());
    ASSERT_TRUE(all.lost());
    ASSERT_TRUE(burst.lost());
    ASSERT_FALSE(no_burst.lost());
  }
}

TEST(LossPattern, BurstsHaveShareAndMeanRun) {
  for (const double percent : {2.0, 10.0, 60.0}) {
    for (const double run : {2.0, 5.0}) {
      LossPattern losses = LossPattern::bursts(percent, run, 7);
      int lost = 0, runs = 0;
      bool before = false;
      constexpr int frames = 400000;
      for (int i = 0; i < frames; ++i) {
        const bool now = losses.lost();
        lost += now ? 1 : 0;
        runs += now && !before ? 1 : 0;
        before = now;
      }
      // Four deviations and more: the runs' lengths spread as widely as their mean.
      EXPECT_NEAR(lost / (0.01 * frames), percent, 0.05 * percent);
      EXPECT_NEAR(static_cast<double>(lost) / runs, run, 0.05 * run);
    }
  }
}

TEST(LossPattern, TheShortestRunLeavesSingleReceivedFrames) {
  EXPECT_EQ(shortest_run(0.0), 1.0);
  EXPECT_EQ(shortest_run(50.0), 1.0);
  EXPECT_EQ(shortest_run(75.0), 3.0);
  EXPECT_EQ(shortest_run(100.0), 1.0);
  LossPattern losses = LossPattern::bursts(75.0, 3.0, 1);
  bool before = true;
  for (int i = 0; i < 10000; ++i) {
    const bool now = losses.lost();
    ASSERT_TRUE(now || before);
    before = now;
  }
}

TEST(LossPattern, AListRepeats) {
  LossPattern losses = LossPattern::listed({true, false, false});
  for (int i = 0; i < 30; ++i) EXPECT_EQ(losses.lost(), i % 3 == 0);
}

class LossFile : public test::ToolTest {
 protected:
  std::vector<bool> read(const std::string& text) {
    test::write_bytes(path("l"), test::Bytes(text.begin(), text.end()));
    return read_losses(path("l"));
  }
  std::string error(const std::string& text) {
    try {
      read(text);
    } catch (const FileError& failure) {
      return std::string(failure.what()).substr(path("l").size());
    }
    return "";
  }
};

TEST_F(LossFile, IsZeroesAndOnes) {
  EXPECT_EQ(read("01 1\n# 0110 is a remark\r\n\t0# 1"),
            (std::vector<bool>{false, true, true, false}));
}

TEST_F(LossFile, SaysWhatIsWrong) {
  EXPECT_EQ(error("0\n012"), ": line 2 has '2' where 0 (received) or 1 (lost) is due");
  EXPECT_EQ(error("# nothing\n"), ": tells of no frame");
  EXPECT_EQ(error(""), ": tells of no frame");
  EXPECT_THROW(read_losses(path("none")), FileError);
}

}  // namespace
}  // namespace quel::tools
