#include "tools/audio_source.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/sanitizers.h"
#include "tools/file_error.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

class AudioSourceTest : public test::ToolTest {
 protected:
  AudioSourceTest() : standard_input_(dup(STDIN_FILENO)) {
    test::write_bytes(path("bad.wav"), bytes_of("RIFF....WAVE?mt "));
  }
  ~AudioSourceTest() override {
    dup2(standard_input_, STDIN_FILENO);
    close(standard_input_);
  }

  static test::Bytes bytes_of(const std::string& text) { return {text.begin(), text.end()}; }

  void feed(const std::string& name) {
    const int file = open(path(name).c_str(), O_RDONLY);
    ASSERT_EQ(dup2(file, STDIN_FILENO), STDIN_FILENO);
    close(file);
  }

  std::string refusal_of(const std::string& name, const AudioOptions& options = {}) const {
    try {
      AudioSource(name == "-" ? name : path(name), options);
    } catch (const FileError& error) {
      return error.what();
    }
    return "";
  }

  static bool is_open(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

  static int lowest_free_descriptor() {
    const int descriptor = dup(STDIN_FILENO);
    close(descriptor);
    return descriptor;
  }

 private:
  int standard_input_;
};

// The library that reads the file closes what it is given where it refuses it. A descriptor closed
// twice may by then be the file of another thread.
TEST_F(AudioSourceTest, ARefusedFileLeavesItsDescriptorToItsOwner) {
  feed("bad.wav");
  EXPECT_THROW(AudioSource("-", {}), FileError);
  EXPECT_TRUE(is_open(STDIN_FILENO));
}

TEST_F(AudioSourceTest, NoDescriptorStaysOpen) {
  test::write_bytes(path("good.raw"), test::Bytes(2000));
  const int free = lowest_free_descriptor();
  EXPECT_THROW(AudioSource(path("bad.wav"), {}), FileError);
  EXPECT_EQ(lowest_free_descriptor(), free);
  AudioOptions bare;
  bare.raw_rate = 8000;
  bare.raw_channels = 1;
  { const AudioSource source(path("good.raw"), bare); }
  EXPECT_EQ(lowest_free_descriptor(), free);
  feed("good.raw");
  { const AudioSource source("-", bare); }
  EXPECT_TRUE(is_open(STDIN_FILENO));
  EXPECT_EQ(lowest_free_descriptor(), free);
}

// The library keeps the cause of a refusal in one place for the whole process, where whatever is
// opened next wipes it out.
TEST_F(AudioSourceTest, TheCauseOfARefusalIsItsOwnHoweverManyThreadsOpenFiles) {
  test::write_bytes(path("good.raw"), test::Bytes(2000));
  std::vector<std::thread> others;
  std::atomic<bool> done = false;
  for (int i = 0; i < 3; ++i) {
    others.emplace_back([&] {
      AudioOptions bare;
      bare.raw_rate = 8000;
      while (!done) AudioSource(path("good.raw"), bare);
    });
  }
  const std::string wanted = refusal_of("bad.wav");
  int wrong = 0;
  for (int i = 0; i < 2000; ++i) wrong += refusal_of("bad.wav") == wanted ? 0 : 1;
  done = true;
  for (std::thread& other : others) other.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_THAT(wanted, ::testing::HasSubstr("WAV"));
}

// Descriptors run out where many files are worked on at a time.
TEST_F(AudioSourceTest, WhereDescriptorsRunOutTheMessageNamesTheFile) {
#if QUEL_SANITIZED
  GTEST_SKIP() << "sanitizers open pipes of their own to see whether memory is there";
#endif
  test::write_bytes(path("good.raw"), test::Bytes(2000));
  AudioOptions bare;
  bare.raw_rate = 8000;
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  ASSERT_EQ(write(ends[1], "text", 4), 4);
  close(ends[1]);
  ASSERT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
  close(ends[0]);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit tight = before;
  tight.rlim_cur = static_cast<rlim_t>(lowest_free_descriptor()) + 1;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  const std::string seldom = refusal_of("good.raw", bare);
  tight.rlim_cur -= 1;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
  const std::string spooled = refusal_of("-");
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(seldom, path("good.raw") + ": cannot be opened twice: Too many open files");
  EXPECT_EQ(spooled, "standard input: no temporary file to keep it in: Too many open files");
}

}  // namespace
}  // namespace quel::tools
