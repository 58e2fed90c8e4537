// Receivers against packets that mean harm, and against those that mean nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "interface/receiver_support.h"
#include "quelcodec/quelcodec.h"
#include "support/call.h"

namespace quel::test {
namespace {

class ReceiverHostile : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }
};
INSTANTIATE_TEST_SUITE_P(All, ReceiverHostile, ::testing::Range(0, 4));

TEST_P(ReceiverHostile, SurvivesAnyNumbersAndRecovers) {
  const Speech speech(flavor(), 3);
  const quel_receiver_options options = QUEL_RECEIVER_OPTIONS(flavor());
  const auto size = static_cast<std::size_t>(quel_receiver_size(&options));
  std::vector<std::uint8_t> memory(size + 64, 0xa7);
  quel_receiver* receiver = nullptr;
  ASSERT_EQ(quel_receiver_init(memory.data(), size, &options, &receiver), QUEL_OK);
  const auto unit = static_cast<std::uint32_t>(speech.unit());
  const auto most = static_cast<int>(static_cast<std::uint32_t>(speech.rate()) / unit);
  Random random(41);
  std::uint32_t sequence = 0, timestamp = 0;
  for (int k = 0; k < 20000; ++k) {
    // Mostly near to the packet before, so that much of it fits.
    const int kind = random.integer(0, 9);
    if (kind == 0) sequence = random.bits();
    if (kind == 1) timestamp = random.bits();
    sequence += static_cast<std::uint32_t>(kind == 2 ? random.integer(-200, 200) : 1);
    timestamp += kind == 3 ? static_cast<std::uint32_t>(random.integer(-100000, 100000)) : unit;
    const auto units = speech.coded(0, kind == 4 ? random.integer(1, most) : 1);
    ASSERT_EQ(quel_receiver_push(receiver, sequence, timestamp, random.bits() * std::uint64_t{9973},
                                 units.data(), units.size()),
              QUEL_OK);
    if (random.integer(0, 1) == 0) pull(receiver, static_cast<std::size_t>(random.integer(0, 700)));
    const quel_receiver_counts counts = counts_of(receiver);
    ASSERT_LE(counts.target, static_cast<std::uint64_t>(speech.rate()) * 4 / 10);
    ASSERT_EQ(counts.received + counts.duplicated + counts.stray,
              static_cast<std::uint64_t>(k + 1));
  }
  EXPECT_TRUE(std::all_of(memory.begin() + static_cast<std::ptrdiff_t>(size), memory.end(),
                          [](std::uint8_t byte) { return byte == 0xa7; }));

  // A sender that means well is heard after two packets and a little patience.
  const std::uint64_t before = counts_of(receiver).decoded;
  const std::uint32_t start = timestamp + (1u << 31);
  Pcm all;
  for (std::uint32_t k = 0; k < 200; ++k) {
    ASSERT_EQ(push(receiver, speech, sequence + 30000 + k, k, 1, start), QUEL_OK);
    append(all, pull(receiver, unit));
  }
  // Of 200 units those that wait, the first packet, and a second of silence that was to be played.
  EXPECT_GE(counts_of(receiver).decoded - before, 200u - static_cast<unsigned>(most) - 20u);
  quel_receiver_statistics(receiver, nullptr);
}

TEST_P(ReceiverHostile, APacketFarAheadIsNotWaitedFor) {
  const Speech speech(flavor(), 3);
  const ReceiverPointer receiver = make_receiver(flavor());
  const auto unit = static_cast<std::size_t>(speech.unit());
  std::uint32_t k = 0;
  for (; k < 100; ++k) {
    push(receiver.get(), speech, k, k);
    pull(receiver.get(), unit);
  }
  // Nine seconds ahead, with the next number; the sender's own packets follow.
  const auto ahead = static_cast<std::uint32_t>(9 * speech.rate());
  ASSERT_EQ(push(receiver.get(), speech, k, k, 1, ahead), QUEL_OK);
  const std::uint64_t before = counts_of(receiver.get()).decoded;
  for (; k < 300; ++k) {
    push(receiver.get(), speech, k, k);
    pull(receiver.get(), unit);
  }
  EXPECT_GE(counts_of(receiver.get()).decoded - before, 160u);
  EXPECT_EQ(counts_of(receiver.get()).restarts, 1u);
}

TEST_P(ReceiverHostile, TimestampsThatOverlapAreBounded) {
  const Speech speech(flavor(), 3);
  const ReceiverPointer receiver = make_receiver(flavor());
  const auto unit = static_cast<std::size_t>(speech.unit());
  const auto bytes = speech.coded(0, 3);
  std::uint64_t pulled = 0;
  for (std::uint32_t k = 0; k < 5000; ++k) {  // each one sample later
    ASSERT_EQ(quel_receiver_push(receiver.get(), k, k, 0, bytes.data(), bytes.size()), QUEL_OK);
    if (k % 4 != 0) continue;
    pull(receiver.get(), unit);
    pulled += unit;
  }
  const quel_receiver_counts counts = counts_of(receiver.get());
  EXPECT_EQ(counts.received + counts.duplicated + counts.stray, 5000u);
  EXPECT_LE((counts.decoded + counts.concealed) * unit, 2 * pulled);
}

TEST_P(ReceiverHostile, TwoSendersAtOnceAreSilencedByNeither) {
  const Speech speech(flavor(), 3);
  const ReceiverPointer receiver = make_receiver(flavor());
  const auto unit = static_cast<std::size_t>(speech.unit());
  for (std::uint32_t k = 0; k < 300; ++k) {
    push(receiver.get(), speech, k, k);
    push(receiver.get(), speech, 30000 + k, k, 1, 1u << 31);
    pull(receiver.get(), unit);
  }
  const quel_receiver_counts counts = counts_of(receiver.get());
  EXPECT_EQ(counts.received + counts.stray, 600u);
  EXPECT_LE(counts.restarts, 300u);
}

}  // namespace
}  // namespace quel::test
