#include "dsp/snr.h"

#include "dsp/elementary.h"

namespace quel {

void snr(SnrTotals& totals, const float* x, const float* y, int L) {
  double signal = 0.01;
  double noise = 0.01;
  for (int n = 0; n < L; ++n) {
    const double error = static_cast<double>(x[n]) - y[n];
    signal += static_cast<double>(x[n]) * x[n];
    noise += error * error;
  }
  totals.toten = static_cast<float>(totals.toten + signal);
  totals.totnoise = static_cast<float>(totals.totnoise + noise);
  if (10.0 * log_10(signal / L) > 30.0) {
    totals.cntsnr += 1.0f;
    totals.sumsegsnr = static_cast<float>(totals.sumsegsnr + 10.0 * log_10(signal / noise));
    totals.segsnr = totals.sumsegsnr / totals.cntsnr;
  }
  totals.snr =
      static_cast<float>(10.0 * log_10(static_cast<double>(totals.toten) / totals.totnoise));
}

}  // namespace quel
