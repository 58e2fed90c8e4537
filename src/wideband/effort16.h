#pragma once

#include <cstdint>

#include "wideband/cod_wb.h"

namespace quel {

/// What an encoder of flavor 3 has beside its state where it is to search longer.
struct WidebandEffort {
  int level = 0;  ///< 1..3
};

/// As coder_wb16, with the search that the level asks for.
void coder_wb16(WidebandEncoder& state, WidebandEffort& effort, std::int32_t* prm);

}  // namespace quel
