// Receivers of senders that leave out their pauses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "interface/receiver_support.h"
#include "quelcodec/quelcodec.h"
#include "support/call.h"

namespace quel::test {
namespace {

class ReceiverSilence : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }
  std::uint64_t ms(int n) const {
    return static_cast<std::uint64_t>(quel_sampling_rate(flavor()) / 1000 * n);
  }
};
INSTANTIATE_TEST_SUITE_P(All, ReceiverSilence, ::testing::Range(0, 4));

TEST_P(ReceiverSilence, SoundThatWasNotSentIsNoLoss) {
  const Speech speech(flavor(), 3);
  const ReceiverPointer receiver = make_receiver(flavor(), 60, 60);
  const auto unit = static_cast<std::size_t>(speech.unit());
  std::uint32_t sequence = 0;
  for (std::uint32_t k = 0; k < 200; ++k) {
    const bool pause = k > 50 && k < 150 && k % 8 != 0;
    if (!pause) {
      ASSERT_EQ(push(receiver.get(), speech, sequence++, k), QUEL_OK);
    }
    pull(receiver.get(), unit);
  }
  const quel_receiver_counts counts = counts_of(receiver.get());
  EXPECT_EQ(counts.lost, 0u);
  EXPECT_EQ(counts.late, 0u);
  EXPECT_EQ(counts.received, sequence);
  // 87 units were left out: 51 to 55, and 7 before each of 64, 72, ..., 144 and 150.
  EXPECT_EQ(counts.unsent, 87u);
  EXPECT_EQ(counts.concealed, 0u);
  EXPECT_EQ(counts.dropped, 0u);
}

TEST_P(ReceiverSilence, SoundThatWasNotSentIsWhatTheDecoderMakesOfIt) {
  const Speech speech(flavor(), 3);
  const ReceiverPointer receiver = make_receiver(flavor(), 700, 700);
  const quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor());
  quel_decoder* decoder = nullptr;
  ASSERT_EQ(quel_decoder_create(&options, &decoder), QUEL_OK);
  const auto unit = static_cast<std::size_t>(speech.unit());
  std::uint32_t sequence = 0;
  Pcm all, wanted;
  for (std::uint32_t k = 0; k < 200; ++k) {
    const bool pause = k > 50 && k < 150 && k % 8 != 0;
    Pcm pcm(unit);
    const auto bytes = speech.coded(k, 1);
    if (!pause) {
      ASSERT_EQ(push(receiver.get(), speech, sequence++, k), QUEL_OK);
    }
    ASSERT_EQ(quel_decode(decoder, pause ? nullptr : bytes.data(), pause ? 0 : bytes.size(),
                          pause ? QUEL_NOT_SENT : QUEL_ALL_RECEIVED, pcm.data(), unit),
              speech.unit());
    append(wanted, pcm);
    append(all, pull(receiver.get(), unit));
  }
  append(all, pull(receiver.get(), ms(600)));
  quel_decoder_destroy(decoder);
  const std::int64_t start = find(all, piece(wanted, 0, 2 * unit));
  ASSERT_GE(start, 0);
  EXPECT_EQ(piece(all, static_cast<std::size_t>(start), 180 * unit), piece(wanted, 0, 180 * unit));
}

// Where nothing waits, the receiver has to guess. In the second pause it knows how quiet a pause
// is, and in the midst of speech it takes what is missing for lost.
TEST_P(ReceiverSilence, APauseIsKnownByItsLevel) {
  const int rate = quel_sampling_rate(flavor());
  const auto unit = static_cast<std::size_t>(quel_samples_per_unit(flavor()));
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor()));
  const std::size_t second = static_cast<std::size_t>(rate) / unit;  // units of a second
  Pcm pcm;
  Random random(17);
  for (std::size_t n = 0; n < 6 * second * unit; ++n) {  // seconds of speech and of background
    const double level = n / (second * unit) % 2 == 0 ? 8000 : 100;
    const double tone = std::sin(6.283185307 * 140 * static_cast<double>(n) / rate);
    pcm.push_back(static_cast<std::int16_t>(level * tone + random.uniform(-60, 60)));
  }
  const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor());
  quel_encoder* encoder = nullptr;
  ASSERT_EQ(quel_encoder_create(&options, &encoder), QUEL_OK);
  std::vector<std::uint8_t> units(6 * second * bytes);
  ASSERT_GT(quel_encode_units(encoder, pcm.data(), pcm.size(), units.data(), units.size()), 0);
  quel_encoder_destroy(encoder);

  const ReceiverPointer receiver = make_receiver(flavor(), 10, 400);
  std::uint32_t sequence = 0;
  std::vector<std::uint64_t> concealed, unsent;  // at the end of each second
  for (std::size_t k = 0; k < 6 * second; ++k) {
    const bool pause = k / second % 2 == 1 && k % second > second / 4;
    // In the last second of speech packets stay out as they do in a pause, but they were sent.
    const bool stays_out = k / second == 4 && k % second > second / 2 && k % 8 != 0;
    if (!pause || k % 8 == 0) {
      if (!stays_out) {
        ASSERT_EQ(quel_receiver_push(receiver.get(), sequence, static_cast<std::uint32_t>(k * unit),
                                     0, &units[k * bytes], bytes),
                  QUEL_OK);
      }
      ++sequence;
    }
    const std::uint64_t before = counts_of(receiver.get()).concealed;
    pull(receiver.get(), unit);
    if (k / second == 3) {
      ASSERT_EQ(counts_of(receiver.get()).concealed, before) << k;
    }
    if (k % second == second - 1) {
      concealed.push_back(counts_of(receiver.get()).concealed);
      unsent.push_back(counts_of(receiver.get()).unsent);
    }
  }
  EXPECT_EQ(concealed[0], 0u);
  EXPECT_GT(unsent[1], second / 4);
  EXPECT_GT(unsent[3], unsent[1] + second / 4);
  EXPECT_GT(concealed[4], concealed[3] + second / 4);
  EXPECT_LE(unsent[4], unsent[3] + ms(100) / unit + 1);  // what is pushed is heard later
}

}  // namespace
}  // namespace quel::test
