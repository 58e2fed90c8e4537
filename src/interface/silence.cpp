#include "interface/silence.h"

namespace quel {
namespace {

/// A unit is needed that often at least, however still it is.
constexpr double longest_gap_ms = 160.0;
/// The background has changed: dB.
constexpr float change = 2.0f;

}  // namespace

void end_unit(Silence& state, bool active, double milliseconds) {
  const auto period = static_cast<std::int32_t>(longest_gap_ms / milliseconds + 0.5);
  state.active = active ? 1 : 0;
  const bool due = state.left_out + 1 >= period || distance(state.voice.floor, state.sent) > change;
  state.needed = active || due ? 1 : 0;
  state.left_out = state.needed != 0 ? 0 : state.left_out + 1;
  if (state.needed != 0) state.sent = state.voice.floor;
}

}  // namespace quel
