#include "narrowband/decoder_state.h"

#include <algorithm>

#include "dsp/hp_2nd.h"
#include "dsp/interpol_lpc.h"

namespace quel {

void init_shared(NarrowbandDecoderShared& shared) {
  shared.seed = 21845;
  init_d_isf_ma(shared.isf);
  init_d_gain2(shared.gains);
}

void init_synthesis(SynthesisState& state) {
  state = SynthesisState{};
  std::copy_n(isf_ini, 10, state.isfold.data());
}

void enhance(SynthesisState& state, const float* exc, const float* code, float gain_pit,
             float gain_code, float* out) {
  float beta = 0.5f * gain_pit * gain_pit;
  if (beta > 0.4f) beta = 0.4f;
  state.gain_har = static_cast<float>(static_cast<double>(0.7f) * state.gain_har +
                                      static_cast<double>(0.3f) * beta);
  if (state.gain_har > beta) state.gain_har = beta;
  const double attenuation = static_cast<double>(gain_code) * state.gain_har;
  for (int n = 0; n < 48; ++n) out[n] = static_cast<float>(exc[n] - attenuation * code[n]);
}

void shift_excitation(SynthesisState& state) {
  std::copy_n(state.old_exc.data() + 48, SynthesisState::exc_past, state.old_exc.data());
}

void clear_absurd(SynthesisState& state, NarrowbandDecoderShared& shared) {
  state.old_exc.fill(0.0f);
  state.mem_syn.fill(0.0f);
  state.xmem.fill(0.0f);
  state.ymem.fill(0.0f);
  state.gain_har = 0.0f;
  clear_last_gains(shared.gains);
}

void high_pass(SynthesisState& state, float* synth, int n) {
  hp_2nd(synth, n, a_100, b_100, state.xmem.data(), state.ymem.data());
}

}  // namespace quel
