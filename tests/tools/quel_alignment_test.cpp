// Through quel's own commands a sound comes back with its length and in its place.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <quelcodec/quelcodec.hpp>
#include <string>
#include <vector>

#include "support/sanitizers.h"
#include "support/signals.h"
#include "tools/audio_file.h"
#include "tools/jobs.h"
#include "tools/tool_support.h"

namespace quel::test {
namespace {

using Pcm = std::vector<std::int16_t>;

class QuelAlignment : public ToolTest, public ::testing::WithParamInterface<int> {
 protected:
  const int flavor = GetParam();
  const int rate = quel_sampling_rate(flavor);
  /// What a plain encoder and decoder make of a source: silence behind it, the delay cut off.
  Pcm plain(const Pcm& source) const {
    Encoder encoder(encoder_options(flavor, tools::default_effort(flavor)));
    Decoder decoder(flavor);
    const auto delay = static_cast<std::size_t>(quel_delay(flavor));
    const std::size_t unit = encoder.samples_per_unit();
    Pcm padded = source;
    padded.resize((source.size() + delay + unit - 1) / unit * unit);
    Pcm heard;
    for (auto at = padded.begin(); at != padded.end(); at += static_cast<std::ptrdiff_t>(unit)) {
      const Pcm some =
          decoder.decode(encoder.encode(Pcm(at, at + static_cast<std::ptrdiff_t>(unit))));
      heard.insert(heard.end(), some.begin(), some.end());
    }
    heard.erase(heard.begin(),
                heard.begin() + static_cast<std::ptrdiff_t>(std::min(delay, heard.size())));
    heard.resize(std::min(heard.size(), source.size()));
    return heard;
  }
};
INSTANTIATE_TEST_SUITE_P(Flavors, QuelAlignment, ::testing::Range(0, 4));

// By how many samples `heard` is late, of those lags at which a mistake would show: parts and
// multiples of frames, delays, look-aheads.
int lateness(const Pcm& source, const Pcm& heard) {
  int best = 0;
  double highest = -1e300;
  for (const int lag :
       {0, 1, 2, 5, 10, 20, 40, 60, 80, 100, 120, 144, 160, 200, 240, 288, 320, 360}) {
    for (const int late : {lag, -lag}) {
      double sum = 0.0;
      const int n = static_cast<int>(source.size());
      for (int i = std::max(0, -late); i < std::min(n, n - late); ++i) {
        sum += static_cast<double>(source[static_cast<std::size_t>(i)]) *
               heard[static_cast<std::size_t>(i + late)];
      }
      if (sum > highest) {
        highest = sum;
        best = late;
      }
    }
  }
  return best;
}

TEST_P(QuelAlignment, HundredsOfRandomLengths) {
  constexpr int files = slow_build ? 80 : 200;
  constexpr int rates[] = {0, 0, 0, 6000, 8000, 11025, 16000, 44100, 48000};  // 0: the flavor's
  Random random(static_cast<std::uint64_t>(40 + flavor));
  std::filesystem::create_directory(path("in"));
  std::vector<int> lengths, sources;
  for (int i = 0; i < files; ++i) {
    const int from = rates[random.bits() % std::size(rates)];
    sources.push_back(from == 0 ? rate : from);
    const double seconds = i % 10 == 0 ? 0.25 : 0.1;
    const auto most = static_cast<std::uint64_t>(seconds * sources.back());
    lengths.push_back(i < 3 ? i : static_cast<int>(random.bits() % most));
    write_audio(path("in/" + std::to_string(i) + ".wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16,
                sources.back(), 1,
                loud_speech(lengths.back(), static_cast<std::uint64_t>(i), sources.back()));
  }
  const std::string number = std::to_string(flavor);
  ProgramResult result = run_program(
      QUEL_PROGRAM, {"encode", path("in"), "--output-dir", path("coded"), "--flavor", number});
  ASSERT_EQ(result.status, 0) << result.err;
  result = run_program(QUEL_PROGRAM, {"decode", path("coded"), "--output-dir", path("out")});
  ASSERT_EQ(result.status, 0) << result.err;

  Pcm all_sources, all_heard;
  for (int i = 0; i < files; ++i) {
    const std::string name = std::to_string(i) + ".wav";
    SCOPED_TRACE(name + ": " + std::to_string(lengths[static_cast<std::size_t>(i)]) + " at " +
                 std::to_string(sources[static_cast<std::size_t>(i)]));
    const Audio audio = load_audio(path("out/" + name));
    EXPECT_EQ(audio.rate, rate);
    const double wanted = std::floor(static_cast<double>(lengths[static_cast<std::size_t>(i)]) *
                                         rate / sources[static_cast<std::size_t>(i)] +
                                     0.5);
    ASSERT_EQ(static_cast<double>(audio.samples.size()), wanted);
    const Pcm source = tools::read_audio(path("in/" + name), rate);
    ASSERT_EQ(audio.samples, plain(source));
    if (source.size() < static_cast<std::size_t>(rate) / 20) continue;
    all_sources.insert(all_sources.end(), source.begin(), source.end());
    all_heard.insert(all_heard.end(), audio.samples.begin(), audio.samples.end());
  }
  // So far for the length, and for the place by the library's own word on its delay. The narrowband
  // high-passes and postfilters move the sound by parts of a sample.
  ASSERT_GE(all_sources.size(), static_cast<std::size_t>(2 * rate));
  EXPECT_LE(std::abs(lateness(all_sources, all_heard)), 1);
}

}  // namespace
}  // namespace quel::test
