#pragma once

#include <cstdint>

#include "bitstream/mode.h"
#include "bitstream/serial.h"
#include "dsp/comfort_noise.h"
#include "dsp/scratch.h"
#include "interface/silence.h"
#include "narrowband/cod_swt.h"
#include "narrowband/conceal.h"
#include "narrowband/dec_5swt.h"
#include "narrowband/dec_swt.h"
#include "narrowband/effort.h"
#include "wideband/cod_wb.h"
#include "wideband/dec_wb.h"
#include "wideband/effort16.h"

namespace quel {

/// Lost frames that a driver makes up for at most.
inline constexpr std::int32_t max_packets_missing = 5;

/// Encoder of every flavor: what a process has one of.
struct FrameEncoder {
  NarrowbandEncoder narrowband;
  WidebandEncoder wideband;
  bool big_endian = false;  ///< set by initVXEncoder
  ScratchArea scratch;
};

/// What the drivers of a decoder remember themselves.
struct DriverState {
  /// Frames marked lost since the last received one, 0..5; shared by the three drivers.
  std::int32_t numPacketsMissing = 0;
  std::int32_t bad_lsf_ind = 0;    ///< nonzero: the wideband decoder conceals its LSFs
  std::int32_t bad_pitch_ind = 0;  ///< nonzero: the wideband decoder conceals its lags
  std::uint64_t decoded = 0;       ///< frames that were received
  std::uint64_t concealed = 0;     ///< frames that were lost and made up for
  std::uint64_t cleared = 0;       ///< frames of any kind that ran away, in part or whole
  std::uint64_t not_sent = 0;      ///< frames that were not sent, and noise played for them
};

/// Decoder of every flavor: what a process has one of.
struct FrameDecoder : DriverState {
  NarrowbandDecoderShared shared;
  SwtDecoder swt;
  FiveKDecoder five_k;
  WidebandDecoder wideband;
  ScratchArea scratch, scratch_5k;
};

/// The coders that a driver has at hand: all of a process's, or the one that a stream has. Made for
/// a call, since streams keep no addresses.
struct EncoderParts {
  EncoderParts(FrameEncoder& all)
      : narrowband(&all.narrowband), wideband(&all.wideband), big_endian(all.big_endian) {}
  EncoderParts(NarrowbandEncoder& coder) : narrowband(&coder) {}
  EncoderParts(WidebandEncoder& coder) : wideband(&coder) {}
  EncoderParts(NarrowbandEncoder& coder, NarrowbandEffort& effort)
      : narrowband(&coder), narrowband_effort(&effort) {}
  EncoderParts(WidebandEncoder& coder, WidebandEffort& effort)
      : wideband(&coder), wideband_effort(&effort) {}

  NarrowbandEncoder* narrowband = nullptr;
  WidebandEncoder* wideband = nullptr;
  NarrowbandEffort* narrowband_effort = nullptr;  ///< null: effort 0
  WidebandEffort* wideband_effort = nullptr;      ///< likewise
  Silence* silence = nullptr;  ///< of streams: the plug-in does not tell whether there is speech
  bool big_endian = TestBigEndian() != 0;
};
struct DecoderParts {
  DecoderParts(FrameDecoder& all)
      : driver(&all),
        shared(&all.shared),
        swt(&all.swt),
        five_k(&all.five_k),
        wideband(&all.wideband),
        big_endian(all.shared.gBigEndian) {}
  DecoderParts(DriverState& state, NarrowbandDecoderShared& memories, SwtDecoder& decoder)
      : driver(&state), shared(&memories), swt(&decoder) {}
  DecoderParts(DriverState& state, NarrowbandDecoderShared& memories, FiveKDecoder& decoder)
      : driver(&state), shared(&memories), five_k(&decoder) {}
  DecoderParts(DriverState& state, WidebandDecoder& decoder) : driver(&state), wideband(&decoder) {}

  DriverState* driver;
  NarrowbandDecoderShared* shared = nullptr;
  SwtDecoder* swt = nullptr;
  FiveKDecoder* five_k = nullptr;
  WidebandDecoder* wideband = nullptr;
  /// Of streams: the plug-in knows no frames that are not sent.
  ComfortNoise* noise = nullptr;
  bool big_endian = TestBigEndian() != 0;
  /// Of the decoder's kind where losses are concealed at once, by a stream; else both are null.
  NarrowbandConcealment* narrowband_concealment = nullptr;
  WidebandConcealment* wideband_concealment = nullptr;
};

/// Reset those that are there.
void init_parts(const EncoderParts& parts);
void init_parts(const DecoderParts& parts);

/// The samples of an encoder's call: 16 bits, or floats of -1..1 that are rounded to them.
class SampleSource {
 public:
  explicit SampleSource(const std::int16_t* pcm) : pcm_(pcm) {}
  explicit SampleSource(const float* real) : real_(real) {}
  /// The next n, where the caller has them or in room [0..n-1].
  const std::int16_t* next(int n, std::int16_t* room);

 private:
  const std::int16_t* pcm_ = nullptr;
  const float* real_ = nullptr;
};

/// Where a decoder's samples go: 16 bits as they are, floats of -1..1, or nowhere.
class SampleSink {
 public:
  SampleSink() = default;
  explicit SampleSink(std::int16_t* pcm) : pcm_(pcm) {}
  explicit SampleSink(float* real) : real_(real) {}
  void put(const std::int16_t* samples, int n);
  void put_silence(int n);
  std::int64_t count() const { return count_; }

 private:
  std::int16_t* pcm_ = nullptr;
  float* real_ = nullptr;
  std::int64_t count_ = 0;
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
/// flavor  0..3; any other leaves the unit zeros
void VXEncode(const EncoderParts& parts, const Mode& mode, const std::int16_t* in,
              std::uint8_t* out, std::uint32_t flavor);

/// The same from any samples.
void encode_unit(const EncoderParts& parts, const Mode& mode, SampleSource& in, std::uint8_t* out,
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
/// flavor   0..3; any other decodes nothing
/// samples  count produced
void VXDecode(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
              std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask, std::uint32_t flavor,
              std::int32_t* samples);
void VX5Decode(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
               std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask, std::uint32_t flavor,
               std::int32_t* samples);
void VX16Decode(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask, std::uint32_t flavor,
                std::int32_t* samples);

/// What becomes of a frame. Only flavors 0 and 1 tell the two kinds of loss apart.
enum class Erasure : int {
  received = 0,
  lost_next_known = 1,  ///< concealed with the next received frame's parameters
  lost = 2,             ///< concealed without
  not_sent = 3          ///< comfort noise; as lost where no frame was ever received
};

/// One frame, in a step of its own, for streams that conceal at once.
///
/// mode      set for `flavor`
/// in        the unit; not read where the frame is lost
/// position  first bit of the frame in `in`
/// out       [0..len_frame-1] written
void decode_frame(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                  std::int32_t position, Erasure erasure, std::uint32_t flavor, std::int16_t* out);

/// The next frame of a stream, concealed at once where it is lost.
///
/// in  the unit; null: the frame is lost
void take_frame_at_once(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                        std::int32_t position, std::uint32_t flavor, SampleSink& out);
/// The next frame as the drivers above take it: a lost one only counts.
void take_frame_deferred(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                         std::int32_t position, std::uint32_t flavor, SampleSink& out);

/// The next frame of a stream, which was not sent: noise at once, and before it what deferred
/// concealment has still to make up for.
void take_frame_not_sent(const DecoderParts& parts, const Mode& mode, std::uint32_t flavor,
                         SampleSink& out);

/// Makes up for the frames that were taken as lost before the received one in `in`, without their
/// sound, and forgets them: the memories are then those that the frame will be decoded with.
void make_up_missing(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                     std::int32_t position, std::uint32_t flavor);

}  // namespace quel
