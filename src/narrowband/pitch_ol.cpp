#include "narrowband/pitch_ol.h"

#include <algorithm>
#include <array>
#include <limits>

#include "dsp/invsqrt.h"
#include "dsp/lag_correlations.h"

namespace quel {
namespace {

struct Section {
  int lag;        // of the largest correlation
  float largest;  // that correlation
  double energy;  // of the delayed signal
};

constexpr double bias = 0.01f;
constexpr Section nothing(int longest) {
  return {longest, -std::numeric_limits<float>::max(), bias};
}

// sums [0..lags-1] for the lags from `longest` downwards.
void take_larger(Section& best, const double* sums, int longest, int lags) {
  for (int j = 0; j < lags; ++j) {
    const float c = static_cast<float>(sums[j]);
    if (c > best.largest) {
      best.largest = c;
      best.lag = longest - j;
    }
  }
}

float normalised(const Section& section) {
  return static_cast<float>(section.largest * invsqrt(section.energy));
}

}  // namespace

int lagmax(const float* wsp, int L, int lag_max, int lag_min, float* cor_max) {
  constexpr int most = 64;  // lags at a time
  std::array<double, most> sums;
  Section best = nothing(lag_max);
  for (int first = lag_max; first >= lag_min; first -= most) {
    const int lags = std::min(first - lag_min + 1, most);
    lag_correlations(wsp, L, first, lags, sums.data());
    take_larger(best, sums.data(), first, lags);
  }
  for (int i = 0; i < L; ++i) {
    best.energy += static_cast<double>(wsp[i - best.lag]) * wsp[i - best.lag];
  }
  *cor_max = normalised(best);
  return best.lag;
}

int pitch_ol(const float* wsp, int L) {
  constexpr int longest = 143, shortest = 20;
  std::array<double, longest - shortest + 1> sums;
  lag_correlations(wsp, L, longest, longest - shortest + 1, sums.data());
  std::array<Section, 3> sections = {nothing(longest), nothing(79), nothing(39)};
  take_larger(sections[0], &sums[0], longest, 64);
  take_larger(sections[1], &sums[longest - 79], 79, 40);
  take_larger(sections[2], &sums[longest - 39], 39, 20);
  for (int i = 0; i < L; ++i) {  // side by side: each sum waits for itself
    for (Section& section : sections) {
      const double x = wsp[i - section.lag];
      section.energy += x * x;
    }
  }
  constexpr double preference = 0.85f;
  int T = sections[0].lag;
  float m = normalised(sections[0]);
  for (std::size_t k = 1; k < sections.size(); ++k) {
    const float shorter = normalised(sections[k]);
    if (shorter > preference * m) {
      T = sections[k].lag;
      m = shorter;
    }
  }
  return T;
}

}  // namespace quel
