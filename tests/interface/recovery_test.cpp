#include "support/recovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "quelcodec/quelcodec.h"
#include "support/sanitizers.h"

// Recorded speech gives the same, and the tables: scripts/recovery.

namespace quel {
namespace {

using test::all_poisons;
using test::CodedSpeech;
using test::Poison;
using test::Random;
using test::Recovery;
using test::recovery_time;
using test::speech_like_pcm;

// Native builds hold the decoders to it; the others look at memory and byte order.
constexpr int places = test::slow_build ? 40 : 200;

class RecoveryFromPoison : public ::testing::TestWithParam<int> {
 protected:
  /// 20 s of speech; 200 places are a twelfth of a second apart, the first at half a second.
  CodedSpeech speech() const {
    const int rate = quel_sampling_rate(GetParam());
    return {GetParam(), speech_like_pcm(20 * rate, /*seed=*/7, rate)};
  }
  std::size_t frame(const CodedSpeech& coded, int place) const {
    const int rate = quel_sampling_rate(GetParam());
    return static_cast<std::size_t>((rate / 2 + rate / 12 * 200 * place / places) /
                                    coded.mode.len_frame);
  }
  Recovery measure(const CodedSpeech& coded, Poison poison, double seconds) const {
    Recovery recovery(GetParam(), seconds);
    Random random(static_cast<std::uint64_t>(poison));
    for (int k = 0; k < places; ++k) recovery.add(poison, coded, frame(coded, k), random);
    return recovery;
  }
};

INSTANTIATE_TEST_SUITE_P(Flavor, RecoveryFromPoison, ::testing::Values(0, 1, 2, 3));

// Half a decibel is what ears just miss. Half a second behind either limit is watched; a decoder
// that fails there has not come back, since what lingers fades as time goes on.
TEST_P(RecoveryFromPoison, IsCompleteInTime) {
  const CodedSpeech coded = speech();
  for (const Poison poison : all_poisons) {
    SCOPED_TRACE(test::name_of(poison));
    const int from = recovery_time(poison), to = from + 500;
    const Recovery recovery = measure(coded, poison, to / 1000.0);
    EXPECT_EQ(recovery.places(), places);
    EXPECT_EQ(recovery.failures(), 0);
    // Most windows hold sound, and the ratio is that of sound speech, not of windows held at -10
    // dB.
    EXPECT_GT(recovery.windows(from, to), places * 25 * 3 / 4);
    EXPECT_GT(recovery.clean(from, to), 5.0);
    EXPECT_LT(recovery.loss(from, to), 0.5);
  }
}

// Otherwise the test above would pass with prefixes that do no harm.
TEST_P(RecoveryFromPoison, IsNeeded) {
  const CodedSpeech coded = speech();
  for (const Poison poison : {Poison::random_bits, Poison::largest_gains}) {
    const Recovery recovery = measure(coded, poison, 0.1);
    EXPECT_GT(recovery.loss(0, 100), 3.0) << test::name_of(poison);
    EXPECT_GE(recovery.last_window_worse_by(0.5), 40) << test::name_of(poison);
  }
}

}  // namespace
}  // namespace quel
