#include "train/shape.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "train/lanes.h"

namespace quel::train {
namespace {

constexpr std::size_t max_order = 16;
constexpr float dB_per_neper = 4.34294482f;  // of a power

struct Grid {
  alignas(64) ShapePoints x{};         // cosines
  alignas(64) ShapePoints one_plus{};  // 1 + x, 1 - x, 1 - x^2, each with its own digits
  alignas(64) ShapePoints one_minus{};
  alignas(64) ShapePoints sine2{};

  Grid() {
    for (std::size_t j = 0; j < shape_points; ++j) {
      const double angle = std::numbers::pi * (static_cast<double>(j) + 0.5) / shape_points;
      x[j] = static_cast<float>(std::cos(angle));
      one_plus[j] = static_cast<float>(2.0 * std::pow(std::cos(angle / 2.0), 2.0));
      one_minus[j] = static_cast<float>(2.0 * std::pow(std::sin(angle / 2.0), 2.0));
      sine2[j] = static_cast<float>(std::pow(std::sin(angle), 2.0));
    }
  }
};
const Grid grid;

// Squares of the two halves of a spectrum.
struct Halves {
  alignas(64) ShapePoints symmetric;
  alignas(64) ShapePoints antisymmetric;
};

int roots(const SpectrumForm& form) {
  return form.immittance ? form.dims - 1 : form.dims;
}

float last_coefficient(const SpectrumForm& form, const float* f) {
  return f[form.dims - 1] / form.last_scale;
}

// A root on a point of the grid would make that half's slope 0 times infinity.
float distance(float x, float root) {
  constexpr float least = 1e-6f;
  const float d = x - root;
  return std::abs(d) < least ? least : d;
}

void multiply_root(float root, ShapePoints& half) {
  for (std::size_t j = 0; j < shape_points; ++j) {
    const float d = 2.0f * distance(grid.x[j], root);
    half[j] *= d * d;
  }
}

void fill_halves(const SpectrumForm& form, const float* f, const float* cosine, Halves& halves) {
  if (form.immittance) {
    const float last = last_coefficient(form, f);
    const float even = 0.25f * (1.0f + last) * (1.0f + last);
    const float odd = (1.0f - last) * (1.0f - last);
    for (std::size_t j = 0; j < shape_points; ++j) {
      halves.symmetric[j] = even;
      halves.antisymmetric[j] = odd * grid.sine2[j];
    }
  } else {
    for (std::size_t j = 0; j < shape_points; ++j) {
      halves.symmetric[j] = 0.5f * grid.one_plus[j];
      halves.antisymmetric[j] = 0.5f * grid.one_minus[j];
    }
  }
  for (int i = 0; i < roots(form); ++i) {
    multiply_root(cosine[i], i % 2 == 0 ? halves.symmetric : halves.antisymmetric);
  }
}

void cosines(const SpectrumForm& form, const float* f, std::array<float, max_order>& cosine) {
  for (int i = 0; i < roots(form); ++i) {
    const float part = std::clamp(f[i] / form.half_rate, 0.0f, 1.0f);
    cosine[static_cast<std::size_t>(i)] = fast_cos_pi(part);
  }
}

// Keeps a spectrum's zero, if it has one on the grid, from dividing.
constexpr float least_power = 1e-12f;

}  // namespace

void power_of_shape(const SpectrumForm& form, const float* f, ShapePoints& power) {
  std::array<float, max_order> cosine;
  cosines(form, f, cosine);
  Halves halves;
  fill_halves(form, f, cosine.data(), halves);
  for (std::size_t j = 0; j < shape_points; ++j) {
    power[j] = halves.symmetric[j] + halves.antisymmetric[j] + least_power;
  }
}

Expansion expand_distortion(const SpectrumForm& form, const ShapePoints& wanted, const float* f) {
  std::array<float, max_order> cosine;
  cosines(form, f, cosine);
  Halves halves;
  fill_halves(form, f, cosine.data(), halves);
  alignas(64) ShapePoints dB;
  for (std::size_t j = 0; j < shape_points; ++j) {
    const float power = halves.symmetric[j] + halves.antisymmetric[j] + least_power;
    dB[j] = dB_per_neper * fast_log(power / wanted[j]);
    halves.symmetric[j] /= power;  // now shares of the power
    halves.antisymmetric[j] /= power;
  }
  Expansion e;
  constexpr float mean = 1.0f / shape_points;
  e.distortion = mean * sum_in_lanes(shape_points, [&](std::size_t j) { return dB[j] * dB[j]; });
  alignas(64) ShapePoints slope;  // of ln power by the frequency, over `factor`
  const auto store = [&](int i, float factor) {
    const auto at = static_cast<std::size_t>(i);
    const float by = factor * dB_per_neper;
    e.slope[at] = -2.0f * mean * by *
                  sum_in_lanes(shape_points, [&](std::size_t j) { return dB[j] * slope[j]; });
    e.sensitivity[at] = mean * by * by * sum_in_lanes(shape_points, [&](std::size_t j) {
                          return slope[j] * slope[j];
                        });
  };
  for (int i = 0; i < roots(form); ++i) {
    const float root = cosine[static_cast<std::size_t>(i)];
    const ShapePoints& share = i % 2 == 0 ? halves.symmetric : halves.antisymmetric;
    for (std::size_t j = 0; j < shape_points; ++j) slope[j] = share[j] / distance(grid.x[j], root);
    const float sine = std::sqrt(std::max(0.0f, 1.0f - root * root));
    store(i, 2.0f * sine * std::numbers::pi_v<float> / form.half_rate);
  }
  if (form.immittance) {
    const float last = last_coefficient(form, f);
    const float up = 1.0f / std::max(1.0f + last, 1e-3f);
    const float down = 1.0f / std::max(1.0f - last, 1e-3f);
    for (std::size_t j = 0; j < shape_points; ++j) {
      slope[j] = halves.symmetric[j] * up - halves.antisymmetric[j] * down;
    }
    store(form.dims - 1, 2.0f / form.last_scale);
  }
  return e;
}

}  // namespace quel::train
