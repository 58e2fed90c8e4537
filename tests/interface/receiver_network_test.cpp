// Receivers on networks that do everything that networks do.
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

class ReceiverNetwork : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }
  std::uint64_t ms(int n) const {
    return static_cast<std::uint64_t>(quel_sampling_rate(flavor()) / 1000 * n);
  }
  Network network() const {
    Network network;
    network.block = static_cast<int>(ms(20));
    return network;
  }
  // Samples heard, as the counts have them.
  static std::int64_t accounted(const quel_receiver_counts& counts, int unit) {
    return static_cast<std::int64_t>(counts.decoded + counts.concealed + counts.unsent) * unit +
           static_cast<std::int64_t>(counts.inserted) - static_cast<std::int64_t>(counts.removed);
  }
};
INSTANTIATE_TEST_SUITE_P(All, ReceiverNetwork, ::testing::Range(0, 4));

TEST_P(ReceiverNetwork, ALossIsWhatTheDecoderMakesOfIt) {
  const Speech speech(flavor(), 3);
  const ReceiverPointer receiver = make_receiver(flavor(), 200, 200);
  quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor());
  quel_decoder* decoder = nullptr;
  ASSERT_EQ(quel_decoder_create(&options, &decoder), QUEL_OK);
  const auto unit = static_cast<std::size_t>(speech.unit());
  Random random(11);
  Pcm all, wanted;
  unsigned lost = 0;
  for (std::uint32_t k = 0; k < 150; ++k) {
    const bool loses = k > 0 && k < 140 && random.integer(0, 5) == 0;
    lost += loses ? 1 : 0;
    Pcm pcm(unit);
    const auto bytes = speech.coded(k, 1);
    if (!loses) {
      ASSERT_EQ(push(receiver.get(), speech, k, k), QUEL_OK);
    }
    ASSERT_EQ(quel_decode(decoder, loses ? nullptr : bytes.data(), loses ? 0 : bytes.size(),
                          loses ? 0 : QUEL_ALL_RECEIVED, pcm.data(), unit),
              speech.unit());
    append(wanted, pcm);
    append(all, pull(receiver.get(), unit));
  }
  append(all, pull(receiver.get(), ms(200)));
  quel_decoder_destroy(decoder);
  const std::int64_t start = find(all, piece(wanted, 0, 2 * unit));
  ASSERT_GE(start, 0);
  EXPECT_EQ(piece(all, static_cast<std::size_t>(start), 140 * unit), piece(wanted, 0, 140 * unit));
  EXPECT_EQ(counts_of(receiver.get()).lost, lost);
  EXPECT_EQ(counts_of(receiver.get()).late, 0u);
  EXPECT_GT(lost, 10u);
}

TEST_P(ReceiverNetwork, DisorderWithinTheWaitAndDoublesAreNotHeard) {
  const Speech speech(flavor(), 3);
  const ReceiverPointer tidy = make_receiver(flavor(), 300, 300);
  const ReceiverPointer untidy = make_receiver(flavor(), 300, 300);
  Network network = this->network();
  Call one(speech, network, tidy.get());
  Call other(speech, network, untidy.get());
  EXPECT_EQ(heard(other, 1), heard(one, 1));
  Network disorder = network;
  disorder.reordered = 20;
  disorder.doubled = 20;
  other.change(disorder);
  EXPECT_EQ(heard(other, 20), heard(one, 20));
  other.change(network);
  EXPECT_EQ(heard(other, 1), heard(one, 1));
  const quel_receiver_counts counts = counts_of(untidy.get());
  EXPECT_EQ(counts.lost, 0u);
  EXPECT_EQ(counts.late, 0u);
  EXPECT_EQ(counts.concealed, 0u);
  EXPECT_EQ(counts.duplicated, other.doubled());
  EXPECT_GT(counts.duplicated, 10u);
}

TEST_P(ReceiverNetwork, LostPacketsAreCountedExactly) {
  const Speech speech(flavor(), 3);
  for (const double run : {1.0, 4.0}) {
    const ReceiverPointer receiver = make_receiver(flavor());
    Network network = this->network();
    network.lost = 10;
    network.run = run;
    Call call(speech, network, receiver.get());
    call.run(60);
    const std::uint64_t lost_by_now = call.lost();
    network.lost = 0;
    call.change(network);
    call.run(2);
    const quel_receiver_counts counts = counts_of(receiver.get());
    EXPECT_EQ(counts.lost, lost_by_now);
    EXPECT_GT(counts.lost, 30u);
    EXPECT_EQ(counts.late, 0u);
    EXPECT_EQ(counts.concealed, counts.lost);
    EXPECT_EQ(counts.dropped, 0u);
  }
}

TEST_P(ReceiverNetwork, NumbersWrapUnheard) {
  const Speech speech(flavor(), 3);
  Network network = this->network();
  network.lost = 5;
  network.jitter_ms = 10;
  const ReceiverPointer plain = make_receiver(flavor());
  Call one(speech, network, plain.get());
  one.restart_sender(0, 0);
  const Pcm wanted = heard(one, 10);
  for (const std::uint32_t sequence : {0xffffu - 40, 0xffffffffu - 40, 0x7fffu - 40}) {
    for (const std::uint32_t timestamp : {0xffffffffu - 20000, 0x7fffffffu - 20000}) {
      const ReceiverPointer receiver = make_receiver(flavor());
      Call other(speech, network, receiver.get());
      other.restart_sender(sequence,
                           timestamp / 80 * 80);  // whole bins of what delays are known to
      ASSERT_EQ(heard(other, 10), wanted);
      ASSERT_EQ(counts_of(receiver.get()).lost, counts_of(plain.get()).lost);
      ASSERT_EQ(counts_of(receiver.get()).stray, 0u);
    }
  }
}

TEST_P(ReceiverNetwork, APauseOfTheNetworkLosesNoWord) {
  const Speech speech(flavor(), 4);
  const ReceiverPointer receiver = make_receiver(flavor(), 20, 400);
  Network network = this->network();
  Call call(speech, network, receiver.get());
  Pcm all = heard(call, 10);
  const quel_receiver_counts before = counts_of(receiver.get());
  network.stalls = 100;
  network.stall_ms = 250;
  call.change(network);
  append(all, heard(call, 0.06));  // the packets of three blocks stand still, and those behind wait
  network.stalls = 0;
  call.change(network);
  append(all, heard(call, 2));
  const quel_receiver_counts after = counts_of(receiver.get());
  EXPECT_EQ(after.lost, 0u);
  EXPECT_EQ(after.late, 0u);
  EXPECT_EQ(after.dropped, 0u);
  EXPECT_GT(after.concealed, 0u);
  EXPECT_LE(after.concealed, 1 + ms(310) / static_cast<unsigned>(speech.unit()));
  // All that came was decoded, and the wait is longer for a while.
  EXPECT_GE(after.decoded + 20 * ms(20) / static_cast<unsigned>(speech.unit()), call.sent());
  EXPECT_GT(after.delay, before.delay + ms(50));
  append(all, heard(call, 60));
  EXPECT_LT(counts_of(receiver.get()).delay, ms(80));
}

TEST_P(ReceiverNetwork, LatePacketsAreStillHeardAndGoOnWhereTheDecoderWas) {
  // The third packet comes late: what is heard from it on is what the decoder gives, to the sample.
  const Speech speech(flavor(), 3);
  const ReceiverPointer receiver = make_receiver(flavor(), 10, 400);
  const auto unit = static_cast<std::size_t>(speech.unit());
  Pcm all;
  for (std::uint32_t k = 0; k < 2; ++k) {
    push(receiver.get(), speech, k, k);
    append(all, pull(receiver.get(), unit));
  }
  append(all, pull(receiver.get(), ms(60) + 2 * unit));
  EXPECT_GT(counts_of(receiver.get()).concealed, 0u);
  for (std::uint32_t k = 2; k < 12; ++k) {
    push(receiver.get(), speech, k, k);
    append(all, pull(receiver.get(), unit));
  }
  const Pcm wanted = speech.decoded(8);
  // Of the first late unit all but the 20 ms where one sound fades into the other and where some
  // may be left out.
  const std::size_t from = 3 * unit + (flavor() == QUEL_FLAVOR_16K ? unit : 0);
  EXPECT_GE(find(all, piece(wanted, from, unit)), 0);
  EXPECT_EQ(counts_of(receiver.get()).late, 0u);
  EXPECT_EQ(counts_of(receiver.get()).lost, 0u);
}

TEST_P(ReceiverNetwork, APacketBehindItsPlaceIsCountedAndNotHeard) {
  const Speech speech(flavor(), 3);
  const ReceiverPointer receiver = make_receiver(flavor(), 200, 200),
                        without = make_receiver(flavor(), 200, 200);
  const auto unit = static_cast<std::size_t>(speech.unit());
  for (std::uint32_t k = 0; k < 100; ++k) {
    if (k != 30) {
      push(receiver.get(), speech, k, k);
      push(without.get(), speech, k, k);
    }
    if (k == 60) push(receiver.get(), speech, 30, 30);  // 300 ms late at least
    if (k < 60) {
      ASSERT_EQ(pull(receiver.get(), unit), pull(without.get(), unit));
    } else {
      pull(receiver.get(), unit);
    }
  }
  EXPECT_EQ(counts_of(receiver.get()).late, 1u);
  EXPECT_EQ(counts_of(receiver.get()).lost, 0u);
  EXPECT_EQ(counts_of(receiver.get()).concealed, 1u);
  EXPECT_EQ(counts_of(receiver.get()).dropped, 0u);
}

TEST_P(ReceiverNetwork, TheWaitFollowsTheNetworkUpAndDown) {
  const Speech speech(flavor(), 6);
  const ReceiverPointer receiver = make_receiver(flavor());
  Network network = this->network();
  Call call(speech, network, receiver.get());
  call.run(30);
  const std::uint64_t calm = counts_of(receiver.get()).delay;
  EXPECT_LE(calm, ms(45));
  network.jitter_ms = 40;
  call.change(network);
  call.run(30);
  EXPECT_GE(counts_of(receiver.get()).delay, ms(120));
  EXPECT_LE(counts_of(receiver.get()).delay, ms(400 + 60) + static_cast<unsigned>(speech.unit()));
  const std::uint64_t concealed = counts_of(receiver.get()).concealed;
  call.run(120);
  // One packet in a hundred may come too late, and a spell of the network takes some with it.
  const double units = 120.0 * speech.rate() / speech.unit();
  EXPECT_LE(static_cast<double>(counts_of(receiver.get()).concealed - concealed), 0.02 * units);
  network.jitter_ms = 0;
  call.change(network);
  call.run(90);
  EXPECT_LE(counts_of(receiver.get()).delay, ms(45));
}

TEST_P(ReceiverNetwork, TheWaitKeepsItsBounds) {
  const Speech speech(flavor(), 4);
  Network network = this->network();
  network.jitter_ms = 30;
  const ReceiverPointer least = make_receiver(flavor(), 300, 400);
  Call first(speech, network, least.get());
  first.run(60, [&](const Pcm&) {
    const quel_receiver_counts counts = counts_of(least.get());
    if (counts.decoded > 0) {
      ASSERT_GE(counts.target, ms(300));
    }
  });
  const ReceiverPointer most = make_receiver(flavor(), 0, 60);
  Call second(speech, network, most.get());
  second.run(60, [&](const Pcm&) { ASSERT_LE(counts_of(most.get()).target, ms(60)); });
  EXPECT_LT(counts_of(most.get()).delay, counts_of(least.get()).delay);
  // Packets that come later than that are lost to it or make it wait.
  EXPECT_GT(counts_of(most.get()).concealed, counts_of(least.get()).concealed);
}

TEST_P(ReceiverNetwork, ARestartedSenderIsFollowedFromItsSecondPacket) {
  const Speech speech(flavor(), 4);
  const ReceiverPointer receiver = make_receiver(flavor(), 60, 60);
  Call call(speech, network(), receiver.get());
  call.run(5);
  call.restart_sender(54321, 987654321);
  const Pcm all = heard(call, 5);
  const quel_receiver_counts counts = counts_of(receiver.get());
  EXPECT_EQ(counts.restarts, 1u);
  EXPECT_EQ(counts.stray, 1u);
  EXPECT_EQ(counts.lost, 0u);
  // A new decoder's sound from the second unit on.
  const quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor());
  quel_decoder* decoder = nullptr;
  ASSERT_EQ(quel_decoder_create(&options, &decoder), QUEL_OK);
  const auto bytes = speech.coded(1, 10);
  Pcm wanted(static_cast<std::size_t>(10 * speech.unit()));
  ASSERT_GT(
      quel_decode_units(decoder, bytes.data(), bytes.size(), nullptr, wanted.data(), wanted.size()),
      0);
  quel_decoder_destroy(decoder);
  // The first packet may have been slower than those behind it, and the wait is then shortened.
  const auto unit = static_cast<std::size_t>(speech.unit());
  EXPECT_GE(find(all, piece(wanted, 6 * unit, 4 * unit)), 0);
}

TEST_P(ReceiverNetwork, StrayPacketsAreNotHeard) {
  const Speech speech(flavor(), 3);
  const ReceiverPointer clean = make_receiver(flavor()), disturbed = make_receiver(flavor());
  Call one(speech, network(), clean.get()), other(speech, network(), disturbed.get());
  Random random(21);
  const auto forged = speech.coded(7, 1);
  std::uint16_t sequence = 0;
  for (int k = 0; k < 1000; ++k) {
    // Timestamps hours away, and numbers of which no two follow one another.
    sequence = static_cast<std::uint16_t>(sequence + random.integer(2, 60000));
    const auto timestamp = static_cast<std::uint32_t>(std::uint64_t{1} << 31) + random.bits() / 8;
    Pcm wanted, got;
    one.run_to_block([&] { wanted = pull(clean.get(), ms(20)); });
    other.run_to_block([&] {
      // The first of all packets is taken for the sender's.
      if (counts_of(disturbed.get()).received > 0) {
        quel_receiver_push(disturbed.get(), sequence, other.timestamp() + timestamp, 0,
                           forged.data(), forged.size());
      }
      got = pull(disturbed.get(), ms(20));
    });
    ASSERT_EQ(got, wanted) << k;
  }
  EXPECT_GT(counts_of(disturbed.get()).stray, 990u);
  EXPECT_EQ(counts_of(disturbed.get()).restarts, 0u);
}

TEST_P(ReceiverNetwork, ACardThatStopsAskingGetsFreshSoundAfterwards) {
  const Speech speech(flavor(), 4);
  const ReceiverPointer receiver = make_receiver(flavor());
  const auto unit = static_cast<std::size_t>(speech.unit());
  std::uint32_t k = 0;
  for (; k < 100; ++k) {
    push(receiver.get(), speech, k, k);
    pull(receiver.get(), unit);
  }
  for (; k < 1100; ++k) push(receiver.get(), speech, k, k);
  for (; k < 1300; ++k) {
    push(receiver.get(), speech, k, k);
    pull(receiver.get(), unit);
    ASSERT_LE(counts_of(receiver.get()).delay, ms(400 + 60) + 2 * unit) << k;
  }
  EXPECT_LE(counts_of(receiver.get()).delay, ms(60) + unit);
  EXPECT_GT(counts_of(receiver.get()).dropped, 900u);
  EXPECT_EQ(counts_of(receiver.get()).late, 0u);
}

TEST_P(ReceiverNetwork, TheClockOfArrivalsChangesNoSound) {
  const Speech speech(flavor(), 3);
  const ReceiverPointer good = make_receiver(flavor()), bad = make_receiver(flavor());
  Random random(31);
  for (std::uint32_t k = 0; k < 400; ++k) {
    const auto bytes = speech.coded(k, 1);
    const auto timestamp = k * static_cast<std::uint32_t>(speech.unit());
    const std::uint64_t wild = std::uint64_t{random.bits()} << 32 | random.bits();
    quel_receiver_push(good.get(), k, timestamp, timestamp * 125ull, bytes.data(), bytes.size());
    quel_receiver_push(bad.get(), k, timestamp, wild, bytes.data(), bytes.size());
    const auto n = static_cast<std::size_t>(speech.unit());
    ASSERT_EQ(pull(good.get(), n), pull(bad.get(), n));
  }
}

TEST_P(ReceiverNetwork, EverySampleIsAccountedFor) {
  const Speech speech(flavor(), 6);
  for (std::uint64_t seed = 1; seed <= 6; ++seed) {
    SCOPED_TRACE(seed);
    Network network = this->network();
    network.seed = seed;
    network.lost = 4;
    network.run = 2;
    network.jitter_ms = 5.0 * static_cast<double>(seed);
    network.reordered = 2;
    network.doubled = 2;
    network.drift_ppm = seed % 2 == 0 ? 200 : -200;
    network.units = static_cast<int>(seed % 3) + 1;
    const ReceiverPointer receiver = make_receiver(flavor());
    Call call(speech, network, receiver.get());
    std::int64_t pulled = 0;
    call.run(60, [&](const Pcm& pcm) { pulled += static_cast<std::int64_t>(pcm.size()); });
    const quel_receiver_counts counts = counts_of(receiver.get());
    // What was played, but for the silence before the first packet, what is decoded and waits, and
    // what was made up and thrown away when the packet came after all.
    const std::int64_t rest = pulled - accounted(counts, speech.unit());
    const auto unit = static_cast<std::int64_t>(speech.unit());
    const auto late =
        static_cast<std::int64_t>(counts.concealed) -
        static_cast<std::int64_t>(counts.lost * static_cast<std::uint64_t>(network.units));
    EXPECT_LE(rest, static_cast<std::int64_t>(ms(140)));
    EXPECT_GE(rest, -2 * unit - std::max<std::int64_t>(late, 0) * unit);
    EXPECT_LE(counts.received + counts.lost, call.sent());
  }
}

}  // namespace
}  // namespace quel::test
