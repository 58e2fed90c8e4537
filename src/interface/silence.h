#pragma once

#include <cstdint>

#include "dsp/voice_activity.h"

namespace quel {

/// What an encoder stream knows of the units it gave: whether there was speech in the last one, and
/// whether a receiver needs it.
struct Silence {
  VoiceActivity voice;
  VoiceActivity::Bands sent{};  ///< background when a unit was needed last
  std::int32_t active = 1;      ///< of the last unit; 1 before the first, as is `needed`
  std::int32_t needed = 1;
  std::int32_t left_out = 0;  ///< units in a row that were not needed
};

/// After each unit.
///
/// active        whether a frame of it was speech
/// milliseconds  of the unit
void end_unit(Silence& state, bool active, double milliseconds);

}  // namespace quel
