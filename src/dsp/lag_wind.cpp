#include "dsp/lag_wind.h"

namespace quel {

void lag_wind(float* r, int m) {
  for (int i = 0; i <= m; ++i) r[i] = r[i] * lag_window[i];
}

}  // namespace quel
