#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

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

/// Sound that is no number stays in these memories for good.
inline bool finite_memories(const FrameDecoder& d) {
  const auto finite = [](const SynthesisState& s) {
    return all_finite(s.old_exc, s.isfold, s.mem_syn, s.xmem, s.ymem) && std::isfinite(s.gain_har);
  };
  const WidebandDecoder& w = d.wideband;
  return finite(d.swt.synthesis) && finite(d.five_k.synthesis) &&
         all_finite(d.five_k.mem_syn1, d.five_k.mem_exc1, d.five_k.mem_exc2) &&
         all_finite(w.exc, w.mem_syn, w.mem_post, w.last_filter, w.last_postfilter, w.old_lsp);
}

inline bool finite_memories(const FrameEncoder& e) {
  const NarrowbandEncoder& n = e.narrowband;
  const WidebandEncoder& w = e.wideband;
  return all_finite(n.isp_old, n.ispq_old, n.hp_memx, n.speech, n.wsp, n.exc, n.mem_w, n.mem_syn,
                    n.mem_err, n.mem_w0) &&
         all_finite(w.speech, w.prefiltered, w.coded, w.res, w.wsp, w.exc, w.mem_w, w.mem_target,
                    w.impulse, w.last_filter, w.last_prefilter, w.old_lsp);
}

}  // namespace quel::fuzz
