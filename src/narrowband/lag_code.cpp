#include "narrowband/lag_code.h"

namespace quel {
namespace {

constexpr int lag_min = 20;
constexpr int lag_max = 143;

LagRange range_from(int t0_min, int span) {
  if (t0_min < lag_min) t0_min = lag_min;
  if (t0_min > lag_max - span) t0_min = lag_max - span;
  return {t0_min, t0_min + span};
}

}  // namespace

LagRange range_around_open_loop(int T_op) {
  return range_from(T_op - 3, 6);
}

LagRange range_around_lag(int T0) {
  return range_from(T0 - 5, 9);
}

int encode_absolute_lag(int T0, int* frac) {
  if (T0 > 85 || (T0 == 85 && *frac >= 1)) *frac = 0;
  return T0 <= 85 ? 3 * T0 + *frac - 58 : T0 + 112;
}

int encode_relative_lag(int T0, int frac, int t0_min) {
  return 3 * (T0 - t0_min) + frac + 2;
}

Lag decode_absolute_lag(int index) {
  const int i = index & 0xff;
  if (i > 196) return {i - 112, 0};
  const int T0 = (i + 2) / 3 + 19;
  return {T0, i - 3 * T0 + 58};
}

Lag decode_relative_lag(int index, int t0_min) {
  const int i = index & 0x1f;
  const int k = (i + 2) / 3 - 1;
  return {t0_min + k, i - (3 * k + 2)};
}

}  // namespace quel
