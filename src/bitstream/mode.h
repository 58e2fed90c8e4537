#pragma once

#include <cstdint>

#include "bitstream/flavor.h"

namespace quel {

/// The mode record: what every frame-level routine reads of the flavor in force, as the table of
/// flavors has it. All zero at load.
/// Everything that frames, packs or codes depends on it, so it stands in the lowest layer that
/// does; the one record of a process and its globals are in interface/process_codec.h.
struct Mode {
  std::int32_t initFlavor = 0;      ///< flavor for which the record was last set
  std::int32_t len_frame = 0;       ///< samples per frame at the flavor's sampling rate
  std::int32_t num_subfr = 0;       ///< subframes of 48 samples; narrowband flavors only
  std::int32_t len_past = 0;        ///< past samples in the narrowband speech buffer
  std::int32_t len_total = 0;       ///< len_past + len_frame
  float gamma1 = 0.0f;              ///< weighting filter A(z/gamma1)/A(z/gamma2), numerator
  float gamma2 = 0.0f;              ///< and denominator
  float gamma3 = 0.0f;              ///< not read by any routine
  float gamma4 = 0.0f;              ///< not read by any routine
  float gamma5 = 0.0f;              ///< flavor 2: postfilter A(z/gamma5)/A(z/gamma6), numerator
  float gamma6 = 0.0f;              ///< and denominator
  float fac_inter_var = 0.0f;       ///< set by flavor 2 only: step of gains and lag in concealment
  std::int32_t prmBits = 0;         ///< bits of one coded frame
  std::int32_t framesPerCycle = 0;  ///< frames in one coded unit
  std::int32_t outputBytes = 0;     ///< bytes of one coded unit = framesPerCycle * prmBits / 8
};

/// Sets the record for a flavor. Flavor 3 stores only the frame geometry and leaves the narrowband
/// members as the last narrowband flavor set them; any other value changes `initFlavor` alone.
void set_mode(Mode& mode, std::int32_t flavor);

}  // namespace quel
