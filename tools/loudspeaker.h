#pragma once

#include <memory>

#include "tools/player.h"

namespace quel::tools {

/// The machine's loudspeaker. Throws std::runtime_error where there is none, and in a build without
/// PortAudio.
///
/// rate  Hz
std::unique_ptr<SoundSink> loudspeaker(int rate);

}  // namespace quel::tools
