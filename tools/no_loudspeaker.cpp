// Stands for loudspeaker.cpp in builds without PortAudio.
#include <stdexcept>

#include "tools/loudspeaker.h"

namespace quel::tools {

std::unique_ptr<SoundSink> loudspeaker(int) {
  throw std::runtime_error(
      "this quel was built without PortAudio (portaudio19-dev) and plays nothing; quel decode FILE "
      "- gives the sound to another player");
}

}  // namespace quel::tools
