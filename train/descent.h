#pragma once

#include <cstdint>
#include <functional>

#include "train/soft_frame.h"
#include "train/split_vq.h"

namespace quel::train {

/// A value that falls geometrically over a training.
struct Fall {
  float from = 0.0f;
  float to = 0.0f;

  /// The value when the part `done`, 0..1, of the way is done.
  float at(double done) const;
};

/// One training by gradient descent.
struct DescentPlan {
  int steps = 1000;
  double full_step = 0.0;  ///< part of the steps before the step begins to fall
  Fall step;               ///< Hz that a row moves per step, at most about
  Fall temperature;        ///< Hz^2, of the softened decisions
  float power = 1.0f;      ///< distortions count to this power
  float recursion = 0.0f;  ///< part of a pull that goes on to the frame before
  int stretches = 60;      ///< runs of frames on which a step is taken
  int stretch = 200;       ///< frames of each
  int settling = 20;       ///< frames ahead of each that only fill the predictor's memory
  int threads = 2;         ///< the result does not depend on it
  std::uint64_t seed = 1;
  /// Called after every step with the steps done and the mean loss of a counted frame.
  std::function<void(int done, double loss)> watch = {};
};

/// Moves the free rows down the gradient of the softened distortion in closed loop (see SoftFrame):
/// the set is quantised as the encoder does it, frame after frame, and the gradient goes back over
/// the frames. The rows end as their average over the last tenth of the steps.
void descend(SpectrumQuantizer& q, const TrainingSet& set, const DescentPlan& plan);

}  // namespace quel::train
