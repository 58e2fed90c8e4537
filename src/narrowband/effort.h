#pragma once

#include <cstdint>

#include "bitstream/mode.h"
#include "narrowband/cod_swt.h"

namespace quel {

/// What an encoder of flavors 0 to 2 has beside its state where it is to search longer. Nothing of
/// it but the level outlives a frame.
struct NarrowbandEffort {
  int level = 0;  ///< 1..3
};

/// As cod_swt, with the search that the level asks for.
void cod_swt(NarrowbandEncoder& state, NarrowbandEffort& effort, const Mode& mode,
             const std::int16_t* speech, std::int32_t* prm);

}  // namespace quel
