#include "train/soft_frame.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "train/lanes.h"

namespace quel::train {
namespace {

// Squared distortions below this gain no more weight, dB^2.
constexpr float least_distortion = 0.06f;

std::size_t size_of(int n) {
  return static_cast<std::size_t>(n);
}

}  // namespace

Gradient zero_gradient(const SpectrumQuantizer& q) {
  Gradient gradient;
  for (const auto& book : q.books) gradient.emplace_back(book.table.size());
  return gradient;
}

SoftFrame::SoftFrame(const SpectrumQuantizer& q) : q_(q), branches_(q.predictors.size()) {}

void SoftFrame::measure(const SoftInput& in) {
  for (std::size_t s = 0; s < branches_.size(); ++s) {
    const auto gain = static_cast<float>(q_.predictors[s].gain);
    const auto rho = static_cast<float>(q_.predictors[s].rho);
    for (std::size_t k = 0; k < q_.books.size(); ++k) {
      const Codebook& book = q_.books[k];
      Part& part = branches_[s].parts[k];
      const auto rows = size_of(book.rows);
      float* __restrict d = part.d.data();
      std::fill_n(d, rows, 0.0f);
      for (std::size_t t = 0; t < size_of(book.width); ++t) {
        const std::size_t i = size_of(book.first) + t;
        const float target = in.f[i] - q_.mean[i] - rho * in.past[i];
        const float* __restrict column = &book.columns[t * rows];
        float* __restrict e = part.e[t].data();
        for (std::size_t j = 0; j < rows; ++j) {
          e[j] = target - gain * column[j];
          d[j] += e[j] * e[j];
        }
      }
    }
  }
}

void SoftFrame::choose(const SoftInput& in) {
  measure(in);
  power_of_shape(q_.form, in.f, wanted_);
  for (auto& branch : branches_) {
    std::array<float, max_dims> coded{};
    for (std::size_t k = 0; k < q_.books.size(); ++k) {
      const Codebook& book = q_.books[k];
      Part& part = branch.parts[k];
      part.nearest = first_least(part.d.data(), book.rows);
      for (std::size_t t = 0; t < size_of(book.width); ++t) {
        part.place[t] = part.e[t][size_of(part.nearest)];
        const std::size_t i = size_of(book.first) + t;
        coded[i] = in.f[i] - part.place[t];
      }
    }
    q_.reorder(coded.data());
    branch.expansion = expand_distortion(q_.form, wanted_, coded.data());
    // Between the two ends of the error, as a chord asks for.
    for (std::size_t i = 0; i < size_of(q_.dims); ++i) {
      branch.expansion.sensitivity[i] =
          0.5f * (branch.expansion.sensitivity[i] + in.sensitivity[i]);
    }
  }
}

void SoftFrame::soften_part(Branch& branch, std::size_t k, const SoftInput& in, float temperature) {
  const Codebook& book = q_.books[k];
  Part& part = branch.parts[k];
  const auto rows = size_of(book.rows);
  const float least = part.d[size_of(part.nearest)];
  const float by = -1.0f / temperature;
  float* __restrict q = part.q.data();
  float* __restrict cost = part.cost.data();
  float* __restrict pulled = part.pulled.data();
  const float* __restrict d = part.d.data();
  for (std::size_t j = 0; j < rows; ++j) q[j] = fast_exp((d[j] - least) * by);
  const float norm = 1.0f / sum_in_lanes(rows, [=](std::size_t j) { return q[j]; });
  for (std::size_t j = 0; j < rows; ++j) q[j] *= norm;
  std::fill_n(cost, rows, 0.0f);
  std::fill_n(pulled, rows, 0.0f);
  for (std::size_t t = 0; t < size_of(book.width); ++t) {
    const std::size_t i = size_of(book.first) + t;
    const float w = branch.expansion.sensitivity[i];
    const float v = branch.expansion.slope[i];
    const float place = part.place[t];
    const float pull = in.pull[i];
    const float* __restrict e = part.e[t].data();
    const float* __restrict column = &book.columns[t * rows];
    for (std::size_t j = 0; j < rows; ++j) {
      const float away = e[j] - place;
      cost[j] += (w * away + v) * away;
      pulled[j] += pull * column[j];
    }
  }
  part.mean_d = sum_in_lanes(rows, [=](std::size_t j) { return q[j] * d[j]; });
  part.mean_cost = sum_in_lanes(rows, [=](std::size_t j) { return q[j] * cost[j]; });
  part.mean_pulled = sum_in_lanes(rows, [=](std::size_t j) { return q[j] * pulled[j]; });
}

float SoftFrame::soften(const SoftInput& in, const SoftPlan& plan) {
  for (auto& branch : branches_) {
    branch.distortion = branch.expansion.distortion;
    branch.error = 0.0f;
    branch.pulled = 0.0f;
    for (std::size_t k = 0; k < q_.books.size(); ++k) {
      soften_part(branch, k, in, plan.temperature);
      branch.distortion += branch.parts[k].mean_cost;
      branch.error += branch.parts[k].mean_d;
      branch.pulled += branch.parts[k].mean_pulled;
    }
    const float held = std::max(branch.distortion, least_distortion);
    const float root = std::pow(held, 0.5f * plan.power - 1.0f);
    branch.loss = in.weight * root * held;
    branch.loss_slope =
        branch.distortion > least_distortion ? in.weight * 0.5f * plan.power * root : 0.0f;
  }
  if (branches_.size() == 2) {
    const float gap = (branches_[1].error - branches_[0].error) / (4.0f * plan.temperature);
    branches_[1].probability = 1.0f / (1.0f + std::exp(std::clamp(gap, -80.0f, 80.0f)));
    branches_[0].probability = 1.0f - branches_[1].probability;
  }
  float loss = 0.0f;
  for (const auto& branch : branches_) loss += branch.probability * (branch.loss + branch.pulled);
  return loss;
}

float SoftFrame::own_loss() const {
  float loss = 0.0f;
  for (const auto& branch : branches_) loss += branch.probability * branch.loss;
  return loss;
}

void SoftFrame::backward_part(const Branch& branch, std::size_t predictor, std::size_t k,
                              const SoftInput& in, const SoftPlan& plan, float by_error,
                              float by_error_pulled, std::vector<float>& gradient,
                              Pull& before) const {
  const Codebook& book = q_.books[k];
  const Part& part = branch.parts[k];
  const auto rows = size_of(book.rows);
  const auto gain = static_cast<float>(q_.predictors[predictor].gain);
  const auto rho = static_cast<float>(q_.predictors[predictor].rho);
  const float by_distortion = branch.probability * branch.loss_slope;
  const float by_pulled = branch.probability;
  const float expected = by_distortion * part.mean_cost + by_error * part.mean_d;
  const float expected_pulled = by_pulled * part.mean_pulled + by_error_pulled * part.mean_d;
  const float sharpness = 1.0f / plan.temperature;
  // Derivatives by d_j, through the probabilities and by itself: all of it, and what goes on to the
  // frame before.
  alignas(64) Rows by_d;
  alignas(64) Rows by_d_before;
  const float* __restrict d = part.d.data();
  const float* __restrict q = part.q.data();
  const float* __restrict cost = part.cost.data();
  const float* __restrict pulled = part.pulled.data();
  for (std::size_t j = 0; j < rows; ++j) {
    const float own = by_distortion * cost[j] + by_error * d[j];
    const float after = by_pulled * pulled[j] + by_error_pulled * d[j];
    const float through_own = by_error - sharpness * (own - expected);
    const float through_after = by_error_pulled - sharpness * (after - expected_pulled);
    by_d[j] = 2.0f * q[j] * (through_own + through_after);
    by_d_before[j] = 2.0f * q[j] * (through_own + plan.recursion * through_after);
  }
  for (std::size_t t = 0; t < size_of(book.width); ++t) {
    const std::size_t i = size_of(book.first) + t;
    const float w2 = 2.0f * branch.expansion.sensitivity[i] * by_distortion;
    const float v = branch.expansion.slope[i] * by_distortion;
    const float place = part.place[t];
    const float pull = by_pulled * in.pull[i];
    const float* __restrict e = part.e[t].data();
    float* __restrict out = &gradient[t * rows];
    for (std::size_t j = 0; j < rows; ++j) {
      const float straight = q[j] * (w2 * (e[j] - place) + v);
      out[j] += q[j] * pull - gain * (by_d[j] * e[j] + straight);
    }
    before[i] -= rho * sum_in_lanes(rows, [=, &by_d_before](std::size_t j) {
                   return by_d_before[j] * e[j] + q[j] * (w2 * (e[j] - place) + v);
                 });
  }
}

Pull SoftFrame::backward(const SoftInput& in, const SoftPlan& plan, Gradient& gradient) {
  std::array<float, max_predictors> by_error{};
  std::array<float, max_predictors> by_error_pulled{};
  if (branches_.size() == 2) {
    const float odds = branches_[0].probability * branches_[1].probability;
    const float steepness = odds / (4.0f * plan.temperature);
    by_error[0] = steepness * (branches_[1].loss - branches_[0].loss);
    by_error_pulled[0] = steepness * (branches_[1].pulled - branches_[0].pulled);
    by_error[1] = -by_error[0];
    by_error_pulled[1] = -by_error_pulled[0];
  }
  Pull before{};
  for (std::size_t s = 0; s < branches_.size(); ++s) {
    for (std::size_t k = 0; k < q_.books.size(); ++k) {
      backward_part(branches_[s], s, k, in, plan, by_error[s], by_error_pulled[s], gradient[k],
                    before);
    }
  }
  return before;
}

}  // namespace quel::train
