#pragma once

namespace quel {

/// Totals of `snr`, all 0 at load.
struct SnrTotals {
  float toten = 0.0f;      ///< signal energy
  float totnoise = 0.0f;   ///< error energy
  float cntsnr = 0.0f;     ///< segments above 30 dB
  float sumsegsnr = 0.0f;  ///< their signal-to-noise ratios, dB, summed
  float segsnr = 0.0f;     ///< segmental SNR over the active segments, dB
  float snr = 0.0f;        ///< overall SNR, dB
};

/// Adds one segment to the totals and brings both ratios up to date. A segment counts for the
/// segmental SNR where its mean energy is above 30 dB (re 1).
///
/// x  [0..L-1] reference
/// y  [0..L-1] signal under test
/// L  samples, > 0
void snr(SnrTotals& totals, const float* x, const float* y, int L);

}  // namespace quel
