#include "wideband/lag3.h"

#include <algorithm>
#include <limits>

namespace quel {
namespace {

void open_window(int T0, int pit_min, int pit_max, int* T0_min, int* T0_max) {
  *T0_min = std::max(T0 - 10, pit_min);
  *T0_max = *T0_min + 19;
  if (*T0_max > pit_max) {
    *T0_max = pit_max;
    *T0_min = pit_max - 19;
  }
}

}  // namespace

int enc_lag3(int T0, int frac, int* T0_min, int* T0_max, int pit_min, int pit_max, int i_subfr) {
  if (i_subfr != 0) return 3 * (T0 - *T0_min) + frac + 2;
  open_window(T0, pit_min, pit_max, T0_min, T0_max);
  return T0 < 160 ? 3 * T0 + frac - 88 : T0 + 230;
}

int dec_lag3(LagDecoder& state, int index, int pit_min, int pit_max, int i_subfr, int* frac,
             int bfi) {
  *frac = 0;
  int T0 = state.old_T0 + (state.old_T0 < std::numeric_limits<int>::max() ? 1 : 0);
  if (bfi == 0 && i_subfr == 0) {
    index &= 511;
    if (index > 389) {
      T0 = index - 230;
    } else {
      T0 = (index + 2) / 3 + 29;
      *frac = index - 3 * T0 + 88;
    }
    open_window(T0, pit_min, pit_max, &state.T0_min, &state.T0_max);
  } else if (bfi == 0 && (index & 63) <= 61) {
    index &= 63;
    const int i = (index + 2) / 3 - 1;
    T0 = state.T0_min + i;
    *frac = index - (3 * i + 2);
  }
  state.old_T0 = T0;
  return T0;
}

}  // namespace quel
