#include "tools/progress.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace quel::tools {
namespace {

using std::chrono::milliseconds;

/// Progress whose time stands still until it is told to go on.
class ProgressTest : public ::testing::Test {
 protected:
  Progress make(std::size_t width = 80) {
    return Progress(&out_, width, [this] { return now_; });
  }
  std::string take() {
    const std::string text = out_.str();
    out_.str("");
    return text;
  }
  std::chrono::steady_clock::time_point now_{};
  std::ostringstream out_;
};

TEST_F(ProgressTest, OneFile) {
  Progress progress = make();
  progress.plan({1000});
  progress.start(0, "folder/a.wav");
  now_ += milliseconds(2000);
  progress.update(0, 30.0, 0.25);
  EXPECT_EQ(take(), "\ra.wav: 25%, 15 x real time, 0:06 left\x1b[K");
  progress.clear();
  EXPECT_EQ(take(), "\r\x1b[K");
  progress.clear();
  EXPECT_EQ(take(), "");
}

TEST_F(ProgressTest, UnknownLengthShowsTheTimeDone) {
  Progress progress = make();
  progress.plan({0});
  progress.start(0, "-");
  now_ += milliseconds(1000);
  progress.update(0, 75.0, std::nullopt);
  EXPECT_EQ(take(), "\r-: 1:15, 75 x real time\x1b[K");
}

TEST_F(ProgressTest, ManyFilesHaveATotalByTheirSizes) {
  Progress progress = make();
  progress.plan({300, 100});
  progress.start(0, "a");
  progress.start(1, "b");
  now_ += milliseconds(1000);
  progress.update(0, 10.0, 0.5);
  EXPECT_EQ(take(), "\r0/2 files 37%, a: 50%, 10 x real time, 0:02 left\x1b[K");
  now_ += milliseconds(1000);
  progress.finish(0);
  EXPECT_EQ(take(), "\r1/2 files 75%, a: 100%, 5 x real time, 0:01 left\x1b[K");
  progress.finish(0);  // counts once
  now_ += milliseconds(1000);
  progress.finish(1);
  EXPECT_EQ(take(), "\r2/2 files 100%, b: 100%, 3 x real time, 0:00 left\x1b[K");
}

TEST_F(ProgressTest, AtMostFiveLinesASecond) {
  Progress progress = make();
  progress.plan({1000});
  progress.start(0, "a");
  for (int i = 1; i <= 1000; ++i) {
    now_ += milliseconds(1);
    progress.update(0, 0.01 * i, 0.001 * i);
  }
  const std::string text = take();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\r'), 5);
}

TEST_F(ProgressTest, LinesFitAndKeepWholeCharacters) {
  for (std::size_t width = 2; width < 60; ++width) {
    Progress progress = make(width);
    progress.plan({1000});
    progress.start(0,
                   "\u00e4\u00f6\u00fc\u00e4\u00f6\u00fc\u00e4\u00f6\u00fc\u00e4\u00f6\u00fc.wav");
    now_ += milliseconds(1000);
    progress.update(0, 1.0, 0.5);
    std::string text = take();
    text = text.substr(1, text.size() - 4);
    EXPECT_LT(text.size(), width);
    // A character of two bytes is never cut.
    const auto high =
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
    EXPECT_EQ(high % 2, 0) << text;
  }
}

TEST_F(ProgressTest, NamesCommandNoTerminal) {
  Progress progress = make();
  progress.plan({0});
  progress.start(0, "a\x1b[2J\xc2\x9b.wav");
  now_ += milliseconds(1000);
  progress.update(0, 1.0, std::nullopt);
  EXPECT_EQ(take(), "\ra [2J .wav: 0:01, 1 x real time\x1b[K");
}

TEST_F(ProgressTest, QuietSaysNothing) {
  Progress progress(nullptr);
  progress.plan({1});
  progress.start(0, "a");
  progress.update(0, 1.0, 0.5);
  progress.finish(0);
  progress.clear();
}

TEST(ClockText, HasHoursWhereDue) {
  EXPECT_EQ(clock_text(0.0), "0:00");
  EXPECT_EQ(clock_text(59.4), "0:59");
  EXPECT_EQ(clock_text(59.6), "1:00");
  EXPECT_EQ(clock_text(3599.0), "59:59");
  EXPECT_EQ(clock_text(3600.0), "1:00:00");
  EXPECT_EQ(clock_text(36061.0), "10:01:01");
}

}  // namespace
}  // namespace quel::tools
