#include "wideband/pred_lt16.h"

#include <cstddef>

#include "dsp/interpolate.h"

namespace quel {

constexpr std::array<float, 31> wideband::inter3_2 = {0.874475002f,
                                                      0.755101025f,
                                                      0.455962002f,
                                                      0.118807003f,
                                                      -0.114223003f,
                                                      -0.176778004f,
                                                      -0.101922996f,
                                                      0.0155530004f,
                                                      0.0865549967f,
                                                      0.0781930014f,
                                                      0.0186599996f,
                                                      -0.037512999f,
                                                      -0.0527330004f,
                                                      -0.0274589993f,
                                                      0.00996700022f,
                                                      0.0302779991f,
                                                      0.0240499992f,
                                                      0.00305499998f,
                                                      -0.0138619998f,
                                                      -0.0161620006f,
                                                      -0.00672500022f,
                                                      0.00421199994f,
                                                      0.00863400009f,
                                                      0.00572100002f,
                                                      0.0f,
                                                      -0.00371000008f,
                                                      -0.00368999992f,
                                                      -0.00122800004f,
                                                      0.00140900002f,
                                                      0.00261000008f,
                                                      0.0f};

namespace {

constexpr int half = 10;

// By phase, from the centre outwards.
constexpr auto filters = [] {
  std::array<std::array<double, 2 * half>, 3> filter{};
  for (std::size_t f = 0; f < 3; ++f) {
    for (std::size_t i = 0; i < half; ++i) {
      filter[f][2 * i] = wideband::inter3_2[f + 3 * i];
      filter[f][2 * i + 1] = wideband::inter3_2[3 - f + 3 * i];
    }
  }
  return filter;
}();
constexpr auto places = [] {
  std::array<int, 2 * half> place{};
  for (std::size_t i = 0; i < half; ++i) {
    place[2 * i] = half - 1 - static_cast<int>(i);
    place[2 * i + 1] = half + static_cast<int>(i);
  }
  return place;
}();

}  // namespace

void pred_lt16(float* exc, int T0, int frac, int L) {
  const float* x = exc - T0;
  int f = -frac;
  if (f < 0) {
    f += 3;
    --x;
  }
  interpolate(filters[static_cast<std::size_t>(f)].data(), places.data(), x - (half - 1), exc, L);
}

void pit_shrp(float* x, int T0, float gain, int L) {
  if (T0 < 1) return;
  for (int i = T0; i < L; ++i) {
    x[i] = static_cast<float>(x[i] + static_cast<double>(gain) * x[i - T0]);
  }
}

}  // namespace quel
