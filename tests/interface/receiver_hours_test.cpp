// Calls of hours, in seconds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "interface/receiver_support.h"
#include "quelcodec/quelcodec.h"
#include "support/call.h"
#include "support/sanitizers.h"

namespace quel::test {
namespace {

constexpr int hours = slow_build ? 1 : 2;

class ReceiverHours : public ::testing::TestWithParam<double> {
 protected:
  Network drifting() const {
    Network network;
    network.drift_ppm = GetParam();
    return network;
  }
};
INSTANTIATE_TEST_SUITE_P(Drift, ReceiverHours, ::testing::Values(-200.0, 200.0));

TEST_P(ReceiverHours, DriftDoesNotBuildUp) {
  const Speech speech(QUEL_FLAVOR_8K5, 20);
  const ReceiverPointer receiver = make_receiver(QUEL_FLAVOR_8K5);
  Call call(speech, drifting(), receiver.get());
  call.run(60);
  std::uint64_t most = 0;
  call.run(3600.0 * hours,
           [&](const Pcm&) { most = std::max(most, counts_of(receiver.get()).delay); });
  const quel_receiver_counts counts = counts_of(receiver.get());
  // A block of 20 ms, in which packets come at any time; 47 s of drift, 9.4 ms; steps of 5 ms at
  // both ends; 2.5 ms more, 10 ms before it is shortened, and 15 ms by which it is lengthened.
  EXPECT_LE(most, static_cast<std::uint64_t>(8 * (20 + 10 + 10 + 3 + 10 + 15)));
  EXPECT_EQ(counts.lost, 0u);
  EXPECT_EQ(counts.late, 0u);
  EXPECT_EQ(counts.dropped, 0u);
  // Made up: where the block that a packet comes before changes. 100 s apart.
  EXPECT_LE(counts.concealed, static_cast<std::uint64_t>(36 * hours));
  // 200 ppm of the samples, put in or taken out; give or take what the wait moves by itself.
  const double drift = GetParam() * 1e-6 * 3600 * hours * 8000;
  const auto concealed = static_cast<double>(counts.concealed) * speech.unit();
  const auto moved = static_cast<double>(counts.inserted) - static_cast<double>(counts.removed);
  EXPECT_GE(moved, drift - concealed - 1000);
  EXPECT_LE(moved, drift + 1000);
}

TEST_P(ReceiverHours, ABadNetworkIsHeardThroughForHours) {
  const Speech speech(QUEL_FLAVOR_5K, 20);
  const ReceiverPointer receiver = make_receiver(QUEL_FLAVOR_5K);
  Network network = drifting();
  network.lost = 3;
  network.run = 2;
  network.jitter_ms = 15;
  network.reordered = 1;
  network.doubled = 1;
  Call call(speech, network, receiver.get());
  std::uint64_t most = 0;
  call.run(3600.0 * hours,
           [&](const Pcm&) { most = std::max(most, counts_of(receiver.get()).delay); });
  const quel_receiver_counts counts = counts_of(receiver.get());
  EXPECT_LE(most, 8u * (400 + 60 + 120));
  EXPECT_LE(counts.lost, call.lost());
  EXPECT_GE(counts.lost + 2, call.lost());
  EXPECT_EQ(counts.restarts, 0u);
  EXPECT_EQ(counts.stray, 0u);
  const auto sent = static_cast<double>(call.sent());
  EXPECT_LE(static_cast<double>(counts.late), 0.01 * sent);
  EXPECT_LE(static_cast<double>(counts.concealed - counts.lost), 0.02 * sent);
}

}  // namespace
}  // namespace quel::test
