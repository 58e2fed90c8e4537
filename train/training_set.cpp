#include <algorithm>

#include "train/split_vq.h"

namespace quel::train {
namespace {

constexpr float quiet_weight = 0.15f;

}  // namespace

void add_frame(TrainingSet& set, const SpectrumQuantizer& q, const float* f, bool quiet,
               bool first) {
  set.dims = q.dims;
  set.f.insert(set.f.end(), f, f + q.dims);
  ShapePoints own;
  power_of_shape(q.form, f, own);
  const Expansion at = expand_distortion(q.form, own, f);
  set.sensitivity.insert(set.sensitivity.end(), at.sensitivity.begin(),
                         at.sensitivity.begin() + q.dims);
  set.weight.push_back(quiet ? quiet_weight : 1.0f);
  set.first.push_back(first ? 1 : 0);
}

}  // namespace quel::train
