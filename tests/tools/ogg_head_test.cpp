#include "tools/ogg_head.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quelcodec/quelcodec.h>

#include "tools/file_error.h"
#include "tools/version.h"

namespace quel::tools {
namespace {

using Bytes = std::vector<std::uint8_t>;

const Bytes sound = {'Q', 'u',  'e',  'l', 'H', 'e', 'a', 'd', 0x10, 1, 2,
                     0,   0x44, 0xac, 0,   0,   104, 1,   0,   0,    2};

std::string error_of(const Bytes& packet) {
  try {
    unpack_head("f", packet);
  } catch (const FileError& error) {
    return error.what();
  }
  return "";
}

Bytes with(std::size_t position, std::initializer_list<int> values) {
  Bytes packet = sound;
  for (const int value : values) packet.at(position++) = static_cast<std::uint8_t>(value);
  return packet;
}

TEST(OggHead, IsTwentyOneBytesLeastSignificantFirst) {
  EXPECT_EQ(pack_head(make_head(2, 44100)), sound);
}

TEST(OggHead, SkipsTheFlavorsDelay) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    EXPECT_EQ(make_head(flavor, 8000).pre_skip, quel_delay(flavor));
  }
}

TEST(OggHead, ComesBack) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    for (const std::uint32_t rate : {0u, 1000u, 8000u, 192000u, 1000000u}) {
      OggHead head = make_head(flavor, rate);
      head.pre_skip = 0xfedc;
      head.bitstream = 0xabcd;
      const OggHead back = unpack_head("f", pack_head(head));
      EXPECT_EQ(back.flavor, flavor);
      EXPECT_EQ(back.input_rate, rate);
      EXPECT_EQ(back.pre_skip, 0xfedc);
      EXPECT_EQ(back.bitstream, 0xabcd);
      EXPECT_EQ(back.version, 0x10);
    }
  }
}

TEST(OggHead, EachFieldHasItsOwnMessage) {
  EXPECT_EQ(error_of(sound), "");
  EXPECT_EQ(error_of({}), "f: its first packet is no quel header");
  EXPECT_EQ(error_of(with(7, {'D'})), "f: its first packet is no quel header");
  EXPECT_EQ(error_of(with(8, {0x20})),
            "f: its format is version 2.0; this program reads version 1, a newer one is needed");
  EXPECT_EQ(error_of(with(8, {0xff})),
            "f: its format is version 15.15; this program reads version 1, a newer one is needed");
  EXPECT_EQ(error_of(with(8, {0x05})), "f: its format is version 0.5, which never was");
  EXPECT_EQ(error_of(with(9, {0})), "f: it has 0 channels; there can be only 1");
  EXPECT_EQ(error_of(with(9, {2})), "f: it has 2 channels; there can be only 1");
  EXPECT_EQ(error_of(with(12, {0xe7, 3})),
            "f: its source's rate of 999 Hz is not one of 1000 to 1000000");
  EXPECT_EQ(error_of(with(12, {0x41, 0x42, 0x0f})),
            "f: its source's rate of 1000001 Hz is not one of 1000 to 1000000");
  EXPECT_EQ(error_of(with(12, {0, 0, 0, 0})), "");
  EXPECT_EQ(error_of(with(16, {103, 1})),
            "f: it skips 359 samples at its start, which is less than its flavor's delay of 360");
  EXPECT_EQ(error_of(with(16, {105, 1})), "");
  EXPECT_EQ(error_of(with(18, {0, 3})), "f: it asks for a gain of 3.00 dB; there can be none");
  EXPECT_EQ(error_of(with(18, {0xff, 0xff})),
            "f: it asks for a gain of -0.00 dB; there can be none");
  EXPECT_EQ(error_of(with(18, {0x80, 0xfe})),
            "f: it asks for a gain of -1.50 dB; there can be none");
  EXPECT_EQ(error_of(with(20, {4})), "f: its flavor 4 is not one of 0 to 3");
  EXPECT_EQ(error_of(with(20, {255})), "f: its flavor 255 is not one of 0 to 3");
}

TEST(OggHead, CutAnywhereItIsRefused) {
  for (std::size_t size = 8; size < sound.size(); ++size) {
    EXPECT_EQ(error_of(Bytes(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(size))),
              "f: its header has " + std::to_string(size) + " bytes instead of 21");
  }
}

TEST(OggHead, OnlyANewerMinorVersionMayBeLonger) {
  Bytes longer = sound;
  longer.push_back(0);
  EXPECT_EQ(error_of(longer), "f: its header has 22 bytes instead of 21");
  longer[8] = 0x11;
  EXPECT_EQ(error_of(longer), "");
  // Whatever a later minor version adds comes behind what minor 1 has.
  EXPECT_EQ(error_of(with(8, {0x1f})), "f: its header has 21 bytes instead of 22");
  longer[8] = 0x1f;
  EXPECT_EQ(error_of(longer), "");
  longer.push_back(0xff);
  EXPECT_EQ(error_of(longer), "");
  longer[8] = 0x11;
  EXPECT_EQ(error_of(longer), "f: its header has 23 bytes instead of 22");
}

std::string refusal_of(int bitstream, const std::string& encoder) {
  OggHead head = make_head(1, 8000);
  head.bitstream = static_cast<std::uint16_t>(bitstream);
  try {
    check_bitstream("f", head, encoder);
  } catch (const FileError& error) {
    return error.what();
  }
  return "";
}

TEST(OggHead, ItsBitstreamIsTheLibrarys) {
  EXPECT_EQ(make_head(1, 8000).bitstream, quel_bitstream());
  EXPECT_EQ(refusal_of(quel_bitstream(), "quelcodec 9.9.9"), "");
}

TEST(OggHead, TheFirstBitstreamIsRefusedNamingTheVersionThatReadsIt) {
  const std::string cause = "f: its sound is coded in bitstream 1 and this program, quelcodec " +
                            version_text() +
                            ", reads bitstream 2; quelcodec 0.1.0 is the version that reads it";
  EXPECT_EQ(refusal_of(1, "quelcodec 0.1.0"), cause);
  EXPECT_EQ(refusal_of(1, ""), cause);
  EXPECT_EQ(refusal_of(1, "another program"), cause);
}

TEST(OggHead, BitstreamsToComeAreRefusedNamingTheProgramThatWroteThem) {
  for (const std::string number : {"3", "256", "65535"}) {
    const std::string cause = "f: its sound is coded in bitstream " + number +
                              " and this program, quelcodec " + version_text() +
                              ", reads bitstream 2; a newer one is needed";
    EXPECT_EQ(refusal_of(std::stoi(number), "quelcodec 9.9.9"),
              cause + ", such as the one that wrote it: quelcodec 9.9.9");
    EXPECT_EQ(refusal_of(std::stoi(number), ""), cause);
  }
}

// A later bitstream may have flavors of its own.
TEST(OggHead, AnUnknownBitstreamIsTheFirstThingThatIsWrong) {
  for (const std::size_t field : {9u, 14u, 16u, 18u, 20u}) {
    Bytes packet = with(10, {3});
    packet[field] = 99;
    EXPECT_EQ(error_of(packet), refusal_of(3, "")) << field;
  }
  EXPECT_EQ(error_of(with(10, {3})), "");  // for check_bitstream, which knows the encoder
}

TEST(OggHead, BitstreamNoughtNeverWas) {
  EXPECT_EQ(refusal_of(0, "quelcodec 0.1.0"), "f: its bitstream is number 0, which never was");
}

}  // namespace
}  // namespace quel::tools
