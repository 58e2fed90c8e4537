#include "narrowband/acb_common.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "dsp/kernel_checks.h"
#include "dsp/scratch.h"
#include "narrowband/kernels.h"

namespace quel::narrowband {

void add_pulse(float* y, const float* filt, int position, float sign) {
  for (int n = position; n < acb_len; ++n) y[n] += sign * filt[n - position];
}

void plain::place_pulses(const int* position, const float* sign, int count, const float* filt,
                         float* out) {
  std::fill_n(out, acb_len, 0.0f);
  for (int k = 0; k < count; ++k) add_pulse(out, filt, position[k], sign[k]);
}

void place_pulses(const int* position, const float* sign, int count, const float* filt,
                  float* out) {
  narrowband_kernels().pulses_placed(position, sign, count, filt, out);
  if constexpr (check_kernels) {
    std::vector<float> wanted(acb_len);
    plain::place_pulses(position, sign, count, filt, wanted.data());
    require_same("place_pulses", out, wanted.data(), acb_len);
  }
}

void half_energies(const float* h, int track, int step, float* out) {
  const int count = acb_len / step;
  float sum = 0.0f;
  int i = 0;
  for (int j = count - 1; j >= 0; --j) {
    for (const int last = acb_len - 1 - (track + step * j); i <= last; ++i) sum += h[i] * h[i];
    out[j] = 0.5f * sum;
  }
}

// All entries of one lag are partial sums of one series: an entry continues the sum of the one
// below and to the right by `step` products, and the last row and column start from nothing, on a
// response that is zero before its start. Every entry is then, to the bit, what its own sum in
// rising n gives. That order must stay: another rounds otherwise and now and then codes other
// pulses.
void cross_block(const float* h, int tx, int ty, int step, float* rr) {
  const int count = acb_len / step;
  Scratch padded(step + acb_len);
  Scratch terms(acb_len);  // [r][jy]: the r-th factor that track ty brings in at jy
  float* hz = padded.data() + step;
  std::fill_n(padded.data(), step, 0.0f);
  std::copy_n(h, acb_len, hz);
  for (int jy = 0; jy < count; ++jy) {
    for (int r = 0; r < step; ++r) {
      terms[r * count + jy] = hz[acb_len - ty - step * (jy + 1) + r];
    }
  }
  for (int jx = count - 1; jx >= 0; --jx) {
    float* row = rr + jx * count;
    std::fill_n(row, count, 0.0f);
    if (jx < count - 1) std::copy_n(row + count + 1, count - 1, row);
    for (int r = 0; r < step; ++r) {
      const float x = hz[acb_len - tx - step * (jx + 1) + r];
      const float* y = &terms[r * count];
      for (int jy = 0; jy < count; ++jy) row[jy] += x * y[jy];
    }
  }
}

void fold_signs(float* rr, int tx, int ty, int step, const float* sign) {
  const int count = acb_len / step;
  for (int jx = 0; jx < count; ++jx) {
    for (int jy = 0; jy < count; ++jy) {
      rr[jx * count + jy] *= sign[tx + step * jx] * sign[ty + step * jy];
    }
  }
}

void half_energies_of_all(const float* h, int apart, int step, float* out) {
  float from[acb_len];  // half the energy of a response that starts there
  float sum = 0.0f;
  for (int i = 0; i < acb_len; ++i) {
    sum += h[i] * h[i];
    from[acb_len - 1 - i] = 0.5f * sum;
  }
  for (int track = 0; track < step; track += apart) {
    for (int p = track; p < acb_len; p += step) *out++ = from[p];
  }
}

void cross_blocks(const float* h, int step, int blocks, const float* sign, float* rr) {
  const NarrowbandKernels& kernels = narrowband_kernels();
  (step == 3 ? kernels.cross_blocks3 : kernels.cross_blocks6)(h, blocks, sign, rr);
  if constexpr (check_kernels) {
    const int block = acb_len / step * (acb_len / step);
    for (int b = 0; b < blocks; ++b) {
      const int tx = b * (step / 3);
      const int ty = (tx + step / 3) % step;
      std::vector<float> wanted(static_cast<std::size_t>(block));
      cross_block(h, tx, ty, step, wanted.data());
      if (sign != nullptr) fold_signs(wanted.data(), tx, ty, step, sign);
      require_same("cross_block", rr + b * block, wanted.data(), block);
    }
  }
}

}  // namespace quel::narrowband
