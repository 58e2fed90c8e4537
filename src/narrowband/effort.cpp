#include "narrowband/effort.h"

namespace quel {

void cod_swt(NarrowbandEncoder& st, NarrowbandEffort&, const Mode& mode, const std::int16_t* speech,
             std::int32_t* prm) {
  cod_swt(st, mode, speech, prm);
}

}  // namespace quel
