#include "wideband/output_wb.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "dsp/kernel_checks.h"
#include "dsp/sane.h"
#include "dsp/syn_filt.h"
#include "wideband/kernels.h"

namespace quel::wideband {
namespace {

constexpr int order = 16;
constexpr int subframe = 80;
constexpr std::size_t fade = 30;  // samples from one postfilter to the next

// The old postfilter's share by sample, stepped in single precision.
constexpr std::array<float, fade> shares = [] {
  std::array<float, fade> share{};
  float fac = 1.0f;
  for (float& f : share) {
    f = fac;
    fac -= 0.033333335f;
  }
  return share;
}();

void fade_over(const float* old, float* out) {
  for (std::size_t n = 0; n < fade; ++n) {
    const double fac = shares[n];
    out[n] = static_cast<float>(fac * old[n] + (1.0 - fac) * out[n]);
  }
}

void postfilter(const OutputFilters& f, const float* synth, float* out) {
  std::array<float, fade> old;
  if (f.old_Aw != nullptr) syn_filt(f.old_Aw, order, synth, old.data(), fade, f.mem_post, 0);
  syn_filt(f.Aw, order, synth, out, subframe, f.mem_post, 1);
  if (f.old_Aw != nullptr) fade_over(old.data(), out);
}

}  // namespace

bool plain::synthesize_output(const OutputFilters& f, const float* exc, float* out) {
  std::array<float, subframe> synth;
  syn_filt(f.A, order, exc, synth.data(), subframe, f.mem_syn, 1);
  if (!is_sane(synth.data(), subframe)) return false;
  postfilter(f, synth.data(), out);
  return true;
}

bool synthesize_enhanced(const OutputFilters& f, PitchPostfilter& pitch, int lag, float gain_pit,
                         const float* exc, float* out) {
  std::array<float, subframe> synth;
  syn_filt(f.A, order, exc, synth.data(), subframe, f.mem_syn, 1);
  if (!is_sane(synth.data(), subframe)) return false;
  postfilter_pitch(pitch, lag, gain_pit, synth.data());
  postfilter(f, synth.data(), out);
  return true;
}

bool synthesize_output(const OutputFilters& f, const float* exc, float* out) {
  std::array<float, order> mem_syn, mem_post;
  if constexpr (check_kernels) {
    std::copy_n(f.mem_syn, order, mem_syn.data());
    std::copy_n(f.mem_post, order, mem_post.data());
  }
  std::array<float, 32> old;  // the kernel's groups are whole
  const Recursion synthesis = {f.A, exc, nullptr, subframe, f.mem_syn};
  const Recursion postfilter = {f.Aw, nullptr, out, subframe, f.mem_post};
  const Recursion fading = {f.old_Aw, nullptr, old.data(), 32, f.mem_post};
  const bool fades = f.old_Aw != nullptr;
  if (!wideband_kernels().synthesize_and_filter(synthesis, postfilter, fades ? &fading : nullptr)) {
    return plain::synthesize_output(f, exc, out);
  }
  if (fades) fade_over(old.data(), out);
  if constexpr (check_kernels) {
    std::array<float, subframe> wanted;
    plain::synthesize_output({f.A, f.Aw, f.old_Aw, mem_syn.data(), mem_post.data()}, exc,
                             wanted.data());
    require_same("synthesize_output", out, wanted.data(), subframe);
    require_same("synthesize_output's memory", f.mem_syn, mem_syn.data(), order);
    require_same("synthesize_output's memory", f.mem_post, mem_post.data(), order);
  }
  return true;
}

}  // namespace quel::wideband
