#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <vector>

#include "support/sanitizers.h"
#include "support/signals.h"

// Apart from the other tests of many units, since it takes seconds.
namespace quel {
namespace {

TEST(StreamUnitsLength, AnHourGoesThroughOneCall) {
  for (const int flavor : {QUEL_FLAVOR_8K5, QUEL_FLAVOR_16K}) {
    const quel_flavor& info = *quel_flavor_info(flavor);
    const auto samples = static_cast<std::size_t>(info.samples_per_unit);
    const auto bytes = static_cast<std::size_t>(info.bytes_per_unit);
    const int seconds = test::slow_build ? 60 : 3600;
    const auto units = static_cast<std::size_t>(seconds * info.sampling_rate) / samples;
    const std::vector<std::uint8_t> some = Encoder(flavor).encode_units(
        test::speech_like_pcm(static_cast<int>(100 * samples), 48, info.sampling_rate));
    std::vector<std::uint8_t> hour(units * bytes);
    for (std::size_t at = 0; at < hour.size(); ++at) hour[at] = some[at % some.size()];
    Decoder decoder(flavor), plain(flavor);
    const std::vector<std::int16_t> heard = decoder.decode_units(hour);
    ASSERT_EQ(heard.size(), units * samples);
    std::vector<std::int16_t> part(samples);
    for (std::size_t k = 0; k < units; ++k) {
      plain.decode(std::span(hour).subspan(k * bytes, bytes), QUEL_ALL_RECEIVED, part);
      ASSERT_TRUE(std::equal(part.begin(), part.end(),
                             heard.begin() + static_cast<std::ptrdiff_t>(k * samples)))
          << k;
    }
    EXPECT_EQ(decoder.counts().decoded, units * static_cast<std::size_t>(info.frames_per_unit));
  }
}

}  // namespace
}  // namespace quel
