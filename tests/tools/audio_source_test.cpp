#include "tools/audio_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>

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

}  // namespace
}  // namespace quel::tools
