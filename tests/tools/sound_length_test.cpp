#include "tools/sound_length.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tools/ogg_support.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using test::Bytes;

Bytes of(const std::string& text) {
  return {text.begin(), text.end()};
}

Bytes chunk(const std::string& name, const Bytes& body) {
  Bytes bytes = of(name);
  bytes.resize(8);
  test::put_number(bytes, 4, body.size(), 4);
  return test::joined({bytes, body});
}

class SoundLength : public test::ToolTest {
 protected:
  std::optional<SampleBytes> found(const std::vector<Bytes>& chunks) {
    const Bytes head = of("RIFF....WAVE");
    test::write_bytes(path("f"), test::joined({head, test::joined(chunks)}));
    const int file = open(path("f").c_str(), O_RDONLY);
    const auto samples = find_samples(file);
    EXPECT_EQ(lseek(file, 0, SEEK_CUR), 0);
    close(file);
    return samples;
  }
  const Bytes data = chunk("data", Bytes(10));
};

TEST_F(SoundLength, ChunksAheadOfTheSamplesAreSteppedOver) {
  const auto samples = found({chunk("fmt ", Bytes(16)), chunk("odd ", Bytes(4)), data});
  ASSERT_TRUE(samples);
  EXPECT_EQ(samples->there, 10u);
  EXPECT_EQ(samples->claimed, 10u);
  EXPECT_FALSE(samples->cut());
}

// A file of zeros may be as long as a disk, eight bytes at a time.
TEST_F(SoundLength, WhatIsNoChunkEndsTheSearch) {
  EXPECT_FALSE(found({Bytes(8), data}));
  EXPECT_FALSE(found({chunk("ab\x7f ", {}), data}));
  EXPECT_FALSE(found({chunk("\xe4xyz", {}), data}));
  EXPECT_FALSE(found({chunk("a\nbc", {}), data}));
}

TEST_F(SoundLength, NobodyPutsThousandsOfChunksAheadOfTheSamples) {
  std::vector<Bytes> chunks(1000, chunk("junk", {}));
  chunks.push_back(data);
  EXPECT_TRUE(found(chunks));
  chunks.insert(chunks.begin(), 10000, chunk("junk", {}));
  EXPECT_FALSE(found(chunks));
}

TEST_F(SoundLength, AFileThatEndsWithinAChunksHeadIsCut) {
  for (std::size_t bytes = 1; bytes < 8; ++bytes) {
    const auto samples =
        found({chunk("fmt ", Bytes(16)),
               Bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(bytes))});
    ASSERT_TRUE(samples) << bytes;
    EXPECT_TRUE(samples->cut()) << bytes;
  }
  EXPECT_FALSE(found({chunk("fmt ", Bytes(16))}));
}

}  // namespace
}  // namespace quel::tools
