#include "tools/frame_analyser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <set>

#include "bitstream/mode.h"
#include "dsp/scratch.h"
#include "interface/frame_driver.h"
#include "support/signals.h"
#include "tools/ogg_support.h"

namespace quel::tools {
namespace {

using test::Bytes;

std::vector<Bytes> random_units(int flavor, int n) {
  test::Random random(static_cast<std::uint64_t>(flavor) + 9);
  std::vector<Bytes> units(static_cast<std::size_t>(n));
  for (Bytes& unit : units) {
    unit.resize(static_cast<std::size_t>(quel_bytes_per_unit(flavor)));
    for (std::uint8_t& byte : unit) byte = static_cast<std::uint8_t>(random.bits() >> 24);
  }
  return units;
}

class EveryFlavor : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(FrameAnalyser, EveryFlavor, ::testing::Values(0, 1, 2, 3));

TEST_P(EveryFlavor, IndexWidthsFillTheFrame) {
  const auto widths = index_widths(GetParam());
  const int bits = 8 * quel_bytes_per_unit(GetParam()) / quel_frames_per_unit(GetParam());
  EXPECT_EQ(std::accumulate(widths.begin(), widths.end(), 0), bits);
}

TEST_P(EveryFlavor, PackingUndoesReadingForAnyBits) {
  FrameAnalyser analyser(GetParam());
  for (const Bytes& unit : random_units(GetParam(), 50)) {
    const auto frames = analyser.next(unit);
    for (const FrameParameters& frame : frames) {
      const auto widths = index_widths(GetParam());
      ASSERT_EQ(frame.indices.size(), widths.size());
      for (std::size_t k = 0; k < widths.size(); ++k) {
        EXPECT_GE(frame.indices[k], 0);
        EXPECT_LT(frame.indices[k], 1 << widths[k]);
      }
    }
    EXPECT_EQ(pack_unit(GetParam(), frames), unit);
    auto wrong = frames;
    wrong.back().indices.front() = 1 << index_widths(GetParam())[0];
    EXPECT_THROW(pack_unit(GetParam(), wrong), Error);
  }
}

TEST_P(EveryFlavor, LostUnitsGiveLostFrames) {
  FrameAnalyser analyser(GetParam());
  const auto frames = analyser.next({});
  ASSERT_EQ(static_cast<int>(frames.size()), quel_frames_per_unit(GetParam()));
  for (const FrameParameters& frame : frames) {
    EXPECT_TRUE(frame.lost);
    EXPECT_TRUE(frame.indices.empty());
  }
}

TEST_P(EveryFlavor, PulsesLieInTheSubframeAndAreAsManyAsTheCodebookHas) {
  FrameAnalyser analyser(GetParam());
  const int length = GetParam() == 3 ? 80 : 48;
  std::set<int> totals;
  for (const Bytes& unit : test::coded_units(GetParam(), 40)) {
    for (const FrameParameters& frame : analyser.next(unit)) {
      for (const SubframeParameters& subframe : frame.subframes) {
        int total = 0;
        for (const Pulse& pulse : subframe.pulses) {
          EXPECT_GE(pulse.position, 0);
          EXPECT_LT(pulse.position, length);
          total += std::abs(pulse.amplitude);
        }
        totals.insert(total);
      }
    }
  }
  // Pulses that cancel each other have no place in a code that an encoder picks.
  const std::set<int> expected[] = {{3}, {6}, {2, 3}, {10}};
  EXPECT_EQ(totals, expected[GetParam()]);
}

// The decoder as it stands once it has decoded a frame knows that frame's last subframe.
struct AfterFrame {
  std::vector<float> frequencies;
  float pitch_gain, code_gain;
  int thirds;
};

AfterFrame state_of(const FrameDecoder& decoder, int flavor) {
  if (flavor == 3) {
    const auto& wb = decoder.wideband;
    return {{wb.lsf.past_lsf_q.begin(), wb.lsf.past_lsf_q.end()},
            wb.gains.past_gain_pit,
            wb.gains.past_gain_code,
            3 * wb.lag.old_T0};
  }
  const auto& shared = decoder.shared;
  return {{shared.isf.past_isf.begin(), shared.isf.past_isf.end()},
          shared.gains.last_gain_pit,
          shared.gains.last_gain_code,
          flavor == 2 ? static_cast<int>(decoder.five_k.old_pitch) : decoder.swt.old_pitch};
}

TEST_P(EveryFlavor, ValuesAreThoseThatTheDecoderWorksWithAfterLossesToo) {
  const int flavor = GetParam();
  Mode mode;
  set_mode(mode, flavor);
  FrameDecoder decoder;
  ScratchArea area;
  const ScratchSwitch scratch(area);
  initVXDecoder(decoder);
  initVX5Decoder(decoder);
  NarrowbandConcealment narrowband;
  WidebandConcealment wideband;
  DecoderParts parts(decoder);
  if (flavor == 3) {
    parts.wideband_concealment = &wideband;
  } else {
    parts.narrowband_concealment = &narrowband;
  }
  FrameAnalyser analyser(flavor);

  FrameParameters previous;
  previous.lost = true;
  int compared = 0;
  const auto units = test::coded_units(flavor, 60);
  for (std::size_t u = 0; u < units.size(); ++u) {
    const bool lost = u % 7 == 3 || u % 20 > 17;
    const auto frames = analyser.next(lost ? Bytes{} : units[u]);
    for (std::size_t f = 0; f < frames.size(); ++f) {
      std::array<std::int16_t, max_len_frame> pcm{};
      decode_frame(parts, mode, units[u].data(), static_cast<int>(f) * mode.prmBits,
                   lost ? Erasure::lost : Erasure::received, static_cast<std::uint32_t>(flavor),
                   pcm.data());
      // Flavor 2 has now decoded the frame before.
      const FrameParameters& frame = flavor == 2 ? previous : frames[f];
      if (!frame.lost) {
        const AfterFrame wanted = state_of(decoder, flavor);
        const SubframeParameters& last = frame.subframes.back();
        EXPECT_EQ(frame.frequencies, wanted.frequencies) << u;
        EXPECT_EQ(flavor == 3 ? std::min(last.pitch_gain, 1.0f) : last.pitch_gain,
                  wanted.pitch_gain);
        EXPECT_EQ(last.code_gain, wanted.code_gain) << u;
        EXPECT_EQ(3 * last.lag + (flavor == 3 ? 0 : last.lag_thirds), wanted.thirds) << u;
        ++compared;
      }
      previous = frames[f];
    }
  }
  EXPECT_GT(compared, 40);
}

}  // namespace
}  // namespace quel::tools
