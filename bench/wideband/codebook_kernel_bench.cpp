#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "kernel_bench.h"
#include "support/signals.h"
#include "wideband/cod45_85.h"
#include "wideband/pit_fr3s.h"
#include "wideband/pulses16.h"

namespace quel {
namespace {

int closed_loop() {
  constexpr int t_min = 100, t_max = 112, L = 80;
  const auto exc = test::speech_like(t_max + 4 + L, /*seed=*/1, 16000.0);
  const auto xn = test::speech_like(L, /*seed=*/2, 16000.0);
  auto h = test::noise(L, /*seed=*/3, /*deviation=*/0.3);
  h[0] = 1.0f;
  const auto run = [=](auto norm_corr) {
    return [=, corr = std::vector<float>(t_max - t_min + 9)]() mutable {
      norm_corr(exc.data() + t_max + 4, xn.data(), h.data(), t_min, t_max, corr.data(), L);
      return corr.data();
    };
  };
  return compare_kernels("wideband::norm_corr/lags:21", run(wideband::plain::norm_corr),
                         run(wideband::norm_corr));
}
const int lags21 = closed_loop();

int whole_search() {
  const auto dn = test::speech_like(80, /*seed=*/1, 16000.0);
  const auto cn = test::speech_like(80, /*seed=*/2, 16000.0);
  auto h = test::noise(80, /*seed=*/3, /*deviation=*/0.3);
  h[0] = 1.0f;
  return measure_kernels("ACELP_45_85", [=, work = AcelpWork{}]() mutable {
    auto target = dn;
    std::array<float, 80> code, y;
    std::array<std::int32_t, 5> indices;
    ACELP_45_85(work, {}, target.data(), cn.data(), h.data(), code.data(), y.data(),
                indices.data());
    return indices[0];
  });
}
const int acelp = whole_search();

int descent() {
  const auto dn = test::speech_like(80, /*seed=*/1, 16000.0), cn = test::noise(80, /*seed=*/2);
  const auto wn = test::noise(80, /*seed=*/4, /*deviation=*/0.1);
  auto h = test::noise(80, /*seed=*/3, /*deviation=*/0.1);
  h[0] = 1.0f;
  std::vector<float> phi(6400);
  wideband::response_matrix(h.data(), phi.data());
  AcelpWork work;
  wideband::PulseQuestion question;
  question.rotations = 5;
  wideband::ask_for_pulses(work, dn.data(), wn.data(), cn.data(), question);
  const auto fill = [=](auto response_matrix) {
    return [=]() mutable {
      response_matrix(h.data(), phi.data());
      return phi.data();
    };
  };
  const auto find = [=](auto find_pulses) {
    return [=]() mutable {
      wideband::Pulses pulses;
      find_pulses(question, phi.data(), pulses);
      return pulses.place[0];
    };
  };
  compare_kernels("wideband::response_matrix", fill(wideband::plain::response_matrix),
                  fill(wideband::response_matrix));
  return compare_kernels("wideband::find_pulses", find(wideband::plain::find_pulses),
                         find(wideband::find_pulses));
}
const int pulses = descent();

}  // namespace
}  // namespace quel
