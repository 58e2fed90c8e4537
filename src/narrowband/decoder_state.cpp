#include "narrowband/decoder_state.h"

#include <algorithm>
#include <array>

#include "dsp/hp_2nd.h"
#include "dsp/interpol_lpc.h"
#include "dsp/kernel_checks.h"
#include "dsp/sane.h"
#include "narrowband/kernels.h"

namespace quel {
namespace {

constexpr int subframe = 48;
constexpr float agc_factor = 0.9f;

}  // namespace

void init_shared(NarrowbandDecoderShared& shared) {
  shared.seed = 21845;
  init_d_isf_ma(shared.isf);
  init_d_gain2(shared.gains);
}

void init_synthesis(SynthesisState& state) {
  state = SynthesisState{};
  std::copy_n(isf_ini, 10, state.isfold.data());
}

namespace {

// Gain of the innovation that is taken away again. The product is one of floats, exact in double.
double attenuation_of_innovation(SynthesisState& state, float gain_pit, float gain_code) {
  float beta = 0.5f * gain_pit * gain_pit;
  if (beta > 0.4f) beta = 0.4f;
  state.gain_har = static_cast<float>(static_cast<double>(0.7f) * state.gain_har +
                                      static_cast<double>(0.3f) * beta);
  if (state.gain_har > beta) state.gain_har = beta;
  return static_cast<double>(gain_code) * state.gain_har;
}

}  // namespace

void enhance(SynthesisState& state, const float* exc, const float* code, float gain_pit,
             float gain_code, float* out) {
  const double attenuation = attenuation_of_innovation(state, gain_pit, gain_code);
  for (int n = 0; n < subframe; ++n) {
    out[n] = static_cast<float>(exc[n] - attenuation * code[n]);
  }
}

bool plain::mix_excitation(SynthesisState& state, float* exc, const float* code, float gain_pit,
                           float gain_code, float* enhanced) {
  find_exc(exc, code, gain_pit, gain_code, subframe);
  enhance(state, exc, code, gain_pit, gain_code, enhanced);
  return is_sane(exc, subframe);
}

bool mix_excitation(SynthesisState& state, float* exc, const float* code, float gain_pit,
                    float gain_code, float* enhanced) {
  SynthesisState before;
  std::array<float, subframe> wanted, wanted_enhanced;
  if constexpr (check_kernels) {
    before = state;
    std::copy_n(exc, subframe, wanted.data());
  }
  const double attenuation = attenuation_of_innovation(state, gain_pit, gain_code);
  const bool sane =
      narrowband_kernels().mix_excitation(exc, code, gain_pit, gain_code, attenuation, enhanced);
  if constexpr (check_kernels) {
    const int got = sane;
    const int wanted_sane = plain::mix_excitation(before, wanted.data(), code, gain_pit, gain_code,
                                                  wanted_enhanced.data());
    require_same("mix_excitation", exc, wanted.data(), subframe);
    require_same("mix_excitation's enhanced", enhanced, wanted_enhanced.data(), subframe);
    require_same("mix_excitation's verdict", &got, &wanted_sane, 1);
  }
  return sane;
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

bool plain::synthesize(SynthesisState& state, const float* A, const float* enhanced, float* synth,
                       const Pulses& pulses) {
  filter_with_pulses(A, enhanced, synth, state.mem_syn.data(), pulses);
  if (!is_sane(synth, subframe)) return false;
  high_pass(state, synth, subframe);
  return true;
}

bool synthesize(SynthesisState& state, const float* A, const float* enhanced, float* synth,
                const Pulses& pulses) {
  const SynthesisState before = check_kernels ? state : SynthesisState{};
  std::array<float, 11> denominator;
  std::array<float, 10> silence{};
  const Recursion filter = {A, enhanced, synth, subframe, state.mem_syn.data()};
  const HighPass pass = {a_100, b_100, synth, state.xmem.data(), state.ymem.data()};
  const Recursion next = {denominator.data(), pulses.next, pulses.next, subframe, silence.data()};
  if (pulses.A_next != nullptr) start_F(pulses.A_next, pulses.next, denominator.data());
  if (!narrowband_kernels().synthesize_and_pass(filter, pass,
                                                pulses.A_next != nullptr ? &next : nullptr)) {
    return plain::synthesize(state, A, enhanced, synth, pulses);
  }
  if constexpr (check_kernels) {
    SynthesisState wanted = before;
    std::array<float, subframe> wanted_synth, wanted_pulses;
    plain::synthesize(wanted, A, enhanced, wanted_synth.data(),
                      {nullptr, wanted_pulses.data(), pulses.A_next});
    require_same("synthesize", synth, wanted_synth.data(), subframe);
    if (pulses.A_next != nullptr) {
      require_same("synthesize's pulses", pulses.next, wanted_pulses.data(), subframe);
    }
    require_same("synthesize's memory", state.mem_syn.data(), wanted.mem_syn.data(), 10);
    require_same("synthesize's high-pass", state.xmem.data(), wanted.xmem.data(), 2);
    require_same("synthesize's high-pass", state.ymem.data(), wanted.ymem.data(), 2);
  }
  return true;
}

bool plain::level_output(SynthesisState& state, GainControl& control, const float* reference,
                         float* synth) {
  agc(control, reference, synth, subframe, agc_factor);
  if (!is_sane(synth, subframe)) return false;
  high_pass(state, synth, subframe);
  return true;
}

bool level_output(SynthesisState& state, GainControl& control, const float* reference,
                  float* synth) {
  SynthesisState wanted_state;
  GainControl wanted_control;
  std::array<float, subframe> wanted;
  if constexpr (check_kernels) {
    wanted_state = state;
    wanted_control = control;
    std::copy_n(synth, subframe, wanted.data());
  }
  float step = 0.0f;
  const HighPass pass = {a_100, b_100, synth, state.xmem.data(), state.ymem.data()};
  if (!agc_step(reference, synth, subframe, agc_factor, &step) ||
      !narrowband_kernels().level_and_pass(synth, agc_factor, step, &control.gain_prec, pass)) {
    return plain::level_output(state, control, reference, synth);
  }
  if constexpr (check_kernels) {
    plain::level_output(wanted_state, wanted_control, reference, wanted.data());
    require_same("level_output", synth, wanted.data(), subframe);
    require_same("level_output's gain", &control.gain_prec, &wanted_control.gain_prec, 1);
    require_same("level_output's memory", state.xmem.data(), wanted_state.xmem.data(), 2);
    require_same("level_output's memory", state.ymem.data(), wanted_state.ymem.data(), 2);
  }
  return true;
}

void high_pass(SynthesisState& state, float* synth, int n) {
  hp_2nd(synth, n, a_100, b_100, state.xmem.data(), state.ymem.data());
}

}  // namespace quel
