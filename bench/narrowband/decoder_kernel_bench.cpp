#include <cstddef>
#include <vector>

#include "kernel_bench.h"
#include "narrowband/acb_common.h"
#include "narrowband/decoder_state.h"
#include "support/signals.h"

namespace quel {
namespace {

constexpr int L = 48;

const int synthesis = [] {
  const auto A = test::stable_filter(10, /*seed=*/1), next = test::stable_filter(10, /*seed=*/2);
  const auto x = test::speech_like(L, /*seed=*/3);
  std::vector<float> y(L), F(L);
  SynthesisState state;
  return compare_kernels(
      "decoder_synthesis/samples:48",
      [=]() mutable {
        plain::synthesize(state, A.data(), x.data(), y.data(), {nullptr, F.data(), next.data()});
        return y.data();
      },
      [=]() mutable {
        synthesize(state, A.data(), x.data(), y.data(), {nullptr, F.data(), next.data()});
        return y.data();
      });
}();

const int levelling = [] {
  const auto x = test::speech_like(L, /*seed=*/1), reference = test::speech_like(L, /*seed=*/2);
  std::vector<float> y(L);
  SynthesisState state;
  GainControl control{1.0f};
  return compare_kernels(
      "decoder_levelling/samples:48",
      [=]() mutable {
        y = x;
        plain::level_output(state, control, reference.data(), y.data());
        return y.data();
      },
      [=]() mutable {
        y = x;
        level_output(state, control, reference.data(), y.data());
        return y.data();
      });
}();

const int mixing = [] {
  const auto code = test::noise(L, /*seed=*/1), past = test::speech_like(L, /*seed=*/2);
  std::vector<float> exc(L), enhanced(L);
  SynthesisState state;
  return compare_kernels(
      "decoder_mixing/samples:48",
      [=]() mutable {
        exc = past;
        plain::mix_excitation(state, exc.data(), code.data(), 0.8f, 2.0f, enhanced.data());
        return exc.data();
      },
      [=]() mutable {
        exc = past;
        mix_excitation(state, exc.data(), code.data(), 0.8f, 2.0f, enhanced.data());
        return exc.data();
      });
}();

const int pulses = [] {
  const auto filt = test::noise(L, /*seed=*/1);
  std::vector<float> out(L);
  constexpr int position[] = {0, 15, 7, 22, 38, 41};
  constexpr float sign[] = {1, -1, 1, 1, -1, -1};
  return compare_kernels(
      "place_pulses/pulses:6",
      [=]() mutable {
        narrowband::plain::place_pulses(position, sign, 6, filt.data(), out.data());
        return out.data();
      },
      [=]() mutable {
        narrowband::place_pulses(position, sign, 6, filt.data(), out.data());
        return out.data();
      });
}();

}  // namespace
}  // namespace quel
