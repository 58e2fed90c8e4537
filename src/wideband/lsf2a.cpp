#include "wideband/lsf2a.h"

#include <array>

#include "dsp/isp2a.h"
#include "dsp/kernel_checks.h"
#include "dsp/scratch.h"
#include "wideband/kernels.h"

namespace quel {

void get_lsfpol(const float* lsp, float* f, int n) {
  get_isppol(lsp, f, n);
}

void lsf2a(const float* lsp, float* a, int m) {
  const int nc = m / 2;
  Scratch f1(nc + 1), f2(nc + 1);
  get_lsfpol(lsp, f1.data(), nc);
  get_lsfpol(lsp + 1, f2.data(), nc);
  for (int i = nc; i >= 1; --i) {  // the trivial roots at z = -1 and z = 1
    f1[i] += f1[i - 1];
    f2[i] -= f2[i - 1];
  }
  a[0] = 1.0f;
  for (int i = 1; i <= nc; ++i) {
    a[i] = 0.5f * (f1[i] + f2[i]);
    a[m + 1 - i] = 0.5f * (f1[i] - f2[i]);
  }
}

void wideband::plain::int_lpc(const float* lsp_old, const float* lsp_new, float* Az, int m) {
  Scratch lsp_int(m);
  for (int i = 0; i < m; ++i) {
    lsp_int[i] = static_cast<float>(0.5 * lsp_old[i] + 0.5 * lsp_new[i]);
  }
  lsf2a(lsp_int.data(), Az, m);
  lsf2a(lsp_new, Az + m + 1, m);
}

void int_lpc(const float* lsp_old, const float* lsp_new, float* Az, int m) {
  if (m != 16) return wideband::plain::int_lpc(lsp_old, lsp_new, Az, m);
  wideband_kernels().interpolated_filters16(lsp_old, lsp_new, Az);
  if constexpr (check_kernels) {
    std::array<float, 34> wanted;
    wideband::plain::int_lpc(lsp_old, lsp_new, wanted.data(), m);
    require_same("int_lpc", Az, wanted.data(), 34);
  }
}

}  // namespace quel
