#pragma once

#include <cmath>
#include <span>
#include <vector>

#include "narrowband/cod_swt.h"
#include "narrowband/dec_5swt.h"
#include "narrowband/dec_swt.h"

namespace quel::test {

using Parts = std::vector<std::span<const float>>;

inline std::vector<float> joined(const Parts& parts) {
  std::vector<float> all;
  for (const auto part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

/// Every float that a coder remembers.
inline std::vector<float> memories(const NarrowbandEncoder& e) {
  return joined({e.isf.past_r,
                 e.gains.past_qua_en,
                 e.isp_old,
                 e.ispq_old,
                 e.hp_memx,
                 e.speech,
                 e.wsp,
                 e.exc,
                 e.mem_w,
                 e.mem_syn,
                 e.mem_err,
                 e.mem_w0,
                 {&e.old_gain_pit, 1}});
}
inline std::vector<float> memories(const SynthesisState& s) {
  return joined({s.old_exc, s.isfold, s.mem_syn, s.xmem, s.ymem, {&s.gain_har, 1}});
}
inline std::vector<float> memories(const NarrowbandDecoderShared& s) {
  return joined({s.isf.past_r,
                 s.isf.past_isf,
                 s.gains.past_qua_en,
                 {&s.gains.last_gain_pit, 1},
                 {&s.gains.last_gain_code, 1},
                 {&s.gains.step, 1}});
}
inline std::vector<float> memories(const SwtDecoder& d) {
  return memories(d.synthesis);
}
inline std::vector<float> memories(const FiveKDecoder& d) {
  const auto synthesis = memories(d.synthesis);
  return joined({synthesis,
                 d.mem_syn1,
                 d.mem_exc1,
                 d.mem_exc2,
                 {&d.old_pitch, 1},
                 {&d.old_gain_pit, 1},
                 {&d.preemphasis.mem_pre, 1},
                 {&d.gain_control.gain_prec, 1}});
}

/// Whether all are finite and within +-limit.
inline bool bounded(const std::vector<float>& memories, float limit) {
  for (const float m : memories) {
    if (!(std::abs(m) <= limit)) return false;
  }
  return true;
}

}  // namespace quel::test
