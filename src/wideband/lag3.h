#pragma once

namespace quel {

/// Code of a lag: 9 bits in the first subframe (thirds up to 159, whole lags from 160 on), 6 bits
/// in the second, relative to the window that the first one opens.
///
/// T0, frac          lag T0 + frac/3 samples, as `pitchfr3` gives it
/// T0_min, T0_max    window of the second subframe: set by the first, read by the second
/// pit_min, pit_max  lag limits, 30 and 281
/// i_subfr           0 in the first subframe
///
/// Returns the index: 0..511 in the first subframe, 0..61 in the second.
int enc_lag3(int T0, int frac, int* T0_min, int* T0_max, int pit_min, int pit_max, int i_subfr);

/// Decoder memory of the lag; one per stream. No init routine resets it.
struct LagDecoder {
  /// Last decoded whole lag, samples. Counts up through losses without limit (it saturates), so
  /// the caller holds the lag that it filters with.
  int old_T0 = 40;
  /// Window of the second subframe, set by each first one received. A frame's subframes are
  /// received or lost together, so the values at load, the window of the shortest lag, are never
  /// heard.
  int T0_min = 30;
  int T0_max = 49;
};

/// The lag of an index, the inverse of `enc_lag3`; a lost one is the last plus 1, and so is the
/// lag of the codes 62 and 63 that no second subframe of the encoder has.
///
/// index    bits beyond the subframe's field are ignored
/// frac     output: -1, 0 or 1 thirds
/// bfi      nonzero: lost; index is not read and the window stays
int dec_lag3(LagDecoder& state, int index, int pit_min, int pit_max, int i_subfr, int* frac,
             int bfi);

}  // namespace quel
