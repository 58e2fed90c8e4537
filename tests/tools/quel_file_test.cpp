#include "tools/quel_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tools/audio_file.h"
#include "tools/file_error.h"
#include "tools/tool_support.h"

namespace quel::tools {
namespace {

using test::Bytes;
using test::read_bytes;
using test::write_bytes;

const Bytes sound = {'Q', 'U', 'E', 'L', 1, 2, 0x04, 0x03, 0x02, 0x01};

std::string error_of(const Bytes& bytes) {
  try {
    unpack_header("f", bytes);
  } catch (const FileError& error) {
    return error.what();
  }
  return "";
}

Bytes with(std::size_t position, std::uint8_t value) {
  Bytes bytes = sound;
  bytes[position] = value;
  return bytes;
}

TEST(QuelHeader, IsTenBytesLeastSignificantFirst) {
  const auto bytes = pack_header({2, 0x01020304});
  EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), sound);
}

TEST(QuelHeader, ComesBack) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    for (const std::uint32_t samples : {0u, 1u, 255u, 256u, 65536u, wav_max_samples}) {
      const QuelHeader header = unpack_header("f", pack_header({flavor, samples}));
      EXPECT_EQ(header.flavor, flavor);
      EXPECT_EQ(header.samples, samples);
    }
  }
}

TEST(QuelHeader, EachFieldHasItsOwnMessage) {
  EXPECT_EQ(error_of({}), "f: empty");
  EXPECT_EQ(error_of(with(0, 'q')), "f: not a file made by quel encode");
  EXPECT_EQ(error_of(with(3, 0)), "f: not a file made by quel encode");
  EXPECT_EQ(error_of({'R', 'I'}), "f: not a file made by quel encode");
  EXPECT_EQ(error_of({'Q', 'U'}), "f: ends within its header (2 of 10 bytes)");
  EXPECT_EQ(error_of(Bytes(sound.begin(), sound.end() - 1)),
            "f: ends within its header (9 of 10 bytes)");
  EXPECT_EQ(error_of(with(4, 0)), "f: file version 0 is unknown (this program reads version 1)");
  EXPECT_EQ(error_of(with(4, 2)), "f: file version 2 is unknown (this program reads version 1)");
  EXPECT_EQ(error_of(with(5, 4)), "f: flavor 4 is not one of 0 to 3");
  EXPECT_EQ(error_of(with(5, 255)), "f: flavor 255 is not one of 0 to 3");
  EXPECT_EQ(error_of(sound), "");
}

TEST(QuelHeader, LengthIsHeldToWhatAWavFileHolds) {
  const auto longest = pack_header({0, wav_max_samples});
  EXPECT_EQ(error_of(Bytes(longest.begin(), longest.end())), "");
  const auto longer = pack_header({0, wav_max_samples + 1});
  EXPECT_EQ(error_of(Bytes(longer.begin(), longer.end())),
            "f: its length of " + std::to_string(wav_max_samples + 1) +
                " samples is more than a WAV file holds");
}

TEST(UnitCount, HoldsTheSourceAndTheDelay) {
  constexpr std::uint32_t unit[] = {288, 144, 480, 160}, delay[] = {120, 120, 360, 80};
  for (int flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    EXPECT_EQ(unit_count({flavor, 0}), 0u);
    EXPECT_EQ(unit_count({flavor, 1}), 1u);
    EXPECT_EQ(unit_count({flavor, unit[flavor] - delay[flavor]}), 1u);
    EXPECT_EQ(unit_count({flavor, unit[flavor] - delay[flavor] + 1}), 2u);
    EXPECT_EQ(unit_count({flavor, 10 * unit[flavor]}), 11u);
    const std::uint64_t most = wav_max_samples;
    EXPECT_EQ(unit_count({flavor, wav_max_samples}),
              (most + delay[flavor] + unit[flavor] - 1) / unit[flavor]);
  }
}

class QuelFileTest : public test::ToolTest {};

TEST_F(QuelFileTest, WriterAndReaderAgree) {
  OutputFile file(path("f"), false, "");
  QuelWriter writer(file, 1);
  writer.write(Bytes(19, 7));
  writer.write(Bytes(19, 8));
  writer.finish(168);
  EXPECT_EQ(read_bytes(path("f")).size(), 10u + 2u * 19u);
  QuelReader reader(path("f"));
  EXPECT_EQ(reader.header().flavor, 1);
  EXPECT_EQ(reader.header().samples, 168u);
  Bytes unit(19);
  EXPECT_TRUE(reader.read(unit));
  EXPECT_EQ(unit, Bytes(19, 7));
  EXPECT_TRUE(reader.read(unit));
  EXPECT_EQ(unit, Bytes(19, 8));
  EXPECT_FALSE(reader.read(unit));
}

TEST_F(QuelFileTest, AnIncompleteUnitIsTheEnd) {
  Bytes bytes = sound;
  bytes.resize(10 + 36);
  write_bytes(path("f"), bytes);
  QuelReader reader(path("f"));
  Bytes unit(37);
  EXPECT_FALSE(reader.read(unit));
}

TEST_F(QuelFileTest, MissingFilesAndFoldersAreTheSystemsErrors) {
  const auto error = [](const std::string& name) -> std::string {
    try {
      QuelReader reader(name);
    } catch (const FileError& caught) {
      return caught.what();
    }
    return "";
  };
  EXPECT_EQ(error(path("none")), path("none") + ": No such file or directory");
  EXPECT_EQ(error(path(".")), path(".") + ": Is a directory");
}

}  // namespace
}  // namespace quel::tools
