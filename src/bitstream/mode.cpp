#include "bitstream/mode.h"

namespace quel {
namespace {

void set_narrowband(Mode& mode, std::int32_t num_subfr, float gamma4) {
  mode.num_subfr = num_subfr;
  mode.len_frame = 48 * num_subfr;
  mode.len_past = 130;
  mode.len_total = mode.len_past + mode.len_frame;
  mode.gamma1 = 0.9f;
  mode.gamma2 = 0.6f;
  mode.gamma3 = 0.55f;
  mode.gamma4 = gamma4;
}

void set_unit(Mode& mode, std::int32_t framesPerCycle, std::int32_t outputBytes,
              std::int32_t prmBits) {
  mode.framesPerCycle = framesPerCycle;
  mode.outputBytes = outputBytes;
  mode.prmBits = prmBits;
}

}  // namespace

void set_mode(Mode& mode, std::int32_t flavor) {
  mode.initFlavor = flavor;
  switch (flavor) {
    case 0:
      set_narrowband(mode, 3, 0.75f);
      set_unit(mode, 2, 29, 116);
      break;
    case 1:
      set_narrowband(mode, 3, 0.75f);
      set_unit(mode, 1, 19, 152);
      break;
    case 2:
      set_narrowband(mode, 5, 0.7f);
      mode.gamma5 = 0.5f;
      mode.gamma6 = 0.75f;
      mode.fac_inter_var = 1.0f / 6.0f;
      set_unit(mode, 2, 37, 148);
      break;
    case 3:
      mode.len_frame = 160;
      set_unit(mode, 1, 20, 160);
      break;
    default:
      break;
  }
}

}  // namespace quel
