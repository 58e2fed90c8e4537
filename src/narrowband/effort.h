#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "bitstream/mode.h"
#include "dsp/paths.h"
#include "narrowband/cod_swt.h"
#include "narrowband/lag_code.h"
#include "narrowband/pulse_search.h"
#include "narrowband/q_gain2.h"

namespace quel {

/// What a level of effort searches in each subframe, for each path that is open.
struct NarrowbandLevel {
  int ranked;     ///< lags that are tried out as they would be decoded
  int lags;       ///< the best of them, for which a code is searched
  int kicks;      ///< of each search of six pulses
  int gain_rows;  ///< the best for each code, which are ways on
  int paths;      ///< kept from subframe to subframe
};

/// Levels 1 to 3.
inline constexpr std::array<NarrowbandLevel, 3> narrowband_levels{{
    {.ranked = 3, .lags = 1, .kicks = 2, .gain_rows = 1, .paths = 1},
    {.ranked = 4, .lags = 2, .kicks = 2, .gain_rows = 2, .paths = 2},
    {.ranked = 4, .lags = 3, .kicks = 3, .gain_rows = 2, .paths = 4},
}};

namespace narrowband {

template <typename Figure>
constexpr int most_of_levels(Figure figure) {
  int most = 0;
  for (const NarrowbandLevel& level : narrowband_levels) most = std::max(most, figure(level));
  return most;
}
inline constexpr int max_ranked = most_of_levels([](const auto& level) { return level.ranked; });
inline constexpr int max_gain_rows =
    most_of_levels([](const auto& level) { return level.gain_rows; });
inline constexpr int max_paths = most_of_levels([](const auto& level) { return level.paths; });
inline constexpr int max_trials =
    most_of_levels([](const auto& level) { return level.paths * level.lags; });

/// A way through a frame: what its subframes leave behind. Members as NarrowbandEncoder's.
struct Path {
  std::array<float, NarrowbandEncoder::exc_past + max_len_frame> exc;
  std::array<float, 10> mem_syn, mem_err, mem_w0;
  GainQuantizer gains;
  float old_gain_pit;
  LagRange range;  ///< of the next lag that is coded relatively
  std::array<std::int32_t, 15> words;
};

/// A lag as it would be decoded.
struct Adaptive {
  int thirds;
  float merit;                   ///< normalised correlation with the target
  std::array<float, 48> vector;  ///< excitation at that lag
  std::array<float, 48> y1;      ///< the same, filtered
};

/// A lag with the code that was found for it.
struct Trial {
  int T0;
  std::array<std::int32_t, 4> words;             ///< of lag and code
  std::array<float, 48> adaptive, code;          ///< vectors, before their gains
  std::array<float, 10> xn_end, y1_end, y2_end;  ///< of the target and of the vectors, filtered
  float gcode0;                                  ///< predicted code gain
};

/// A trial with a row of the gain table.
struct Choice {
  int trial;
  int row;
};

}  // namespace narrowband

/// What an encoder of flavors 0 to 2 has beside its state where it is to search longer. Nothing of
/// it but the level outlives a frame.
struct NarrowbandEffort {
  int level = 0;  ///< 1..3
  PathSearch<narrowband::Path, narrowband::Choice, narrowband::max_paths> search;
  std::array<narrowband::Trial, narrowband::max_trials> trials{};    ///< of a subframe
  std::array<narrowband::Adaptive, narrowband::max_ranked> tried{};  ///< for a path
  narrowband::PulseCorrelations phi{};
};

/// As cod_swt, with the search that the level asks for.
void cod_swt(NarrowbandEncoder& state, NarrowbandEffort& effort, const Mode& mode,
             const std::int16_t* speech, std::int32_t* prm);

/// A frame whose excitation is to be found.
struct NarrowbandFrame {
  std::int32_t flavor;
  int subframes;
  const float* A;         ///< [0..subframes*11-1] LP filters of the subframes, unquantised
  const float* Aq;        ///< the same, as the decoder has them
  bool crowded;           ///< q_isf_ma's flag
  LagRange first_range;   ///< lags of the first subframe
  LagRange second_range;  ///< flavor 2: of the third
};

/// Searches the excitation of a frame, writes its words and moves the encoder's memories on. They
/// then are those of the decoder, to the bit.
///
/// word  [0..14] output: words of the subframes
void search_excitation(NarrowbandEncoder& state, NarrowbandEffort& effort, const Mode& mode,
                       const NarrowbandFrame& frame, std::int32_t* word);

}  // namespace quel
