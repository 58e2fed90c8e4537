#include "tools/audio_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numbers>
#include <string>

#include "tools/file_error.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using test::Bytes;
using test::loud_speech;
using test::write_audio;
using test::write_bytes;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::StartsWith;

using Pcm = std::vector<std::int16_t>;

constexpr int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
constexpr int wav_float = SF_FORMAT_WAV | SF_FORMAT_FLOAT;

std::string error_of(const std::string& name) {
  try {
    read_audio(name, 8000);
  } catch (const FileError& error) {
    return error.what();
  }
  return "";
}

std::vector<float> sine(int n, double rate, double hertz, double amplitude) {
  std::vector<float> x;
  for (int i = 0; i < n; ++i) {
    x.push_back(
        static_cast<float>(amplitude * std::sin(2.0 * std::numbers::pi * hertz * i / rate)));
  }
  return x;
}

class AudioFile : public test::ToolTest {};

TEST_F(AudioFile, SixteenBitsAtTheSameRatePassUnchanged) {
  Pcm pcm = loud_speech(9999, 1);
  pcm[0] = -32768;
  pcm[1] = 32767;
  for (const int format :
       {wav16, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_AIFF | SF_FORMAT_PCM_16}) {
    write_audio(path("a"), format, 8000, 1, pcm);
    EXPECT_EQ(read_audio(path("a"), 8000), pcm) << format;
  }
}

TEST_F(AudioFile, ReadsInPartsOfAnySize) {
  const Pcm pcm = loud_speech(9000, 2);
  write_audio(path("a"), wav16, 8000, 1, pcm);
  AudioReader reader(path("a"), 8000);
  Pcm joined;
  for (const std::size_t part : {1u, 4096u, 0u, 7u, 4000u, 2000u, 100u}) {
    Pcm some(part);
    some.resize(reader.read(some));
    joined.insert(joined.end(), some.begin(), some.end());
  }
  EXPECT_EQ(joined, pcm);
}

TEST_F(AudioFile, ChannelsAreAveraged) {
  write_audio(path("a"), wav16, 8000, 3, Pcm{3, 6, 9, -3, 0, 0, 32767, 32767, 32767});
  EXPECT_THAT(read_audio(path("a"), 8000), ElementsAre(6, -1, 32767));
}

TEST_F(AudioFile, FloatSamplesAreRoundedAndClipped) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  const float step = 1.0f / 32768.0f;
  write_audio(path("a"), wav_float, 8000, 1,
              std::vector<float>{0.4f * step, 0.6f * step, -0.6f * step, 2.0f, -2.0f, nan, inf});
  EXPECT_THAT(read_audio(path("a"), 8000), ElementsAre(0, 1, -1, 32767, -32768, 0, 0));
}

TEST(ToPcm, RoundsToTheNearestAndHalvesToEven) {
  const float step = 1.0f / 32768.0f;
  for (int n = -32768; n < 32767; ++n) {
    const float x = static_cast<float>(n) * step;
    ASSERT_EQ(to_pcm(x), n);
    ASSERT_EQ(to_pcm(x + 0.25f * step), n);
    ASSERT_EQ(to_pcm(x + 0.5f * step), n % 2 == 0 ? n : n + 1);
    ASSERT_EQ(to_pcm(x + 0.75f * step), n + 1);
  }
  EXPECT_EQ(to_pcm(32767.5f * step), 32767);
  EXPECT_EQ(to_pcm(-32768.75f * step), -32768);
}

TEST_F(AudioFile, ResamplingKeepsTimeLevelAndPitch) {
  for (const int from : {8000, 11025, 16000, 22050, 44100, 48000, 96000}) {
    for (const int to : {8000, 16000}) {
      SCOPED_TRACE(testing::Message() << from << " -> " << to);
      write_audio(path("a"), wav_float, from, 1, sine(from, from, 440.0, 0.5));
      const Pcm got = read_audio(path("a"), to);
      ASSERT_EQ(got.size(), static_cast<std::size_t>(to));
      const auto expected = sine(to, to, 440.0, 0.5 * 32768.0);
      // The middle half is clear of the edges, where the signal starts and stops abruptly.
      for (std::size_t n = got.size() / 4; n < 3 * got.size() / 4; ++n) {
        ASSERT_NEAR(got[n], expected[n], 2.0) << n;  // rounding, and 20-bit resampling
      }
    }
  }
}

TEST_F(AudioFile, ResamplingRemovesWhatTheLowerRateCannotHold) {
  write_audio(path("a"), wav_float, 48000, 1, sine(24000, 48000, 5000.0, 0.5));
  const Pcm got = read_audio(path("a"), 8000);
  for (std::size_t n = got.size() / 4; n < 3 * got.size() / 4; ++n) ASSERT_LE(std::abs(got[n]), 1);
}

TEST_F(AudioFile, LongFilesResampleAcrossBlocks) {
  write_audio(path("a"), wav_float, 44100, 1, sine(5 * 44100, 44100.0, 300.0, 0.5));
  const Pcm got = read_audio(path("a"), 8000);
  ASSERT_EQ(got.size(), 40000u);
  const auto expected = sine(40000, 8000.0, 300.0, 0.5 * 32768.0);
  for (std::size_t n = 1000; n < 39000; ++n) ASSERT_NEAR(got[n], expected[n], 2.0) << n;
}

TEST_F(AudioFile, ExtremeRatesAreReadOrRefused) {
  write_audio(path("a"), wav16, 1000, 1, Pcm(1000, 100));
  EXPECT_EQ(read_audio(path("a"), 16000).size(), 16000u);
  write_audio(path("a"), wav16, 1000000, 1, Pcm(100000, 100));
  EXPECT_EQ(read_audio(path("a"), 8000).size(), 800u);
  for (const int rate : {1, 999, 1000001, 2147483647}) {
    write_audio(path("a"), wav16, rate, 1, Pcm(100, 100));
    EXPECT_EQ(error_of(path("a")), path("a") + ": its sampling rate of " + std::to_string(rate) +
                                       " Hz is outside 1000 to 1000000 Hz");
  }
}

TEST_F(AudioFile, ASilentFileAndAnEmptyOne) {
  write_audio(path("a"), wav16, 44100, 2, Pcm(2 * 4410));
  EXPECT_EQ(read_audio(path("a"), 8000), Pcm(800));
  write_audio(path("a"), wav16, 44100, 2, Pcm());
  EXPECT_EQ(read_audio(path("a"), 8000), Pcm());
}

TEST_F(AudioFile, ErrorsNameFileAndCause) {
  EXPECT_EQ(error_of(path("none")), path("none") + ": No such file or directory");
  write_bytes(path("text"), Bytes(1000, 'x'));
  EXPECT_THAT(error_of(path("text")), StartsWith(path("text") + ": no readable audio file ("));
  EXPECT_NE(error_of(path(".")), "");
}

TEST_F(AudioFile, OfADamagedFlacFileComesWhatLiesAheadOfTheDamage) {
  const Pcm pcm = loud_speech(40000, 3);
  write_audio(path("a"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 8000, 1, pcm);
  Bytes bytes = test::read_bytes(path("a"));
  std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2), bytes.end(),
            std::uint8_t{0});
  write_bytes(path("a"), bytes);
  bool cut_short = false;
  const Pcm start = read_audio(path("a"), 8000, &cut_short);
  EXPECT_TRUE(cut_short);
  ASSERT_GT(start.size(), 10000u);
  ASSERT_LT(start.size(), pcm.size());
  EXPECT_TRUE(std::equal(start.begin(), start.end(), pcm.begin()));
}

TEST_F(AudioFile, WavComesBack) {
  Pcm pcm = loud_speech(5000, 4);
  pcm[7] = -32768;
  OutputFile file(path("w"), false, "");
  WavWriter writer(file, 16000);
  writer.write(std::span(pcm).first(1));
  writer.write(std::span(pcm).subspan(1, 0));
  writer.write(std::span(pcm).subspan(1));
  writer.finish();
  const test::Audio audio = test::load_audio(path("w"));
  EXPECT_EQ(audio.rate, 16000);
  EXPECT_EQ(audio.channels, 1);
  EXPECT_EQ(audio.format, wav16);
  EXPECT_EQ(audio.samples, pcm);
  EXPECT_EQ(test::read_bytes(path("w")).size(), 44u + 2u * pcm.size());
}

TEST_F(AudioFile, WhatWavCannotHoldBecomesRf64) {
  const Pcm pcm = loud_speech(3000, 5);
  for (const std::size_t most : {2999u, 3000u, 3001u}) {
    OutputFile file(path("w"), true, "");
    WavWriter writer(file, 8000, most);
    writer.write(std::span(pcm).first(1000));
    writer.write(std::span(pcm).subspan(1000));
    writer.finish();
    const test::Audio audio = test::load_audio(path("w"));
    EXPECT_EQ(audio.format, most < 3000 ? SF_FORMAT_RF64 | SF_FORMAT_PCM_16 : wav16);
    EXPECT_EQ(audio.rate, 8000);
    EXPECT_EQ(audio.samples, pcm);
    EXPECT_EQ(read_audio(path("w"), 8000), pcm);
  }
}

TEST_F(AudioFile, Rf64HeaderByteForByte) {
  OutputFile file(path("w"), false, "");
  WavWriter writer(file, 8000, 1);
  writer.write(Pcm{1, -2});
  writer.finish();
  EXPECT_EQ(test::read_bytes(path("w")),
            (Bytes{'R', 'F', '6', '4', 255,  255,  255, 255, 'W',  'A',  'V', 'E', 'd',  's',
                   '6', '4', 28,  0,   0,    0,    76,  0,   0,    0,    0,   0,   0,    0,
                   4,   0,   0,   0,   0,    0,    0,   0,   2,    0,    0,   0,   0,    0,
                   0,   0,   0,   0,   0,    0,    'f', 'm', 't',  ' ',  16,  0,   0,    0,
                   1,   0,   1,   0,   0x40, 0x1f, 0,   0,   0x80, 0x3e, 0,   0,   2,    0,
                   16,  0,   'd', 'a', 't',  'a',  255, 255, 255,  255,  1,   0,   0xfe, 0xff}));
}

TEST_F(AudioFile, WavHeaderByteForByte) {
  OutputFile file(path("w"), false, "");
  WavWriter writer(file, 8000);
  writer.write(Pcm{1, -2});
  writer.finish();
  EXPECT_THAT(test::read_bytes(path("w")),
              ElementsAre('R', 'I', 'F', 'F', 40, 0, 0, 0, 'W', 'A', 'V', 'E', 'f', 'm', 't', ' ',
                          16, 0, 0, 0, 1, 0, 1, 0, 0x40, 0x1f, 0, 0, 0x80, 0x3e, 0, 0, 2, 0, 16, 0,
                          'd', 'a', 't', 'a', 4, 0, 0, 0, 1, 0, 0xfe, 0xff));
}

}  // namespace
}  // namespace quel::tools
