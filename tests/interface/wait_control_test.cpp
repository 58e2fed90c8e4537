// What splices do to sound.
#include "interface/wait_control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "interface/receiver_support.h"
#include "quelcodec/quelcodec.h"
#include "support/call.h"

namespace quel::test {
namespace {

class WaitControl : public ::testing::TestWithParam<int> {
 protected:
  int flavor() const { return GetParam(); }

  // Units of a voice-like tone of three harmonics, which never pauses.
  std::vector<std::uint8_t> tone(std::size_t units) const {
    const int rate = quel_sampling_rate(flavor());
    Pcm pcm;
    for (std::size_t n = 0; n < units * static_cast<std::size_t>(quel_samples_per_unit(flavor()));
         ++n) {
      double sum = 0;
      for (int h = 1; h <= 3; ++h) {
        sum += std::sin(6.283185307 * 125.0 * h * static_cast<double>(n) / rate) / h;
      }
      pcm.push_back(static_cast<std::int16_t>(6000 * sum));
    }
    const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor());
    quel_encoder* encoder = nullptr;
    EXPECT_EQ(quel_encoder_create(&options, &encoder), QUEL_OK);
    std::vector<std::uint8_t> bytes(units *
                                    static_cast<std::size_t>(quel_bytes_per_unit(flavor())));
    EXPECT_GT(quel_encode_units(encoder, pcm.data(), pcm.size(), bytes.data(), bytes.size()), 0);
    quel_encoder_destroy(encoder);
    return bytes;
  }
};
INSTANTIATE_TEST_SUITE_P(All, WaitControl, ::testing::Range(0, 4));

int steepest(const Pcm& pcm) {
  int most = 0;
  for (std::size_t n = 1; n < pcm.size(); ++n) {
    most = std::max(most, std::abs(pcm[n] - pcm[n - 1]));
  }
  return most;
}

double energy(const Pcm& pcm) {
  double sum = 0;
  for (const std::int16_t sample : pcm) sum += static_cast<double>(sample) * sample;
  return sum / static_cast<double>(pcm.size());
}

// A tone goes on without a click and without a dip while the wait shrinks and grows.
TEST_P(WaitControl, ATonePassesSplicesWhole) {
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor()));
  const auto unit = static_cast<std::uint32_t>(quel_samples_per_unit(flavor()));
  const auto rate = static_cast<std::uint32_t>(quel_sampling_rate(flavor()));
  const std::size_t count = 60 * rate / unit;
  const std::vector<std::uint8_t> units = tone(count);
  const ReceiverPointer receiver = make_receiver(flavor());
  // The card is 1 % too slow for a while, then as much too fast.
  Pcm all;
  std::uint64_t asked = 0;
  for (std::uint32_t k = 0; k < count; ++k) {
    ASSERT_EQ(quel_receiver_push(receiver.get(), k, k * unit, 0, &units[k * bytes], bytes),
              QUEL_OK);
    const std::uint64_t n = k < count / 4 ? unit - unit / 100 : unit + unit / 100;
    append(all, pull(receiver.get(), static_cast<std::size_t>(n)));
    asked += n;
  }
  const quel_receiver_counts counts = counts_of(receiver.get());
  EXPECT_GT(counts.removed, rate / 100);
  EXPECT_GT(counts.inserted, rate / 100);
  EXPECT_EQ(counts.concealed, 0u);
  EXPECT_EQ(counts.dropped, 0u);
  EXPECT_EQ(all.size(), asked);

  const quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor());
  quel_decoder* decoder = nullptr;
  ASSERT_EQ(quel_decoder_create(&options, &decoder), QUEL_OK);
  Pcm clean(count * unit);
  ASSERT_GT(
      quel_decode_units(decoder, units.data(), units.size(), nullptr, clean.data(), clean.size()),
      0);
  quel_decoder_destroy(decoder);
  // Away from the start, where encoder and receiver begin.
  const Pcm heard = piece(all, rate, all.size() - rate);
  const Pcm original = piece(clean, rate, clean.size() - rate);
  EXPECT_LE(steepest(heard), steepest(original) + steepest(original) / 10);
  const double level = energy(original);
  for (std::size_t at = 0; at + rate / 50 <= heard.size(); at += rate / 50) {
    // 20 ms hold 2.5 periods, whose energy depends on where they begin.
    ASSERT_GE(energy(piece(heard, at, rate / 50)), 0.5 * level) << at;
  }
}

TEST(WaitControlSound, RoomIsMadeBehindWhatWaits) {
  SoundBuffer sound;
  std::int16_t next = 0;
  std::int16_t wanted = 0;
  for (int k = 0; k < 200; ++k) {
    std::int16_t* const at = append(sound, 480);
    for (int n = 0; n < 480; ++n) at[n] = next++;
    while (ahead_of(sound) > 480 * (k % 3)) {
      ASSERT_EQ(sound.pcm[static_cast<std::size_t>(sound.head)], wanted++);
      ++sound.head;
    }
    ASSERT_GE(sound.head, SoundBuffer::history);
    for (int back = 1; back <= SoundBuffer::history && back <= wanted; ++back) {
      ASSERT_EQ(sound.pcm[static_cast<std::size_t>(sound.head - back)],
                static_cast<std::int16_t>(wanted - back));
    }
  }
}

}  // namespace
}  // namespace quel::test
