#pragma once

namespace quel::wideband::pulse_limits {

inline constexpr int places = 80;
inline constexpr int tracks = 5;
inline constexpr int positions = 16;
inline constexpr int pulses = 10;
inline constexpr int candidates = 8;  ///< of a track, for the first pulse of a pair
inline constexpr int turns = 3;       ///< of each pulse in a descent

/// Below any merit.
inline constexpr float no_merit = -1.0f;
/// What a code is taken to have at least beside the adaptive vector, of its energy.
inline constexpr float least_left = 1e-3f;
/// What a move has to gain, as a factor: more than rounding.
inline constexpr float least_gain = 1.00001f;

}  // namespace quel::wideband::pulse_limits
