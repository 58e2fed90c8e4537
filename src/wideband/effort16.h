#pragma once

#include <array>
#include <cstdint>

#include "dsp/paths.h"
#include "wideband/cod_wb.h"
#include "wideband/lags16.h"
#include "wideband/listener.h"
#include "wideband/pulses16.h"

namespace quel {

namespace wideband {

/// A way through the frame.
struct Path {
  std::array<float, 160> exc{};  ///< of the subframes coded so far
  ErrorMemory memory;
  CodeGainQuantizer gains;
  LagWindow16 window;                    ///< of the next subframe
  std::array<std::int32_t, 16> words{};  ///< eight a subframe
  Heard target{};  ///< the next subframe's residual as it is heard behind this path's past
};

/// A way through one subframe. The code gain follows from the rest.
struct Choice {
  Lag16 lag;
  int pitch_gain;                      ///< index
  std::array<std::int32_t, 5> tracks;  ///< words of the pulses
};

inline constexpr int most_paths = 2;

}  // namespace wideband

/// What an encoder of flavor 3 has beside its state where it is to search longer. The level, the
/// listener and the error's memory outlive a frame.
struct WidebandEffort {
  int level = 0;  ///< 1..3
  wideband::Listener listener;
  wideband::ErrorMemory memory;
  PathSearch<wideband::Path, wideband::Choice, wideband::most_paths> paths;

  // Of the subframe in work; rather here than on the stack.
  wideband::Heard impulse{};          ///< response of the error's way
  std::array<float, 80> sharpened{};  ///< the same, pitch-sharpened
  std::array<float, 80 * 80> phi{};   ///< of the latter
  wideband::PulseQuestion question{};
};

/// As coder_wb16, with the search that the level asks for: the error is measured where the listener
/// is, and what a subframe is coded with is chosen together instead of one after the other.
void coder_wb16(WidebandEncoder& state, WidebandEffort& effort, std::int32_t* prm);

namespace wideband {

/// Codes the excitation of the frame whose residual is in `state`.
///
/// Aq      [0..33] quantised filters of both subframes
/// window  lags of the first subframe
/// words   [0..15] output, eight a subframe
void code_excitation(WidebandEncoder& state, WidebandEffort& effort, const float* Aq,
                     LagWindow16 window, std::int32_t* words);

}  // namespace wideband
}  // namespace quel
