// Receivers call by call: what they are made of, what they refuse, and what they give where the
// network does nothing odd.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "interface/receiver_support.h"
#include "quelcodec/quelcodec.h"
#include "support/call.h"

namespace quel::test {
namespace {

using ::testing::Each;

class Receiver : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }
  int bytes() const { return quel_bytes_per_unit(flavor()); }
  int ms(int n) const { return quel_sampling_rate(flavor()) / 1000 * n; }
};
INSTANTIATE_TEST_SUITE_P(All, Receiver, ::testing::Range(0, 4));

// Everything that the card gets of a perfect network, where nothing may change the wait.
Pcm perfectly_heard(const Speech& speech, int least, int block, std::size_t units, int in_packet,
                    quel_receiver_counts& counts) {
  const ReceiverPointer receiver = make_receiver(speech.flavor(), least, least);
  Network network;
  network.units = in_packet;
  network.block = block;
  Call call(speech, network, receiver.get());
  const double seconds =
      static_cast<double>(units) * speech.unit() / speech.rate() + least / 1000.0 + 0.5;
  Pcm all = heard(call, seconds);
  counts = counts_of(receiver.get());
  return all;
}

TEST_P(Receiver, OnAPerfectNetworkGivesTheDecodersSamples) {
  const Speech speech(flavor(), 5);
  const Pcm wanted = speech.decoded(100);
  for (const int in_packet : {1, 3}) {
    for (const int block : {ms(20), 128, 37}) {
      SCOPED_TRACE(block);
      quel_receiver_counts counts;
      const Pcm all = perfectly_heard(speech, 100, block, 100, in_packet, counts);
      const std::int64_t start = find(all, piece(wanted, 0, 400));
      ASSERT_GE(start, 0);
      EXPECT_THAT(piece(all, 0, static_cast<std::size_t>(start)), Each(0));
      EXPECT_EQ(piece(all, static_cast<std::size_t>(start), wanted.size()), wanted);
      // The packet is 20 ms under way, comes before the next block is asked for, and waits for the
      // 100 ms, which are known to 5, and 2.5 more.
      EXPECT_GE(start, ms(20 + 100 - 5));
      EXPECT_LE(start, ms(20 + 100 + 3) + block);
      // What the receiver takes for the delay is, to the 5 ms, from the fastest packet's arrival.
      const auto delay = static_cast<std::int64_t>(counts.delay);
      EXPECT_LE(delay, start - ms(20) + ms(5));
      EXPECT_GE(delay, start - ms(20) - block - 1);
    }
  }
}

TEST_P(Receiver, HowAPullIsCutInPiecesChangesNothing) {
  const Speech speech(flavor(), 3);
  Network network;
  network.lost = 5;
  network.jitter_ms = 15;
  network.reordered = 3;
  network.block = 441;
  const ReceiverPointer whole = make_receiver(flavor()), cut = make_receiver(flavor());
  const ReceiverPointer real = make_receiver(flavor());
  Call one(speech, network, whole.get()), other(speech, network, cut.get());
  Call third(speech, network, real.get());
  const Pcm all = heard(one, 20);
  Random random(3);
  Pcm pieces;
  while (pieces.size() < all.size()) {
    Pcm block;
    other.run_to_block([&] {
      while (block.size() < 441) {
        const auto left = static_cast<int>(441 - block.size());
        const int n = std::min(left, random.integer(0, 200));
        append(block, pull(cut.get(), static_cast<std::size_t>(n)));
      }
    });
    std::vector<float> floats(441);
    third.run_to_block([&] {
      EXPECT_EQ(quel_receiver_pull_float(real.get(), floats.data(), floats.size()), QUEL_OK);
    });
    for (std::size_t n = 0; n < floats.size(); ++n) {
      ASSERT_EQ(floats[n], static_cast<float>(block[n]) / 32768.0f);
    }
    append(pieces, block);
  }
  EXPECT_EQ(pieces, all);
}

TEST_P(Receiver, GivesExactlyAsManySamplesAsAskedFor) {
  const Speech speech(flavor(), 2);
  for (std::size_t n = 1; n <= 10000; n += n < 700 ? 1 : 97) {
    const ReceiverPointer receiver = make_receiver(flavor());
    Pcm pcm(n + 8, 0x5a5a);
    std::uint32_t sent = 0;
    for (std::size_t done = 0; done < 3 * n || done < 4000; done += n) {
      while (sent * static_cast<std::uint32_t>(speech.unit()) <= done) {
        ASSERT_EQ(push(receiver.get(), speech, sent, sent), QUEL_OK);
        ++sent;
      }
      ASSERT_EQ(quel_receiver_pull(receiver.get(), pcm.data(), n), QUEL_OK);
      ASSERT_THAT(piece(pcm, n, 8), Each(0x5a5a)) << n;
    }
    // The receiver's own clock: as much as was pulled, but for what waits.
    const quel_receiver_counts counts = counts_of(receiver.get());
    ASSERT_LE(counts.decoded + counts.concealed + counts.dropped, sent + 10001u);
  }
}

TEST_P(Receiver, IsSilentWhereNothingComes) {
  const ReceiverPointer receiver = make_receiver(flavor());
  for (const std::size_t n : {1u, 160u, 10000u}) EXPECT_THAT(pull(receiver.get(), n), Each(0));
  EXPECT_EQ(quel_receiver_pull(receiver.get(), nullptr, 0), QUEL_OK);
  EXPECT_EQ(quel_receiver_pull_float(receiver.get(), nullptr, 0), QUEL_OK);
  const quel_receiver_counts counts = counts_of(receiver.get());
  const quel_receiver_counts none = QUEL_RECEIVER_COUNTS;
  EXPECT_EQ(std::memcmp(&counts, &none, sizeof none), 0);
}

TEST_P(Receiver, FadesOutWhereNothingComesAnyMore) {
  const Speech speech(flavor(), 2);
  const ReceiverPointer receiver = make_receiver(flavor());
  for (std::uint32_t k = 0; k < 20; ++k) {
    push(receiver.get(), speech, k, k);
    pull(receiver.get(), static_cast<std::size_t>(speech.unit()));
  }
  pull(receiver.get(), static_cast<std::size_t>(ms(3000)));
  for (const std::int16_t sample : pull(receiver.get(), static_cast<std::size_t>(ms(1000)))) {
    ASSERT_LE(std::abs(sample), 32);  // 60 dB below full scale
  }
  const quel_receiver_counts counts = counts_of(receiver.get());
  EXPECT_EQ(counts.lost, 0u);
  EXPECT_GT(counts.concealed, 3 * static_cast<unsigned>(ms(1000) / speech.unit()));
}

TEST_P(Receiver, AfterAResetIsAsNew) {
  const Speech speech(flavor(), 3);
  Network network;
  network.lost = 4;
  network.jitter_ms = 10;
  const ReceiverPointer receiver = make_receiver(flavor());
  Call first(speech, network, receiver.get());
  const Pcm before = heard(first, 5);
  ASSERT_EQ(quel_receiver_reset(receiver.get()), QUEL_OK);
  const quel_receiver_counts counts = counts_of(receiver.get());
  const quel_receiver_counts none = QUEL_RECEIVER_COUNTS;
  EXPECT_EQ(std::memcmp(&counts, &none, sizeof none), 0);
  Call second(speech, network, receiver.get());
  EXPECT_EQ(heard(second, 5), before);
}

TEST_P(Receiver, LivesInTheCallersMemoryAndItsBytesAreACopy) {
  const Speech speech(flavor(), 3);
  const quel_receiver_options options = QUEL_RECEIVER_OPTIONS(flavor());
  const auto size = static_cast<std::size_t>(quel_receiver_size(&options));
  EXPECT_LE(size, 48u * 1024u);
  std::vector<std::uint8_t> memory(size + 64, 0xa7), copy(size);
  quel_receiver* receiver = nullptr;
  ASSERT_EQ(quel_receiver_init(memory.data(), size, &options, &receiver), QUEL_OK);
  ASSERT_EQ(static_cast<void*>(receiver), memory.data());
  quel_receiver_destroy(receiver);  // nothing to destroy
  Network network;
  network.lost = 4;
  network.jitter_ms = 10;
  const ReceiverPointer created = make_receiver(flavor());
  Call call(speech, network, receiver), beside(speech, network, created.get());
  EXPECT_EQ(heard(call, 5), heard(beside, 5));
  EXPECT_THAT(
      std::vector<std::uint8_t>(memory.begin() + static_cast<std::ptrdiff_t>(size), memory.end()),
      Each(0xa7));

  std::memcpy(copy.data(), memory.data(), size);
  std::fill(memory.begin(), memory.end(), std::uint8_t{0xa7});
  auto* const moved = reinterpret_cast<quel_receiver*>(copy.data());
  for (int k = 0; k < 50; ++k) EXPECT_EQ(pull(moved, 300), pull(created.get(), 300));
}

TEST_P(Receiver, RefusesWhatIsWrong) {
  quel_receiver_options options = QUEL_RECEIVER_OPTIONS(flavor());
  quel_receiver* receiver = nullptr;
  EXPECT_EQ(quel_receiver_create(&options, nullptr), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_receiver_create(nullptr, &receiver), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_receiver_size(nullptr), QUEL_ERROR_ARGUMENT);
  const auto size = static_cast<std::size_t>(quel_receiver_size(&options));
  std::vector<std::uint8_t> memory(size + 1);
  EXPECT_EQ(quel_receiver_init(memory.data(), size - 1, &options, &receiver), QUEL_ERROR_MEMORY);
  EXPECT_EQ(quel_receiver_init(memory.data() + 1, size, &options, &receiver), QUEL_ERROR_ALIGNMENT);
  EXPECT_EQ(quel_receiver_init(nullptr, size, &options, &receiver), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_receiver_init(memory.data(), size, &options, nullptr), QUEL_ERROR_ARGUMENT);
  for (const auto& [least, most] : {std::array{-1, 400}, {401, 400}, {0, 1001}, {1001, 1002}}) {
    quel_receiver_options wrong = options;
    wrong.least_delay = least;
    wrong.most_delay = most;
    EXPECT_EQ(quel_receiver_create(&wrong, &receiver), QUEL_ERROR_OPTIONS) << least << ' ' << most;
  }
  quel_receiver_options wrong = options;
  wrong.reserved[0] = 1;
  EXPECT_EQ(quel_receiver_create(&wrong, &receiver), QUEL_ERROR_OPTIONS);
  wrong = options;
  wrong.flavor = 4;
  EXPECT_EQ(quel_receiver_create(&wrong, &receiver), QUEL_ERROR_FLAVOR);
  EXPECT_EQ(receiver, nullptr);
  options.least_delay = options.most_delay = 1000;
  ASSERT_EQ(quel_receiver_create(&options, &receiver), QUEL_OK);

  const std::vector<std::uint8_t> units(static_cast<std::size_t>(bytes()) * 400);
  const auto push_bytes = [&](std::size_t n) {
    return quel_receiver_push(receiver, 0, 0, 0, units.data(), n);
  };
  const auto unit = static_cast<std::size_t>(bytes());
  const auto second =
      static_cast<std::size_t>(quel_sampling_rate(flavor()) / quel_samples_per_unit(flavor()));
  EXPECT_EQ(push_bytes(0), QUEL_ERROR_LENGTH);
  EXPECT_EQ(push_bytes(unit - 1), QUEL_ERROR_LENGTH);
  EXPECT_EQ(push_bytes(unit + 1), QUEL_ERROR_LENGTH);
  EXPECT_EQ(push_bytes((second + 1) * unit), QUEL_ERROR_LENGTH);
  EXPECT_EQ(quel_receiver_push(receiver, 0, 0, 0, nullptr, unit), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_receiver_push(nullptr, 0, 0, 0, units.data(), unit), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(counts_of(receiver).received, 0u);
  EXPECT_EQ(push_bytes(second * unit), QUEL_OK);
  EXPECT_EQ(counts_of(receiver).received, 1u);
  EXPECT_EQ(counts_of(receiver).dropped, 0u);

  std::int16_t sample = 7;
  EXPECT_EQ(quel_receiver_pull(nullptr, &sample, 1), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_receiver_pull(receiver, nullptr, 1), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_receiver_pull_float(receiver, nullptr, 1), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_receiver_reset(nullptr), QUEL_ERROR_ARGUMENT);
  quel_receiver_counts counts = QUEL_RECEIVER_COUNTS;
  EXPECT_EQ(quel_receiver_statistics(nullptr, &counts), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(quel_receiver_statistics(receiver, nullptr), QUEL_ERROR_ARGUMENT);
  --counts.size;
  EXPECT_EQ(quel_receiver_statistics(receiver, &counts), QUEL_ERROR_OPTIONS);
  quel_receiver_destroy(receiver);
  quel_receiver_destroy(nullptr);
}

}  // namespace
}  // namespace quel::test
