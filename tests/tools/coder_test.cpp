// The classic driver as a shell user meets it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quelcodec/quelcodec.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "support/signals.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

using ::testing::IsEmpty;

constexpr int calls_samples[] = {2304, 2304, 3840, 2560};
constexpr int calls_bytes[] = {232, 304, 296, 320};
constexpr int frame_samples[] = {144, 144, 240, 160};

class Quelo : public ToolTest {
 protected:
  ProgramResult quelo(const std::vector<std::string>& arguments) {
    return run_program(QUELO_PROGRAM, arguments);
  }
  std::string opened(const std::string& in, const std::string& out) {
    return " Input file:      " + in + "\n Output file:  " + out + "\n";
  }
};

const std::string usage = "Usage : quelo input output flavor flag (encode/decode)\n";

TEST_F(Quelo, AnyCountButFourArgumentsPrintsTheUsageWithStatusOne) {
  const std::vector<std::vector<std::string>> calls = {
      {}, {"a"}, {"a", "b"}, {"a", "b", "0"}, {"a", "b", "0", "0", "x"}};
  for (const auto& arguments : calls) {
    const ProgramResult result = quelo(arguments);
    EXPECT_EQ(result.status, 1) << arguments.size();
    EXPECT_EQ(result.out, usage);
    EXPECT_EQ(result.err, "");
  }
}

TEST_F(Quelo, MissingInputIsNamedAndLeavesNoOutput) {
  const ProgramResult result = quelo({path("none"), path("out"), "1", "0"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "Error opening input file  " + path("none") + " !!\n");
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(names(), IsEmpty());
}

TEST_F(Quelo, OutputThatCannotBeOpenedIsNamedAfterTheInput) {
  write_bytes(path("in"), Bytes(100));
  const std::string out = path("no such folder/out");
  const ProgramResult result = quelo({path("in"), out, "1", "0"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, " Input file:      " + path("in") +
                            "\nError opening output bitstream file " + out + " !!\n");
}

TEST_F(Quelo, InvalidFlavorStillEmptiesTheOutput) {
  write_bytes(path("in"), Bytes(5000));
  for (const std::string flavor : {"4", "03", "", "-1", "a", "0 ", "/", ":"}) {
    write_bytes(path("out"), Bytes(7));
    const ProgramResult result = quelo({path("in"), path("out"), flavor, "0"});
    EXPECT_EQ(result.status, 0) << flavor;
    EXPECT_EQ(result.out, opened(path("in"), path("out")) + "invalid flavor\n") << flavor;
    EXPECT_EQ(std::filesystem::file_size(path("out")), 0u) << flavor;
  }
}

TEST_F(Quelo, InvalidFlavorCreatesAMissingOutput) {
  write_bytes(path("in"), {});
  quelo({path("in"), path("out"), "4", "1"});
  EXPECT_TRUE(exists(path("out")));
}

TEST_F(Quelo, OneFileAsInputAndOutputIsEmptied) {
  write_bytes(path("x"), Bytes(2 * 2560));
  EXPECT_EQ(quelo({path("x"), path("x"), "3", "0"}).status, 0);
  EXPECT_EQ(std::filesystem::file_size(path("x")), 0u);
}

TEST_F(Quelo, EncodingDropsAShortFinalBlock) {
  const auto pcm = loud_speech(2305, 1);
  write_bytes(path("in"), pcm_bytes(pcm));
  const ProgramResult result = quelo({path("in"), path("out"), "1", "0"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, opened(path("in"), path("out")));
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(read_bytes(path("out")).size(), 304u);
}

TEST_F(Quelo, EncodingLessThanABlockWritesNothing) {
  write_bytes(path("in"), pcm_bytes(loud_speech(2303, 1)));
  EXPECT_EQ(quelo({path("in"), path("out"), "0", "0"}).status, 0);
  EXPECT_EQ(read_bytes(path("out")).size(), 0u);
}

class QueloFlavor : public Quelo, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Flavors, QueloFlavor, ::testing::Range(0, 4));

// The plug-in of this process is as fresh as the program's only in a process of its own.
TEST_P(QueloFlavor, EncodesWhatThePluginEncodes) {
  const int flavor = GetParam();
  const int samples = calls_samples[flavor];
  const auto pcm = loud_speech(3 * samples, 3, flavor == 3 ? 16000.0 : 8000.0);
  write_bytes(path("in"), pcm_bytes(pcm));
  ASSERT_EQ(quelo({path("in"), path("out"), std::to_string(flavor), "0"}).status, 0);
  std::uint32_t samples_per_call = 0, bytes_per_call = 0;
  SetFlavor(static_cast<std::uint16_t>(flavor));
  InitEncoder(8000, 2, &samples_per_call, &bytes_per_call);
  ASSERT_EQ(samples_per_call, static_cast<std::uint32_t>(samples));
  Bytes expected(3 * bytes_per_call);
  for (std::uint32_t k = 0; k < 3; ++k) {
    Encode(pcm.data() + k * samples_per_call, expected.data() + k * bytes_per_call);
  }
  EXPECT_EQ(read_bytes(path("out")), expected);
}

TEST_P(QueloFlavor, DecodesWhatThePluginDecodes) {
  const int flavor = GetParam();
  Bytes coded(10 * 20);
  Random random(5);
  for (auto& byte : coded) byte = static_cast<std::uint8_t>(random.bits());
  write_bytes(path("in"), coded);
  ASSERT_EQ(quelo({path("in"), path("out"), std::to_string(flavor), "1"}).status, 0);
  InitDecoder();
  SetFlavor(static_cast<std::uint16_t>(flavor));
  Bytes expected;
  for (int k = 0; k < 10; ++k) {
    std::vector<std::int16_t> samples(2048);
    std::uint16_t length = 0;
    ASSERT_EQ(Decode(coded.data() + 20 * k, 20, samples.data(), &length, 1), 0);
    ASSERT_EQ(length, 2 * frame_samples[flavor]);
    samples.resize(length / 2);
    const Bytes part = pcm_bytes(samples);
    expected.insert(expected.end(), part.begin(), part.end());
  }
  EXPECT_EQ(read_bytes(path("out")), expected);
}

TEST_F(Quelo, EveryFlavorWritesItsBytesPerCall) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    write_bytes(path("in"), pcm_bytes(loud_speech(2 * calls_samples[flavor], 4)));
    ASSERT_EQ(quelo({path("in"), path("out"), std::to_string(flavor), "0"}).status, 0);
    EXPECT_EQ(read_bytes(path("out")).size(), 2u * static_cast<unsigned>(calls_bytes[flavor]));
  }
}

TEST_F(Quelo, DecodingFlavorThreeIgnoresBytesAfterTheLastBlock) {
  Bytes coded(41, 0x5a);
  write_bytes(path("in"), coded);
  const ProgramResult result = quelo({path("in"), path("out"), "3", "1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, opened(path("in"), path("out")));
  EXPECT_EQ(read_bytes(path("out")).size(), 640u);
}

TEST_F(Quelo, DecodesOneFrameOfEveryTwentyBytes) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    Bytes coded(5 * 20 + 19);
    for (std::size_t i = 0; i < coded.size(); ++i) coded[i] = static_cast<std::uint8_t>(37 * i);
    write_bytes(path("in"), coded);
    ASSERT_EQ(quelo({path("in"), path("out"), std::to_string(flavor), "1"}).status, 0);
    EXPECT_EQ(read_bytes(path("out")).size(),
              5u * 2u * static_cast<unsigned>(frame_samples[flavor]));
  }
}

TEST_F(Quelo, OnlyTheFlagZeroEncodes) {
  const int samples = calls_samples[1];
  write_bytes(path("in"), pcm_bytes(loud_speech(samples, 6)));
  const std::size_t blocks = static_cast<std::size_t>(2 * samples / 20);
  for (const std::string flag : {"1", "", "00", "encode", "-0", "0 "}) {
    ASSERT_EQ(quelo({path("in"), path("out"), "1", flag}).status, 0);
    EXPECT_EQ(read_bytes(path("out")).size(), blocks * 288) << flag;
  }
  ASSERT_EQ(quelo({path("in"), path("out"), "1", "0"}).status, 0);
  EXPECT_EQ(read_bytes(path("out")).size(), 304u);
}

TEST_F(Quelo, StatusIsThatOfClosingTheOutput) {
  // One block's bytes wait in the buffer until the file is closed; the full device then fails.
  write_bytes(path("in"), pcm_bytes(loud_speech(2304, 7)));
  const ProgramResult result = quelo({path("in"), "/dev/full", "0", "0"});
  EXPECT_EQ(result.status, 255);
  EXPECT_EQ(result.out, opened(path("in"), "/dev/full"));
}

TEST_F(Quelo, CodedSpeechComesBack) {
  // Flavor 3 is the one that the 20-byte blocks fit: a round trip through both directions.
  const auto pcm = loud_speech(4 * 2560, 8, 16000.0);
  write_bytes(path("in"), pcm_bytes(pcm));
  ASSERT_EQ(quelo({path("in"), path("coded"), "3", "0"}).status, 0);
  ASSERT_EQ(quelo({path("coded"), path("out"), "3", "1"}).status, 0);
  const auto out = bytes_pcm(read_bytes(path("out")));
  ASSERT_EQ(out.size(), pcm.size());
  double signal = 0.0, error = 0.0;
  for (std::size_t n = 0; n + 80 < pcm.size(); ++n) {
    signal += static_cast<double>(pcm[n]) * pcm[n];
    const double e = static_cast<double>(pcm[n]) - out[n + 80];
    error += e * e;
  }
  // A misplaced or wrongly decoded signal leaves an error as large as the signal.
  EXPECT_LT(error, 0.5 * signal);
}

}  // namespace
}  // namespace quel::test
