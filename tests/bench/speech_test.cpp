#include "speech.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <filesystem>
#include <stdexcept>

#include "tools/tool_support.h"

namespace quel::bench {
namespace {

using Pcm = std::vector<std::int16_t>;
constexpr int wav = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

class ReadSpeech : public test::ToolTest {};

TEST_F(ReadSpeech, JoinsTheFilesOfAFolderAndOfThoseBelow) {
  std::filesystem::create_directory(path("more"));
  test::write_audio(path("a.wav"), wav, 8000, 1, Pcm(800, 1));
  test::write_audio(path("more/b.wav"), wav, 8000, 1, Pcm(800, 2));
  test::write_bytes(path("notes.txt"), {1, 2, 3});
  const Speech speech = read_speech(path("."), 8000, 0.2);
  ASSERT_EQ(speech.pcm.size(), 1600u);
  EXPECT_EQ(speech.files, 2u);
  EXPECT_FALSE(speech.repeated);
  EXPECT_NE(speech.pcm.front(), speech.pcm.back());
  EXPECT_EQ(speech.pcm.front() + speech.pcm.back(), 3);
}

TEST_F(ReadSpeech, LeavesOutFilesOfALowerRate) {
  test::write_audio(path("low.wav"), wav, 8000, 1, Pcm(8000, 1000));
  EXPECT_THROW(read_speech(path("."), 16000, 0.1), std::runtime_error);
  test::write_audio(path("high.wav"), wav, 16000, 1, Pcm(1600, 2));
  const Speech speech = read_speech(path("."), 16000, 0.1);
  EXPECT_EQ(speech.pcm, Pcm(1600, 2));
  EXPECT_EQ(speech.files, 1u);
}

TEST_F(ReadSpeech, RepeatsWhereThereIsTooLittle) {
  Pcm pcm;
  for (int n = 0; n < 100; ++n) pcm.push_back(static_cast<std::int16_t>(n));
  test::write_audio(path("a.wav"), wav, 8000, 1, pcm);
  const Speech speech = read_speech(path("."), 8000, 0.03);
  ASSERT_EQ(speech.pcm.size(), 240u);
  EXPECT_TRUE(speech.repeated);
  for (std::size_t n = 0; n < 240; ++n) EXPECT_EQ(speech.pcm[n], static_cast<int>(n % 100)) << n;
}

}  // namespace
}  // namespace quel::bench
