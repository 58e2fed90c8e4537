#pragma once

#include <cstdint>

#include "bitstream/mode.h"
#include "dsp/scratch.h"
#include "narrowband/cod_swt.h"
#include "narrowband/dec_5swt.h"
#include "narrowband/dec_swt.h"
#include "wideband/cod_wb.h"
#include "wideband/dec_wb.h"

namespace quel {

/// Lost frames that a driver makes up for at most.
inline constexpr std::int32_t max_packets_missing = 5;

/// Encoder of every flavor: what a process has one of, and each encoder stream.
struct FrameEncoder {
  NarrowbandEncoder narrowband;
  WidebandEncoder wideband;
  bool big_endian = false;  ///< set by initVXEncoder
  ScratchArea scratch;
};

/// Decoder of every flavor: what a process has one of, and each decoder stream.
struct FrameDecoder {
  NarrowbandDecoderShared shared;
  SwtDecoder swt;
  FiveKDecoder five_k;
  WidebandDecoder wideband;
  /// Frames marked lost since the last received one, 0..5; shared by the three drivers.
  std::int32_t numPacketsMissing = 0;
  std::int32_t bad_lsf_ind = 0;    ///< nonzero: the wideband decoder conceals its LSFs
  std::int32_t bad_pitch_ind = 0;  ///< nonzero: the wideband decoder conceals its lags
  ScratchArea scratch, scratch_5k;
};

/// Points this thread's `i_heap` at the encoder's scratch area and resets both encoders, whatever
/// the flavor. Returns 0.
std::int32_t initVXEncoder(FrameEncoder& state);
void freeVXEncoder();

/// Codes one unit of `framesPerCycle` frames.
///
/// mode    set for `flavor`
/// in      [0..framesPerCycle*len_frame-1] samples
/// out     [0..outputBytes-1] written in full
/// flavor  0..3
void VXEncode(FrameEncoder& state, const Mode& mode, const std::int16_t* in, std::uint8_t* out,
              std::uint32_t flavor);

/// Point this thread's `i_heap` at the decoder's scratch area and reset the decoders: the first all
/// of them, the second that of flavor 2. Each clears `numPacketsMissing`. Return 0.
std::int32_t initVXDecoder(FrameDecoder& state);
std::int32_t initVX5Decoder(FrameDecoder& state);
void freeVXDecoder();
void freeVX5Decoder();

/// Decode one call's bytes: for flavors 0 and 1, 2, and 3. A frame marked lost only counts; the
/// next received one makes up for at most five with its own parameters at hand.
///
/// mode     gives `prmBits` and `len_frame`; a record never set decodes nothing. Where it is
///          another flavor's, every frame still takes `len_frame` samples: a gap is zeros, what is
///          longer is cut
/// in       [0..bytes-1] frames back to back; leftover bits are ignored
/// out      [0..*samples-1] written
/// mask     one bit per frame, lowest first, 1 for received; shifted out as frames are consumed
/// samples  count produced
void VXDecode(FrameDecoder& state, const Mode& mode, const std::uint8_t* in, std::int16_t* out,
              std::uint32_t bytes, std::uint32_t* mask, std::uint32_t flavor,
              std::int32_t* samples);
void VX5Decode(FrameDecoder& state, const Mode& mode, const std::uint8_t* in, std::int16_t* out,
               std::uint32_t bytes, std::uint32_t* mask, std::uint32_t flavor,
               std::int32_t* samples);
void VX16Decode(FrameDecoder& state, const Mode& mode, const std::uint8_t* in, std::int16_t* out,
                std::uint32_t bytes, std::uint32_t* mask, std::uint32_t flavor,
                std::int32_t* samples);

/// What becomes of a frame. Only flavors 0 and 1 tell the two kinds of loss apart.
enum class Erasure : int {
  received = 0,
  lost_next_known = 1,  ///< concealed with the next received frame's parameters
  lost = 2              ///< concealed without
};

/// One frame, in a step of its own, for streams that conceal at once.
///
/// mode      set for `flavor`
/// in        the unit; not read where the frame is lost
/// position  first bit of the frame in `in`
/// out       [0..len_frame-1] written
void decode_frame(FrameDecoder& state, const Mode& mode, const std::uint8_t* in,
                  std::int32_t position, Erasure erasure, std::uint32_t flavor, std::int16_t* out);

}  // namespace quel
