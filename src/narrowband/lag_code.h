#pragma once

namespace quel {

/// Integer lags that a closed-loop search covers, both included.
struct LagRange {
  int t0_min;
  int t0_max;
};

/// A lag of T0 + frac/3 samples, frac -1, 0 or 1.
struct Lag {
  int T0;
  int frac;
};

/// Seven lags, -3..+3 of an open-loop lag, moved so that they lie within 20..143.
LagRange range_around_open_loop(int T_op);

/// Ten lags, -5..+4 of the lag coded absolutely before, moved so that they lie within 20..143: the
/// range of the relatively coded subframes that follow it, in encoder and decoders.
LagRange range_around_lag(int T0);

/// 8-bit index of a lag, 19 1/3 to 143: thirds of a sample below 85, whole samples above.
///
/// frac  in: -1..1; out: what the index keeps of it
int encode_absolute_lag(int T0, int* frac);

/// 5-bit index of a lag from t0_min - 2/3 to t0_min + 9 2/3.
int encode_relative_lag(int T0, int frac, int t0_min);

/// The inverses; only the low 8 or 5 bits of the index count.
Lag decode_absolute_lag(int index);
Lag decode_relative_lag(int index, int t0_min);

}  // namespace quel
