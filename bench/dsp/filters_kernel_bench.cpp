#include <cstddef>
#include <vector>

#include "dsp/autocorr.h"
#include "dsp/convolve.h"
#include "dsp/residu.h"
#include "kernel_bench.h"
#include "support/signals.h"

namespace quel {
namespace {

int residual(const char* name, int m, int lg) {
  const auto a = test::stable_filter(m, /*seed=*/1);
  const auto x = test::speech_like(m + lg, /*seed=*/2);
  std::vector<float> y(static_cast<std::size_t>(lg));
  return compare_kernels(
      name,
      [=]() mutable {
        plain::residu(a.data(), m, x.data() + m, y.data(), lg);
        return y.data();
      },
      [=]() mutable {
        residu(a.data(), m, x.data() + m, y.data(), lg);
        return y.data();
      });
}
const int residual10 = residual("residu/order:10/samples:48", 10, 48);
const int residual16 = residual("residu/order:16/samples:80", 16, 80);

int convolution(const char* name, bool backwards, int L) {
  const auto x = test::speech_like(L, /*seed=*/1);
  const auto h = test::noise(L, /*seed=*/2, /*deviation=*/0.3);
  std::vector<float> y(x.size());
  return compare_kernels(
      name,
      [=]() mutable {
        if (backwards) {
          plain::backfil2(x.data(), y.data(), h.data(), L);
        } else {
          plain::convolve(x.data(), h.data(), y.data(), L);
        }
        return y.data();
      },
      [=]() mutable {
        if (backwards) {
          backfil2(x.data(), y.data(), h.data(), L);
        } else {
          convolve(x.data(), h.data(), y.data(), L);
        }
        return y.data();
      });
}
const int convolve48 = convolution("convolve/samples:48", false, 48);
const int convolve80 = convolution("convolve/samples:80", false, 80);
const int backwards48 = convolution("backfil2/samples:48", true, 48);
const int backwards80 = convolution("backfil2/samples:80", true, 80);

int autocorrelation(const char* name, int m, int L) {
  const auto x = test::speech_like(L, /*seed=*/1);
  const auto w = test::noise(L, /*seed=*/2, /*deviation=*/1.0);
  std::vector<float> r(static_cast<std::size_t>(m + 1));
  return compare_kernels(
      name,
      [=]() mutable {
        plain::autocorr(x.data(), r.data(), m, L, w.data());
        return r.data();
      },
      [=]() mutable {
        autocorr(x.data(), r.data(), m, L, w.data());
        return r.data();
      });
}
const int autocorr10 = autocorrelation("autocorr/order:10/samples:240", 10, 240);
const int autocorr16 = autocorrelation("autocorr/order:16/samples:480", 16, 480);

}  // namespace
}  // namespace quel
