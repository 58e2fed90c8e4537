#pragma once

#include "wideband/pitch_postfilter.h"

namespace quel::wideband {

/// The output side of a decoder's subframe of 80 samples: synthesis, and behind it the postfilter
/// 1/Aw(z), which undoes the encoder's pre-filter.
struct OutputFilters {
  const float* A;       ///< [0..16] synthesis
  const float* Aw;      ///< [0..16] postfilter
  const float* old_Aw;  ///< [0..16] that of the frame before, from which the first 30 samples fade;
                        ///< null in a frame's second subframe
  float* mem_syn;       ///< [0..15] last outputs of the synthesis, oldest first
  float* mem_post;      ///< [0..15] likewise of the postfilter
};

/// exc  [0..79] excitation
/// out  [0..79] output
///
/// Returns false where a sample of the synthesis is not sane: mem_syn and out then hold nothing of
/// use, and mem_post is as it was.
bool synthesize_output(const OutputFilters& filters, const float* exc, float* out);

/// The same with the pitch postfilter between synthesis and postfilter.
///
/// lag, gain_pit  as postfilter_pitch takes them
bool synthesize_enhanced(const OutputFilters& filters, PitchPostfilter& pitch, int lag,
                         float gain_pit, const float* exc, float* out);

namespace plain {
/// The definition of `synthesize_output`.
bool synthesize_output(const OutputFilters& filters, const float* exc, float* out);
}  // namespace plain

}  // namespace quel::wideband
