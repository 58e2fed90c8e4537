// Pipes that are alive: what goes in is coded and heard as it comes.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sndfile.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tools/tool_support.h"

namespace quel::test {
namespace {

/// quel between two pipes that stay open.
class LivePipe {
 public:
  explicit LivePipe(const std::vector<std::string>& arguments) {
    std::array<int, 2> in{}, out{};
    if (pipe(in.data()) != 0 || pipe(out.data()) != 0) return;
    std::vector<std::string> words = {QUEL_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    child_ = fork();
    if (child_ == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      for (const int end : {in[0], in[1], out[0], out[1]}) close(end);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    in_ = in[1];
    out_ = out[0];
  }
  ~LivePipe() {
    close(in_);
    close(out_);
    waitpid(child_, nullptr, 0);
  }
  LivePipe(const LivePipe&) = delete;
  LivePipe& operator=(const LivePipe&) = delete;

  void put(const Bytes& bytes) {
    EXPECT_EQ(write(in_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  /// What comes until there are so many bytes; where they do not come, what a generous while gave.
  Bytes take(std::size_t count) {
    Bytes bytes;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (bytes.size() < count && std::chrono::steady_clock::now() < end) {
      pollfd readable{out_, POLLIN, 0};
      if (poll(&readable, 1, 100) <= 0) continue;
      std::array<std::uint8_t, 4096> some{};
      const ssize_t got = read(out_, some.data(), std::min(some.size(), count - bytes.size()));
      if (got <= 0) break;
      bytes.insert(bytes.end(), some.begin(), some.begin() + got);
    }
    return bytes;
  }

 private:
  pid_t child_ = -1;
  int in_ = -1, out_ = -1;
};

class QuelLive : public ToolTest {
 protected:
  ProgramResult quel(const std::vector<std::string>& arguments) {
    return run_program(QUEL_PROGRAM, arguments);
  }
  static Bytes part(const Bytes& bytes, std::size_t from, std::size_t count) {
    const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return {at, at + static_cast<std::ptrdiff_t>(count)};
  }
};

// 144 samples are a unit of 8.5 kbit/s: 288 bytes in, 19 out.
TEST_F(QuelLive, EachUnitLeavesAsSoonAsItsSamplesAreThere) {
  const Bytes samples = pcm_bytes(loud_speech(1440, 1));
  write_bytes(path("in.raw"), samples);
  ASSERT_EQ(quel({"encode", path("in.raw"), path("u.units"), "--raw", "--raw-rate", "8000"}).err,
            "");
  const Bytes units = read_bytes(path("u.units"));
  LivePipe pipe({"encode", "-", "-", "--raw", "--raw-rate", "8000"});
  for (std::size_t unit = 0; unit < 10; ++unit) {
    pipe.put(part(samples, 288 * unit, 288));
    ASSERT_EQ(pipe.take(19), part(units, 19 * unit, 19)) << unit;
  }
}

TEST_F(QuelLive, SamplesMayComeInPiecesOfAnySize) {
  std::vector<std::int16_t> pcm = loud_speech(3 * 1440, 2), wide;
  for (const std::int16_t x : pcm) wide.insert(wide.end(), 7, x);
  const Bytes samples = pcm_bytes(wide);
  write_bytes(path("in.raw"), samples);
  const std::vector<std::string> bare = {"--raw", "--raw-rate", "24000", "--raw-chan",
                                         "7",     "--flavor",   "1"};
  std::vector<std::string> whole = {"encode", path("in.raw"), path("u.units")},
                           live = {"encode", "-", "-"};
  whole.insert(whole.end(), bare.begin(), bare.end());
  live.insert(live.end(), bare.begin(), bare.end());
  ASSERT_EQ(quel(whole).err, "");
  const Bytes units = read_bytes(path("u.units"));
  LivePipe pipe(live);
  std::size_t at = 0;
  for (std::size_t size = 1; at < samples.size(); size = size * 3 % 1009) {
    const std::size_t count = std::min(size, samples.size() - at);
    pipe.put(part(samples, at, count));
    // Now and then the program has time to take what there is.
    if (size < 50) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    at += count;
  }
  // The resampler keeps a little for itself until the end.
  EXPECT_EQ(pipe.take(19 * 6), part(units, 0, 19 * 6));
}

TEST_F(QuelLive, EachPageLeavesAsSoonAsTheUnitAfterItIsThere) {
  const Bytes samples = pcm_bytes(loud_speech(1440, 1));
  write_bytes(path("in.raw"), samples);
  const std::vector<std::string> options = {"--raw-rate", "8000",      "--packet-ms",
                                            "18",         "--page-ms", "18"};
  std::vector<std::string> whole = {"encode", path("in.raw"), path("c.quel")},
                           live = {"encode", "-", "-"};
  whole.insert(whole.end(), options.begin(), options.end());
  live.insert(live.end(), options.begin(), options.end());
  ASSERT_EQ(quel(whole).err, "");
  const Bytes file = read_bytes(path("c.quel"));
  LivePipe pipe(live);
  // Two pages of headers, then one for each unit but the last.
  const std::string text(file.begin(), file.end());
  std::size_t page = text.find("OggS", 1);
  for (std::size_t unit = 0; unit < 9; ++unit) {
    pipe.put(part(samples, 288 * unit, 288));
    const std::size_t next = text.find("OggS", page + 1);
    if (unit == 0) {
      ASSERT_EQ(pipe.take(next), part(file, 0, next));
    } else {
      ASSERT_EQ(pipe.take(next - page), part(file, page, next - page)) << unit;
    }
    page = next;
  }
}

// What follows a unit tells whether it is the last one.
TEST_F(QuelLive, EachUnitIsHeardAsSoonAsTheUnitAfterItIsThere) {
  write_bytes(path("in.raw"), pcm_bytes(loud_speech(1440, 1)));
  ASSERT_EQ(quel({"encode", path("in.raw"), path("u.units"), "--raw", "--raw-rate", "8000"}).err,
            "");
  ASSERT_EQ(quel({"decode", path("u.units"), path("u.raw"), "--raw", "--flavor", "1"}).err, "");
  const Bytes units = read_bytes(path("u.units")), heard = read_bytes(path("u.raw"));
  LivePipe pipe({"decode", "-", "-", "--raw", "--flavor", "1", "--format", "raw"});
  std::size_t at = 0;
  pipe.put(part(units, 0, 19));
  for (std::size_t unit = 0; unit < 9; ++unit) {
    pipe.put(part(units, 19 * (unit + 1), 19));
    // The delay of 120 samples is cut off the start.
    const std::size_t count = 2 * (unit == 0 ? 24 : 144);
    ASSERT_EQ(pipe.take(count), part(heard, at, count)) << unit;
    at += count;
  }
}

}  // namespace
}  // namespace quel::test
