#pragma once

#include <array>
#include <vector>

#include "train/shape.h"
#include "train/split_vq.h"

namespace quel::train {

/// Gradient of a loss by every row, in the layout of `Codebook::columns`, one vector per codebook.
using Gradient = std::vector<std::vector<float>>;
Gradient zero_gradient(const SpectrumQuantizer& q);

/// A past row's pull: the derivative of the loss of the frames after it by each of its entries.
using Pull = std::array<float, max_dims>;

/// One frame as the encoder meets it.
struct SoftInput {
  const float* f = nullptr;            ///< [0..dims-1] frequencies
  const float* sensitivity = nullptr;  ///< [0..dims-1] of the spectrum at f, dB^2 per Hz^2
  float weight = 1.0f;                 ///< of the frame's distortion in the loss
  Past past{};                         ///< rows chosen in the frame before
  Pull pull{};                         ///< by the rows that this frame chooses
};

struct SoftPlan {
  float temperature = 100.0f;  ///< Hz^2: rows this much farther than the nearest still count
  float power = 1.0f;          ///< distortions count to this power: 2 trains their mean square
  float recursion = 0.0f;      ///< part of a pull that goes on to the frame before
};

/// The loss of one frame when its decisions are softened, and the loss's gradient.
///
/// Row j of a codebook is chosen with the probability q_j = softmax(-d_j / T), d_j being its
/// squared error in Hz, which is what the encoder decides by. What a row costs is the true spectral
/// distortion to second order around the rows that the encoder does choose. So the gradient knows
/// both how moving a row changes the spectrum and how it changes what is chosen. Where there are
/// two predictors, the choice between them is softened likewise, by the errors expected of each.
///
/// Used in this order: `choose`, `soften`, `backward`.
class SoftFrame {
 public:
  explicit SoftFrame(const SpectrumQuantizer& q);

  /// Distances of all rows, the encoder's choice with each predictor, and the true distortion
  /// around it.
  void choose(const SoftInput& in);

  /// The softened loss, the pull of the frames after included. The rows may have moved a little
  /// since `choose` if `measure` was called: the place of the expansion stays.
  float soften(const SoftInput& in, const SoftPlan& plan);

  /// The loss last softened without what the frames after add.
  float own_loss() const;

  /// Distances of all rows anew, without choosing.
  void measure(const SoftInput& in);

  /// Adds the loss's gradient to `gradient` and returns the pull on the rows of the frame before.
  Pull backward(const SoftInput& in, const SoftPlan& plan, Gradient& gradient);

 private:
  static constexpr std::size_t max_rows = 256;
  static constexpr std::size_t max_books = 5;
  static constexpr std::size_t max_predictors = 2;
  using Rows = std::array<float, max_rows>;

  // One codebook under one predictor.
  struct alignas(64) Part {
    std::array<Rows, max_width> e;         // errors, Hz
    Rows d;                                // squared
    Rows q;                                // probabilities
    Rows cost;                             // distortion, as far as it depends on this row
    Rows pulled;                           // what the frames after add
    std::array<float, max_width> place{};  // error of the row that the encoder chooses
    int nearest = 0;
    float mean_d = 0.0f;
    float mean_cost = 0.0f;
    float mean_pulled = 0.0f;
  };
  // One predictor.
  struct Branch {
    std::array<Part, max_books> parts;
    Expansion expansion;
    float distortion = 0.0f;  // expected, squared
    float error = 0.0f;       // expected, Hz^2
    float pulled = 0.0f;
    float loss = 0.0f;
    float loss_slope = 0.0f;  // by the distortion
    float probability = 1.0f;
  };

  void soften_part(Branch& branch, std::size_t book, const SoftInput& in, float temperature);
  void backward_part(const Branch& branch, std::size_t predictor, std::size_t book,
                     const SoftInput& in, const SoftPlan& plan, float by_error,
                     float by_error_pulled, std::vector<float>& gradient, Pull& before) const;

  const SpectrumQuantizer& q_;
  ShapePoints wanted_{};
  std::vector<Branch> branches_;
};

}  // namespace quel::train
