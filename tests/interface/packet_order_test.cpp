#include "interface/packet_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "support/signals.h"

namespace quel {
namespace {

using test::Random;

constexpr std::uint32_t length = 160;
constexpr std::uint64_t microseconds = 20000;

// Packet k of a sender, come at its time.
Place place(PacketOrder& order, std::uint32_t k, std::uint32_t sequence = 0,
            std::uint32_t timestamp = 0) {
  return place_packet(order, sequence + k, timestamp + k * length, k * microseconds);
}

TEST(PacketOrder, CountsOnOverEveryWrap) {
  PacketOrder order;
  const std::uint32_t sequence = 0xfffffff0u, timestamp = 0xffffff00u;
  const Place first = place(order, 0, sequence, timestamp);
  EXPECT_EQ(first.fit, Fit::first);
  for (std::uint32_t k = 1; k < 200000; ++k) {  // three rounds of 16 bits
    const Place next = place(order, k, sequence, timestamp);
    ASSERT_EQ(next.fit, Fit::next);
    ASSERT_EQ(next.sequence - first.sequence, k);
    ASSERT_EQ(next.timestamp - first.timestamp, std::int64_t{k} * length);
  }
  EXPECT_EQ(packets_lost(order), 0u);
  EXPECT_EQ(order.received, 200000u);
}

TEST(PacketOrder, TellsLateFromDoubledFromLost) {
  PacketOrder order;
  for (const std::uint32_t k : {0u, 1u, 2u, 5u}) place(order, k);
  EXPECT_EQ(packets_lost(order), 2u);
  EXPECT_EQ(place(order, 4).fit, Fit::earlier);
  EXPECT_EQ(packets_lost(order), 1u);
  EXPECT_EQ(place(order, 4).fit, Fit::duplicate);
  EXPECT_EQ(place(order, 5).fit, Fit::duplicate);
  EXPECT_EQ(place(order, 0).fit, Fit::duplicate);
  EXPECT_EQ(place(order, 100).fit, Fit::next);
  EXPECT_EQ(place(order, 5).fit, Fit::duplicate);
  EXPECT_EQ(place(order, 3).fit, Fit::earlier);
  EXPECT_EQ(packets_lost(order), 94u);
  EXPECT_EQ(order.received, 7u);
}

TEST(PacketOrder, ThePacketBeforeTheFirstCounts) {
  PacketOrder order;
  place(order, 11);
  EXPECT_EQ(place(order, 10).fit, Fit::earlier);
  EXPECT_EQ(packets_lost(order), 0u);
  EXPECT_EQ(place(order, 8).fit, Fit::earlier);
  EXPECT_EQ(packets_lost(order), 1u);
}

TEST(PacketOrder, RemembersAWindowOfPackets) {
  PacketOrder order;
  place(order, 1000);
  place(order, 1127);
  EXPECT_EQ(place(order, 1000).fit, Fit::duplicate);
  place(order, 1128);
  EXPECT_EQ(place(order, 1000).fit, Fit::stray);  // 128 behind
  for (std::uint32_t k = 1001; k < 1127; ++k) EXPECT_EQ(place(order, k).fit, Fit::earlier) << k;
  for (std::uint32_t k = 1001; k < 1127; ++k) EXPECT_EQ(place(order, k).fit, Fit::duplicate) << k;
  EXPECT_EQ(packets_lost(order), 0u);
}

TEST(PacketOrder, EveryStepMovesTheWindowRight) {
  Random random(4);
  for (int step = 1; step < 140; ++step) {
    PacketOrder order;
    place(order, 1000);
    place(order, 1001);
    place(order, 1003);
    const auto latest = static_cast<std::uint32_t>(1003 + step);
    place(order, latest);
    for (std::uint32_t k = 1000; k < latest; ++k) {
      const bool there = k == 1000 || k == 1001 || k == 1003;
      PacketOrder copy = order;
      const Fit wanted = latest - k > 127 ? Fit::stray : there ? Fit::duplicate : Fit::earlier;
      ASSERT_EQ(place(copy, k).fit, wanted) << step << ' ' << k;
    }
  }
}

TEST(PacketOrder, OneStrayMovesNothingAndTwoInARowAreAStream) {
  PacketOrder order;
  for (std::uint32_t k = 0; k < 10; ++k) place(order, k);
  EXPECT_EQ(place_packet(order, 30000, 77, 10 * microseconds).fit, Fit::stray);
  EXPECT_EQ(place(order, 10).fit, Fit::next);
  // Not the next one of the stray: another.
  EXPECT_EQ(place_packet(order, 20000, 12345678, 11 * microseconds).fit, Fit::stray);
  EXPECT_EQ(place_packet(order, 20003, 12345678 + 3 * length, 11 * microseconds).fit, Fit::stray);
  const Place begun = place_packet(order, 20004, 12345678 + 4 * length, 12 * microseconds);
  EXPECT_EQ(begun.fit, Fit::first);
  EXPECT_EQ(begun.timestamp, 12345678 + 4 * static_cast<std::int64_t>(length));
  EXPECT_EQ(packets_lost(order), 0u);
  EXPECT_EQ(place_packet(order, 20006, 12345678 + 6 * length, 13 * microseconds).fit, Fit::next);
  EXPECT_EQ(packets_lost(order), 1u);
}

TEST(PacketOrder, TheFirstStrayFollowsNothing) {
  PacketOrder order;
  place_packet(order, 30000, 1u << 31, 0);
  EXPECT_EQ(place_packet(order, 1, 100, 0).fit, Fit::stray);
}

TEST(PacketOrder, LossesOfTheStreamBeforeStayCounted) {
  PacketOrder order;
  place(order, 0);
  place(order, 8);
  place(order, 30000, 0, 1u << 30);
  EXPECT_EQ(place(order, 30001, 0, 1u << 30).fit, Fit::first);
  place(order, 30003, 0, 1u << 30);
  EXPECT_EQ(packets_lost(order), 7u + 1u);
}

TEST(PacketOrder, SoundThatIsNotSentMayTakeItsTime) {
  PacketOrder order;
  place(order, 0);
  // An hour later by timestamps and by the clock.
  const std::uint32_t hour = 8000 * 3600;
  EXPECT_EQ(place_packet(order, 1, hour, 3600 * std::uint64_t{1000000}).fit, Fit::next);
  // An hour later by timestamps alone.
  EXPECT_EQ(place_packet(order, 2, 2 * hour, 3601 * std::uint64_t{1000000}).fit, Fit::stray);
  EXPECT_EQ(place_packet(order, 2, hour + 10 * 8000, 3600 * std::uint64_t{1000000}).fit, Fit::next);
  // Timestamps that stand still or go back do not go on.
  EXPECT_EQ(place_packet(order, 3, hour + 10 * 8000, 3600 * std::uint64_t{1000000}).fit,
            Fit::stray);
  EXPECT_EQ(place_packet(order, 4, hour, 3600 * std::uint64_t{1000000}).fit, Fit::stray);
}

TEST(PacketOrder, AHoleOfThreeThousandPacketsIsTheSameStream) {
  PacketOrder order;
  place(order, 0);
  EXPECT_EQ(place(order, 3000).fit, Fit::next);
  EXPECT_EQ(packets_lost(order), 2999u);
  EXPECT_EQ(place(order, 6001).fit, Fit::stray);
}

// The estimate of RFC 3550, section 6.4.1, in real numbers.
TEST(PacketOrder, JitterIsTheEstimateOfTheStandard) {
  Random random(6);
  PacketOrder order;
  double jitter = 0, before = 0;
  for (std::uint32_t k = 0; k < 3000; ++k) {
    const std::uint64_t came =
        k * microseconds + static_cast<std::uint64_t>(random.integer(0, 40000));
    place_packet(order, k, k * length, came);
    const double transit = static_cast<double>(came) * 8000 / 1e6 - k * 160.0;
    if (k > 0) jitter += (std::abs(transit - before) - jitter) / 16;
    before = transit;
    // Whole samples: the division rounds each step.
    ASSERT_NEAR(static_cast<double>(jitter_of(order)), jitter, 2.0);
  }
  EXPECT_GT(jitter_of(order), 60u);  // a third of 320
}

TEST(PacketOrder, ClocksThatJumpAreBounded) {
  Random random(8);
  PacketOrder order;
  for (std::uint32_t k = 0; k < 2000; ++k) {
    const std::uint64_t came = std::uint64_t{random.bits()} << 32 | random.bits();
    ASSERT_EQ(place_packet(order, k, k * length, came).fit, k == 0 ? Fit::first : Fit::next);
    ASSERT_LE(jitter_of(order), 80000u);  // ten seconds
  }
}

}  // namespace
}  // namespace quel
