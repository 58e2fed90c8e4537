#pragma once

#include <cstdint>

#include "bitstream/mode.h"
#include "interface/frame_driver.h"
#include "quelcodec/quelcodec.h"

namespace quel {

/// What a frame's indices stand for, by the decoder's own dequantisers on copies of its memories.
///
/// parts    of a decoder that stands before the frame; that of flavor 2, which runs a frame behind
///          its input, after it was given the frame
/// mode     set for the flavor
/// indices  as many as the flavor has fields, none beyond its field
/// frame    all but `size` is written
void describe_frame(const DecoderParts& parts, const Mode& mode, const std::int32_t* indices,
                    quel_frame& frame);

}  // namespace quel
