#include "narrowband/comfort.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "dsp/interpol_lpc.h"
#include "dsp/pcm.h"
#include "dsp/sane.h"
#include "dsp/scratch.h"
#include "dsp/syn_filt.h"
#include "dsp/vector.h"
#include "narrowband/gain_tables.h"

namespace quel {
namespace {

constexpr int M = 10;
constexpr int L = 48;
constexpr int response_length = 3 * L;

// Filters of the frame's subframes; the predictors as after many frames of this background.
void set_spectrum(const Background& background, NarrowbandDecoderShared& shared,
                  SynthesisState& syn, float* A, int subframes) {
  IsfDequantizer& isf = shared.isf;
  std::copy_n(background.frequencies.begin(), M, isf.past_isf.begin());
  for (std::size_t i = 0; i < isf.past_r.size(); ++i) {
    isf.past_r[i] = (isf.past_isf[i] - mean_isf[i]) / (1.0f + isf_prediction);
  }
  shared.gains.past_qua_en.fill(background.correction);
  Scratch isp(M);
  isf_to_isp(isf.past_isf.data(), isp.data());
  interpol_lpc(isp.data(), syn.isfold.data(), A, subframes);
  std::copy_n(isp.data(), M, syn.isfold.data());
}

void excite(ComfortNoise& noise, const float* A, float level, float* exc) {
  Scratch response(response_length);
  std::array<float, M> silence{};
  set_zero(response.data(), response_length);
  response[0] = 1.0f;
  syn_filt(A, M, response.data(), response.data(), response_length, silence.data(), 0);
  noise_for_level(noise.random, response.data(), response_length, level, exc, L);
}

}  // namespace

void hear_narrowband(ComfortNoise& noise, const NarrowbandDecoderShared& shared,
                     const std::int16_t* pcm, int n) {
  const auto& corrections = shared.gains.past_qua_en;
  const float sum = std::accumulate(corrections.begin(), corrections.end(), 0.0f);
  hear_frame(noise, pcm, n, shared.isf.past_isf.data(), M,
             sum / static_cast<float>(corrections.size()));
}

int comfort_swt(SwtDecoder& st, NarrowbandDecoderShared& shared, ComfortNoise& noise,
                std::int16_t* synth) {
  constexpr int subframes = 3;
  Scratch A(subframes * (M + 1)), frame(subframes * L);
  SynthesisState& syn = st.synthesis;
  const Background& background = next_background(noise);
  set_spectrum(background, shared, syn, A.data(), subframes);
  syn.gain_har = 0.0f;
  int cleared = 0;
  for (int s = 0; s < subframes; ++s) {
    const float* filter = A.data() + s * (M + 1);
    float* out = frame.data() + s * L;
    excite(noise, filter, background.level, syn.exc());
    syn_filt(filter, M, syn.exc(), out, L, syn.mem_syn.data(), 1);
    if (is_sane(syn.exc(), L) && is_sane(out, L)) {
      high_pass(syn, out, L);
    } else {
      set_zero(out, L);
      clear_absurd(syn, shared);
      ++cleared;
    }
    shift_excitation(syn);
  }
  float_to_pcm(frame.data(), synth, subframes * L);
  return cleared;
}

int comfort_5k(FiveKDecoder& st, NarrowbandDecoderShared& shared, const Mode& mode,
               ComfortNoise& noise, const std::int32_t* prm, std::int16_t* synth,
               std::int32_t bfi_in) {
  constexpr int subframes = 5;
  Scratch A(subframes * (M + 1)), frame(subframes * L);
  SynthesisState& syn = st.synthesis;
  const Background& background = next_background(noise);
  set_spectrum(background, shared, syn, A.data(), subframes);
  syn.gain_har = 0.0f;
  st.old_gain_pit = 0.0f;
  int cleared = 0;
  for (int s = 0; s < subframes; ++s) {
    const float* filter = A.data() + s * (M + 1);
    float* out = frame.data() + s * L;
    excite(noise, filter, background.level, syn.exc());
    const Pulses none = {nullptr, nullptr, nullptr};
    if (!finish_subframe(st, shared, mode, filter, none, out)) ++cleared;
  }
  float_to_pcm(frame.data(), synth, subframes * L);
  st.bfi = bfi_not_sent;
  take_next(st, prm, bfi_in);
  return cleared;
}

}  // namespace quel
