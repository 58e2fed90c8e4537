#include "dsp/syn_filt.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "dsp/kernel_checks.h"
#include "dsp/kernels.h"

namespace quel {

void plain::syn_filt(const float* a, int m, const float* x, float* y, int lg, float* mem,
                     int update) {
  const auto output = [&](int n) { return n < 0 ? mem[m + n] : y[n]; };
  for (int n = 0; n < lg; ++n) {
    double sum = x[n];
    for (int i = 1; i <= m; ++i) sum -= static_cast<double>(a[i]) * output(n - i);
    y[n] = static_cast<float>(sum);
  }
  if (update == 0) return;
  for (int j = 0; j < m; ++j) mem[j] = output(lg - m + j);
}

namespace {

// By stretches: where one's guess is wrong, the plain recursion takes that one.
void by_kernel(const float* a, int m, const float* x, float* y, int lg, float* mem, int update) {
  const DspKernels& kernels = dsp_kernels();
  const auto synthesize = m == 10 ? kernels.synthesize10 : kernels.synthesize16;
  std::array<float, 16> past;
  std::copy_n(mem, m, past.data());
  for (int n = 0; n < lg; n += stretch_max) {
    const int count = std::min(stretch_max, lg - n);
    if (!synthesize({a, x + n, y + n, count, past.data()})) {
      plain::syn_filt(a, m, x + n, y + n, count, past.data(), 1);
    }
  }
  if (update != 0) std::copy_n(past.data(), m, mem);
}

}  // namespace

void syn_filt(const float* a, int m, const float* x, float* y, int lg, float* mem, int update) {
  if (m != 10 && m != 16) return plain::syn_filt(a, m, x, y, lg, mem, update);
  if constexpr (check_kernels) {
    std::vector<float> wanted(x, x + lg), past(mem, mem + m);
    plain::syn_filt(a, m, wanted.data(), wanted.data(), lg, past.data(), update);
    by_kernel(a, m, x, y, lg, mem, update);
    require_same("syn_filt", y, wanted.data(), lg);
    require_same("syn_filt's memory", mem, past.data(), m);
    return;
  }
  by_kernel(a, m, x, y, lg, mem, update);
}

void syn_filt_both(int m, const SynFilt& one, const SynFilt& other) {
  const SynFilt calls[] = {one, other};
  if ((m != 10 && m != 16) || one.lg > stretch_max || other.lg > stretch_max) {
    for (const SynFilt& c : calls) syn_filt(c.a, m, c.x, c.y, c.lg, c.mem, c.update);
    return;
  }
  // No vectors: a small library links without the C++ one.
  std::array<float, stretch_max> wanted[2];
  std::array<float, 16> wanted_past[2];
  if constexpr (check_kernels) {
    for (std::size_t k = 0; k < 2; ++k) {
      const SynFilt& c = calls[k];
      std::copy_n(c.x, c.lg, wanted[k].data());
      std::copy_n(c.mem, m, wanted_past[k].data());
      plain::syn_filt(c.a, m, wanted[k].data(), wanted[k].data(), c.lg, wanted_past[k].data(),
                      c.update);
    }
  }
  const DspKernels& kernels = dsp_kernels();
  const auto synthesize_both = m == 10 ? kernels.synthesize_both10 : kernels.synthesize_both16;
  std::array<float, 16> past[2];
  for (std::size_t k = 0; k < 2; ++k) std::copy_n(calls[k].mem, m, past[k].data());
  bool proved[2];
  synthesize_both({one.a, one.x, one.y, one.lg, past[0].data()},
                  {other.a, other.x, other.y, other.lg, past[1].data()}, proved);
  for (std::size_t k = 0; k < 2; ++k) {
    const SynFilt& c = calls[k];
    if (!proved[k]) plain::syn_filt(c.a, m, c.x, c.y, c.lg, past[k].data(), 1);
    if (c.update != 0) std::copy_n(past[k].data(), m, c.mem);
    if constexpr (check_kernels) {
      require_same("syn_filt_both", c.y, wanted[k].data(), c.lg);
      require_same("syn_filt_both's memory", c.mem, wanted_past[k].data(), m);
    }
  }
}

void syn_filt16(const float* a, int m, const float* x, float* y, int lg, float* mem, int update) {
  syn_filt(a, m, x, y, lg, mem, update);
}

}  // namespace quel
