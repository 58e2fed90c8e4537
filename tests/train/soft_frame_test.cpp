#include "train/soft_frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/signals.h"

namespace quel::train {
namespace {

constexpr int dims = 4;
constexpr float rate = 4000.0f;

// No two frequencies of these tests come near each other.
void keep_order(float* /*f*/) {}

SpectrumQuantizer small_quantizer(int predictors, unsigned seed) {
  SpectrumQuantizer q;
  q.dims = dims;
  q.mean = {600.0f, 1300.0f, 2300.0f, 3100.0f};
  q.predictors = {{0.88, 0.12}};
  if (predictors == 2) q.predictors.push_back({0.5, 0.5});
  q.form = {dims, false, rate, 1.0f};
  q.reorder = keep_order;
  test::Random random(seed);
  for (int first = 0; first < dims; first += 2) {
    Codebook book;
    book.first = first;
    book.width = 2;
    book.rows = 16;
    for (int i = 0; i < 32; ++i) {
      book.table.push_back(static_cast<float>(random.uniform(-150.0, 150.0)));
    }
    book.fixed.resize(16);
    book.low.assign(2, -1e4f);
    book.high.assign(2, 1e4f);
    book.refresh();
    q.books.push_back(book);
  }
  return q;
}

struct Frame {
  std::vector<float> f;
  Expansion own;
  SoftInput in;

  Frame(const SpectrumQuantizer& q, unsigned seed) : f(q.mean) {
    test::Random random(seed);
    for (float& x : f) x += static_cast<float>(random.uniform(-120.0, 120.0));
    ShapePoints power{};
    power_of_shape(q.form, f.data(), power);
    own = expand_distortion(q.form, power, f.data());
    in.f = f.data();
    in.sensitivity = own.sensitivity.data();
    in.weight = 0.7f;
    for (std::size_t i = 0; i < dims; ++i) {
      in.past[i] = static_cast<float>(random.uniform(-100.0, 100.0));
      in.pull[i] = static_cast<float>(random.uniform(-0.005, 0.005));
    }
  }
};

// Warm enough that several rows and both predictors count.
constexpr SoftPlan warm = {.temperature = 3000.0f, .power = 1.5f, .recursion = 1.0f};
// A hundredth of the distance over which probabilities change; above the rounding of the loss.
constexpr float step = 0.5f;

class SoftFrameGradient : public testing::TestWithParam<int> {};

TEST_P(SoftFrameGradient, ByTheRowsIsTheDifferenceQuotient) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    SpectrumQuantizer q = small_quantizer(GetParam(), seed);
    const Frame frame(q, seed);
    SoftFrame soft(q);
    soft.choose(frame.in);
    soft.soften(frame.in, warm);
    Gradient gradient = zero_gradient(q);
    soft.backward(frame.in, warm, gradient);
    for (std::size_t k = 0; k < q.books.size(); ++k) {
      Codebook& book = q.books[k];
      const float greatest =
          std::abs(*std::max_element(gradient[k].begin(), gradient[k].end(),
                                     [](float a, float b) { return std::abs(a) < std::abs(b); }));
      EXPECT_GT(greatest, 1e-4f);
      for (std::size_t i = 0; i < book.columns.size(); ++i) {
        const float middle = book.columns[i];
        const auto loss = [&](float at) {
          book.columns[i] = at;
          soft.measure(frame.in);
          return soft.soften(frame.in, warm);
        };
        const float quotient = (loss(middle + step) - loss(middle - step)) / (2.0f * step);
        book.columns[i] = middle;
        EXPECT_NEAR(gradient[k][i], quotient, 0.01f * greatest) << seed << ' ' << k << ' ' << i;
      }
    }
  }
}

TEST_P(SoftFrameGradient, ByThePastRowsIsTheDifferenceQuotient) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    const SpectrumQuantizer q = small_quantizer(GetParam(), seed);
    Frame frame(q, seed);
    SoftFrame soft(q);
    soft.choose(frame.in);
    soft.soften(frame.in, warm);
    Gradient gradient = zero_gradient(q);
    const Pull pull = soft.backward(frame.in, warm, gradient);
    const float greatest = std::abs(*std::max_element(
        pull.begin(), pull.end(), [](float a, float b) { return std::abs(a) < std::abs(b); }));
    EXPECT_GT(greatest, 1e-4f);
    for (std::size_t i = 0; i < dims; ++i) {
      const float middle = frame.in.past[i];
      const auto loss = [&](float at) {
        frame.in.past[i] = at;
        soft.measure(frame.in);
        return soft.soften(frame.in, warm);
      };
      const float quotient = (loss(middle + step) - loss(middle - step)) / (2.0f * step);
      frame.in.past[i] = middle;
      EXPECT_NEAR(pull[i], quotient, 0.01f * greatest) << seed << ' ' << i;
    }
  }
}

TEST_P(SoftFrameGradient, WithoutRecursionPullsEndAtTheFrame) {
  const SpectrumQuantizer q = small_quantizer(GetParam(), 3);
  Frame frame(q, 3);
  SoftPlan plan = warm;
  plan.recursion = 0.0f;
  const auto pull = [&] {
    SoftFrame soft(q);
    soft.choose(frame.in);
    soft.soften(frame.in, plan);
    Gradient gradient = zero_gradient(q);
    return soft.backward(frame.in, plan, gradient);
  };
  const Pull pulled = pull();
  frame.in.pull = Pull{};
  EXPECT_EQ(pulled, pull());
}

INSTANTIATE_TEST_SUITE_P(Predictors, SoftFrameGradient, testing::Values(1, 2));

TEST(SoftFrame, ColdItsLossIsThatOfTheEncodersChoice) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    const SpectrumQuantizer q = small_quantizer(2, seed);
    Frame frame(q, seed);
    frame.in.pull = Pull{};
    Past past = frame.in.past;
    Choice choice;
    quantize(q, frame.f.data(), past, choice);
    ShapePoints wanted{};
    power_of_shape(q.form, frame.f.data(), wanted);
    const double squared = expand_distortion(q.form, wanted, choice.quantized.data()).distortion;
    SoftFrame soft(q);
    soft.choose(frame.in);
    const float loss = soft.soften(frame.in, {.temperature = 0.01f, .power = 1.5f});
    // The frequencies are rounded at other places.
    EXPECT_NEAR(loss, 0.7 * std::pow(std::max(squared, 0.06), 0.75), 1e-4 * loss) << seed;
    EXPECT_EQ(loss, soft.own_loss());
  }
}

}  // namespace
}  // namespace quel::train
