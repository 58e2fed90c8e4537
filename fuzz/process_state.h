#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>

#include "fuzz/fuzz_input.h"
#include "interface/process_codec.h"
#include "quelcodec/quelcodec.h"

namespace quel::fuzz {

/// Puts the plug-in back to where a process finds it at load, so that an input means the same
/// whatever came before it.
inline void load_plugin() {
  static std::byte* const heap_at_load = i_heap;
  std::uint32_t samples = 0, bytes = 0;
  CurFlavor = flavor_count;
  InitEncoder(0, 0, &samples, &bytes);  // no flavor is prepared
  process_encoder = FrameEncoder{};
  process_decoder = FrameDecoder{};
  process_mode = Mode{};
  framesPerCall = 8;
  e_heap = nullptr;
  i_heap = heap_at_load;
  bad_lsf_ind = bad_pitch_ind = running_vector_from_signs = 0;
  nb_iter_selected = 2;
}

template <typename... Memories>
bool all_finite(const Memories&... memories) {
  const auto finite = [](const auto& memory) {
    return std::all_of(memory.begin(), memory.end(), [](float x) { return std::isfinite(x); });
  };
  return (finite(memories) && ...);
}

inline bool all_finite_numbers(std::initializer_list<float> numbers) {
  return all_finite(numbers);
}

/// What goes on where a decoder clears its histories: a value that is no number would never leave.
inline bool finite_predictors(const FrameDecoder& d) {
  const GainDequantizer& g = d.shared.gains;
  const WidebandDecoder& w = d.wideband;
  return all_finite(d.shared.isf.past_r, d.shared.isf.past_isf, g.past_qua_en, w.lsf.past_q_target,
                    w.lsf.past_lsf_q, w.gains.past_qua_en) &&
         all_finite_numbers({g.last_gain_pit, g.last_gain_code, g.step, d.five_k.old_pitch,
                             d.five_k.old_gain_pit, d.five_k.preemphasis.mem_pre,
                             d.five_k.gain_control.gain_prec, w.gains.past_gain_pit,
                             w.gains.past_gain_code});
}

inline bool finite_memories(const ComfortNoise& noise) {
  return all_finite(noise.heard.frequencies, noise.played.frequencies) &&
         all_finite_numbers({noise.heard.level, noise.heard.correction, noise.played.level,
                             noise.played.correction});
}

/// Whether everything that a decoder keeps from frame to frame is a number.
inline bool finite_memories(const FrameDecoder& d) {
  const auto finite = [](const SynthesisState& s) {
    return all_finite(s.old_exc, s.isfold, s.mem_syn, s.xmem, s.ymem) && std::isfinite(s.gain_har);
  };
  const WidebandDecoder& w = d.wideband;
  return finite(d.swt.synthesis) && finite(d.five_k.synthesis) &&
         all_finite(d.five_k.mem_syn1, d.five_k.mem_exc1, d.five_k.mem_exc2) &&
         all_finite(w.exc, w.mem_syn, w.mem_post, w.last_filter, w.last_postfilter, w.old_lsp) &&
         finite_predictors(d);
}

inline bool finite(const ExcitationPast& past, const Fill& fill, const Ceiling& ceiling) {
  return all_finite(past.pitch_gain, past.code_energy, ceiling.level_of) &&
         all_finite_numbers({fill.pitch_gain, fill.code_energy, fill.lag, fill.drift, ceiling.level,
                             ceiling.part});
}
inline bool finite_memories(const NarrowbandConcealment& c) {
  return finite(c.past, c.fill, c.ceiling) && all_finite(c.deviation, c.residual) &&
         std::isfinite(c.filter_energy);
}
inline bool finite_memories(const WidebandConcealment& c) {
  return finite(c.past, c.fill, c.ceiling) && all_finite(c.deviation) &&
         std::isfinite(c.third_correction);
}

inline bool finite_memories(const FrameEncoder& e) {
  const NarrowbandEncoder& n = e.narrowband;
  const WidebandEncoder& w = e.wideband;
  return all_finite(n.isp_old, n.ispq_old, n.hp_memx, n.speech, n.wsp, n.exc, n.mem_w, n.mem_syn,
                    n.mem_err, n.mem_w0, n.autocorrelation, w.autocorrelation) &&
         all_finite(w.speech, w.prefiltered, w.coded, w.res, w.wsp, w.exc, w.mem_w, w.mem_target,
                    w.impulse, w.last_filter, w.last_prefilter, w.old_lsp, w.decimator.mem) &&
         all_finite(n.isf.past_r, n.gains.past_qua_en, w.lsf.past_q_target, w.gains.past_qua_en) &&
         std::isfinite(n.old_gain_pit);
}

}  // namespace quel::fuzz
