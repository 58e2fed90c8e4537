#include "tools/wav_pipe.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>

#include "tools/tool_support.h"

namespace quel::tools {
namespace {

// A chunk without a body has none to point at: seen with the assertions of the standard library.
TEST(WavPipe, AStreamMayEndWithAnEmptyChunk) {
  const std::string stream("RIFF....WAVEjunk\0\0\0\0", 20);
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  ASSERT_EQ(write(ends[1], stream.data(), stream.size()), static_cast<ssize_t>(stream.size()));
  close(ends[1]);
  PipeInput input(ends[0], "f");
  EXPECT_FALSE(read_wav_header(input));
  test::Bytes again(100);
  again.resize(input.read(again.data(), again.size()));
  EXPECT_EQ(std::string(again.begin(), again.end()), stream);
  close(ends[0]);
}

}  // namespace
}  // namespace quel::tools
