// The encoder in closed loop with a gain table under training.
//
// This file defines q_gain2 in the place of the library's. A program that links it takes the
// encoder from the static library but this quantiser with it, so that the table can change while
// the encoder knows nothing of training. It must therefore never be part of the library itself.

#include <algorithm>
#include <cstdint>

#include "bitstream/mode.h"
#include "narrowband/cod_swt.h"
#include "narrowband/q_gain2.h"
#include "train/gain_trainer.h"

namespace quel {
namespace train {
namespace {

struct Loop {
  const GainTable* table = nullptr;
  std::vector<GainSample>* samples = nullptr;
};
thread_local Loop loop;

// Below this energy of the filtered adaptive and code vectors there is nothing to code.
constexpr float least_energy = 1.0f;

}  // namespace

std::vector<GainSample> collect_gain_samples(const GainTable& table,
                                             const std::vector<Recording>& recordings) {
  std::vector<GainSample> samples;
  loop = {&table, &samples};
  for (const auto& recording : recordings) {
    for (std::int32_t flavor = 0; flavor < 3; ++flavor) {
      Mode mode;
      set_mode(mode, flavor);
      NarrowbandEncoder encoder;
      init_cod_swt(encoder);
      const auto step = static_cast<std::size_t>(mode.len_frame);
      for (std::size_t at = 0; at + step <= recording.pcm.size(); at += step) {
        std::array<std::int32_t, 21> prm{flavor};
        cod_swt(encoder, mode, &recording.pcm[at], prm.data());
      }
    }
  }
  loop = {};
  return samples;
}

}  // namespace train

void init_q_gain2(GainQuantizer& state) {
  state.past_qua_en.fill(-14.0f);
}

std::int32_t q_gain2(GainQuantizer& state, const float* code, int L, float* gain_pit,
                     float* gain_code, const float* g_coeff, int flag) {
  train::GainSample sample;
  std::copy_n(g_coeff, 5, sample.g.begin());
  sample.gcode0 = narrowband::predict_code_gain(state.past_qua_en, code, L);
  sample.gain_pit = *gain_pit;
  sample.crowded = flag == 1;
  const int index = train::choose_gain_row(*train::loop.table, sample);
  if (sample.g[2] > train::least_energy) train::loop.samples->push_back(sample);
  const auto& row = (*train::loop.table)[static_cast<std::size_t>(index)];
  *gain_pit = row[0];
  *gain_code = sample.gcode0 * row[1];
  narrowband::push_energy(state.past_qua_en, narrowband::correction_energy(row[1]));
  return index;
}

}  // namespace quel
