#include "wideband/effort16.h"

namespace quel {

void coder_wb16(WidebandEncoder& state, WidebandEffort&, std::int32_t* prm) {
  coder_wb16(state, prm);
}

}  // namespace quel
