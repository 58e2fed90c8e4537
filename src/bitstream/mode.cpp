#include "bitstream/mode.h"

namespace quel {
namespace {

void set_narrowband(Mode& mode, const Flavor& flavor) {
  mode.num_subfr = flavor.len_frame / narrowband_subframe;
  mode.len_past = 130;
  mode.len_total = mode.len_past + mode.len_frame;
  mode.gamma1 = 0.9f;
  mode.gamma2 = 0.6f;
  mode.gamma3 = 0.55f;
  mode.gamma4 = 0.75f;
  if (flavor.coder != Coder::five_k) return;
  mode.gamma4 = 0.7f;
  mode.gamma5 = 0.5f;
  mode.gamma6 = 0.75f;
  mode.fac_inter_var = 1.0f / 6.0f;
}

}  // namespace

void set_mode(Mode& mode, std::int32_t flavor) {
  mode.initFlavor = flavor;
  const Flavor* facts = find_flavor(flavor);
  if (facts == nullptr) return;
  mode.len_frame = facts->len_frame;
  mode.framesPerCycle = facts->frames_per_unit;
  mode.outputBytes = facts->bytes_per_unit();
  mode.prmBits = facts->bits_per_frame();
  if (facts->coder != Coder::wideband) set_narrowband(mode, *facts);
}

}  // namespace quel
