#include "tools/player.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <chrono>
#include <deque>
#include <iostream>
#include <sstream>
#include <thread>

#include "tools/ogg_support.h"
#include "tools/play_command.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using test::Pcm;

/// What comes from a terminal up to a text, or up to 10 seconds without any.
std::string read_until(int terminal, const std::string& text) {
  std::string all;
  pollfd readable{terminal, POLLIN, 0};
  while (all.find(text) == std::string::npos && poll(&readable, 1, 10000) > 0) {
    char byte = 0;
    if (read(terminal, &byte, 1) != 1) break;
    all += byte;
  }
  return all;
}

/// Keeps what it gets.
struct Tape : SoundSink {
  explicit Tape(Pcm& to) : pcm(to) {}
  void write(std::span<const std::int16_t> x) override {
    pcm.insert(pcm.end(), x.begin(), x.end());
  }
  Pcm& pcm;
};

/// A key each time, none once they are used up; waiting is counted.
struct Keys : KeySource {
  explicit Keys(std::deque<PlayKey> pressed = {}) : keys(std::move(pressed)) {}
  PlayKey next(bool wait) override {
    waits += wait ? 1 : 0;
    if (keys.empty()) return PlayKey::none;
    const PlayKey key = keys.front();
    keys.pop_front();
    return key;
  }
  std::deque<PlayKey> keys;
  int waits = 0;
};

class PlayerTest : public test::ToolTest {
 protected:
  static constexpr std::uint64_t units = 1500;  // 27 s
  void SetUp() override {
    test::write_bytes(path("c"), test::ogg_file(1, test::coded_units(1, units), samples()));
    settings_.input = path("c");
  }
  static std::uint64_t samples() { return test::samples_of(1, units); }
  Pcm decoded(OggConcealment concealment = OggConcealment::immediate) {
    FileSource source(path("c"));
    OggReader reader(source, "c");
    OggDecodeOptions options;
    options.concealment = concealment;
    OggDecoder decoder(reader, options);
    return test::take_all(decoder);
  }
  Pcm heard(const std::deque<PlayKey>& pressed) {
    Player player(settings_);
    Pcm pcm;
    Tape tape(pcm);
    Keys keys(pressed);
    play(player, tape, keys);
    waits_ = keys.waits;
    return pcm;
  }
  PlaySettings settings_;
  int waits_ = 0;
};

TEST_F(PlayerTest, AllOfItIsHeardAsItIsDecoded) {
  EXPECT_EQ(heard({}), decoded());
}

TEST_F(PlayerTest, APauseWaitsForAKeyAndLosesNothing) {
  EXPECT_EQ(heard({PlayKey::none, PlayKey::pause, PlayKey::none, PlayKey::none, PlayKey::pause}),
            decoded());
  EXPECT_EQ(waits_, 3);
}

TEST_F(PlayerTest, GoingOnAndBackIsFiveSeconds) {
  const Pcm whole = decoded();
  Player player(settings_);
  const std::size_t first = player.next().size();
  EXPECT_EQ(first, 24u);  // a unit of 144 samples without the delay of 120
  player.press(PlayKey::forward);
  EXPECT_EQ(player.seconds(), 5.003);
  auto pcm = player.next();
  // Within 1 of 16 bits, as seeking promises.
  const auto near = [&](std::size_t at) {
    for (std::size_t n = 0; n < pcm.size(); ++n) ASSERT_NEAR(pcm[n], whole[at + n], 1) << n;
  };
  ASSERT_GT(pcm.size(), 0u);
  near(40024);
  player.press(PlayKey::back);
  player.press(PlayKey::back);
  EXPECT_EQ(player.seconds(), 0.0);
  pcm = player.next();
  near(0);
  for (int i = 0; i < 10; ++i) player.press(PlayKey::forward);
  EXPECT_TRUE(player.next().empty());
  EXPECT_EQ(player.seconds(), static_cast<double>(samples()) / 8000.0);
  player.press(PlayKey::back);
  EXPECT_FALSE(player.next().empty());
}

TEST_F(PlayerTest, OtherConcealmentLeavesReceivedSpeechAsItIs) {
  const Pcm whole = decoded();
  Player player(settings_);
  for (int i = 0; i < 700; ++i) ASSERT_FALSE(player.next().empty());
  player.press(PlayKey::conceal);
  const auto at = static_cast<std::size_t>(player.seconds() * 8000.0 + 0.5);
  ASSERT_GT(at, 50000u);
  const auto pcm = player.next();
  ASSERT_FALSE(pcm.empty());
  for (std::size_t n = 0; n < pcm.size(); ++n) ASSERT_NEAR(pcm[n], whole[at + n], 1) << n;
}

TEST_F(PlayerTest, QuittingEnds) {
  EXPECT_EQ(heard({PlayKey::none, PlayKey::quit}).size(), 24u);
}

TEST_F(PlayerTest, ConcealmentChangesInTheMiddle) {
  settings_.losses = LossPattern(100.0, 1);
  Player player(settings_);
  EXPECT_EQ(player.concealment(), OggConcealment::immediate);
  player.press(PlayKey::conceal);
  EXPECT_EQ(player.concealment(), OggConcealment::deferred);
  player.press(PlayKey::conceal);
  EXPECT_EQ(player.concealment(), OggConcealment::none);
  const auto silence = player.next();
  EXPECT_EQ(Pcm(silence.begin(), silence.end()), Pcm(silence.size()));
  player.press(PlayKey::conceal);
  EXPECT_EQ(player.concealment(), OggConcealment::immediate);
}

TEST_F(PlayerTest, StartsWhereItIsTold) {
  settings_.start = 20.0;
  EXPECT_EQ(heard({}).size(), samples() - 160000);
}

TEST_F(PlayerTest, TheCommandNamesFileAndCause) {
  PlayJob job;
  std::ostringstream err;
  const OpenSink none = [](int) -> std::unique_ptr<SoundSink> {
    throw std::runtime_error("no sound output: Device unavailable");
  };
  job.settings.input = path("c");
  EXPECT_EQ(run_play_command(job, none, err), 1);
  EXPECT_EQ(err.str(), "quel: " + path("c") + ": no sound output: Device unavailable\n");
  err.str("");
  job.settings.input = path("none");
  EXPECT_EQ(run_play_command(job, none, err), 1);
  EXPECT_EQ(err.str(), "quel: " + path("none") + ": No such file or directory\n");
  err.str("");
  job.settings.input = "-";
  EXPECT_EQ(run_play_command(job, none, err), 1);
  EXPECT_EQ(err.str(),
            "quel: standard input: play needs a file, in which it can go back; quel decode takes "
            "pipes\n");
}

TEST_F(PlayerTest, ATerminalGivesKeysAndIsAsItWasAfterwards) {
  int terminal = -1, programs_end = -1;
  ASSERT_EQ(openpty(&terminal, &programs_end, nullptr, nullptr, nullptr), 0);
  termios before{}, after{};
  ASSERT_EQ(tcgetattr(terminal, &before), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  PlayJob job;
  job.settings.input = path("c");
  if (child == 0) {
    login_tty(programs_end);
    // As slow as sound, so that only a key ends it soon.
    struct Slow : SoundSink {
      void write(std::span<const std::int16_t> pcm) override {
        std::this_thread::sleep_for(std::chrono::microseconds(pcm.size() * 125));
      }
    };
    const int status = run_play_command(
        job, [](int) { return std::make_unique<Slow>(); }, std::cerr);
    _exit(status);
  }
  EXPECT_THAT(read_until(terminal, "0:00  immediate"), ::testing::HasSubstr("immediate"));
  ASSERT_EQ(write(terminal, "\x1b[C \x1b[Ccq", 9), 9);
  const std::string last = "0:10  deferred  paused";
  EXPECT_THAT(read_until(terminal, last), ::testing::HasSubstr(last));
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  ASSERT_EQ(tcgetattr(terminal, &after), 0);
  EXPECT_EQ(after.c_lflag, before.c_lflag);
  close(terminal);
  close(programs_end);
}

TEST(PlayKeys, AreTakenOneByOneOutOfWhatATerminalSent) {
  std::string typed = " \x1b[C\x1b[Dlh\x1bOC\x1bODcq\x03x\x1b[A\x1b";
  std::vector<PlayKey> keys;
  while (!typed.empty()) keys.push_back(take_key(typed));
  EXPECT_THAT(keys, ::testing::ElementsAre(
                        PlayKey::pause, PlayKey::forward, PlayKey::back, PlayKey::forward,
                        PlayKey::back, PlayKey::forward, PlayKey::back, PlayKey::conceal,
                        PlayKey::quit, PlayKey::quit, PlayKey::none, PlayKey::none, PlayKey::none));
  EXPECT_EQ(take_key(typed), PlayKey::none);
}

}  // namespace
}  // namespace quel::tools
