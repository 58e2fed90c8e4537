#pragma once

#include <cstddef>
#include <cstdint>

#include "bitstream/flavor.h"
#include "bitstream/mode.h"
#include "dsp/comfort_noise.h"
#include "dsp/scratch.h"
#include "interface/frame_driver.h"
#include "interface/silence.h"
#include "quelcodec/quelcodec.h"

// What every stream has. The coder of its flavor follows in the same block of memory, and nothing
// in the block is an address, so that a copy of its bytes is a stream too.

struct quel_encoder {
  int flavor;
  int effort;
  bool on_heap;  ///< quel_encoder_create took the memory
  quel::Mode mode;
  quel::Silence silence;
  quel::ScratchArea scratch;
};

struct quel_decoder {
  int flavor;
  int concealment;
  int enhance;
  bool on_heap;
  quel::Mode mode;
  quel::DriverState driver;
  quel::ComfortNoise noise;
  quel::ScratchArea scratch;
};

namespace quel {

struct NarrowbandEncoderStream {
  quel_encoder head;
  NarrowbandEncoder coder;
};
struct WidebandEncoderStream {
  quel_encoder head;
  WidebandEncoder coder;
};
struct NarrowbandEffortStream {
  quel_encoder head;
  NarrowbandEncoder coder;
  NarrowbandEffort effort;
};
struct WidebandEffortStream {
  quel_encoder head;
  WidebandEncoder coder;
  WidebandEffort effort;
};

struct SwtDecoders {
  NarrowbandDecoderShared shared;
  SwtDecoder own;
  NarrowbandConcealment concealment;
};
struct FiveKDecoders {
  NarrowbandDecoderShared shared;
  FiveKDecoder own;
  NarrowbandConcealment concealment;
};
struct WidebandDecoders {
  WidebandDecoder own;
  WidebandConcealment concealment;
};
struct SwtDecoderStream {
  quel_decoder head;
  SwtDecoders coder;
};
struct FiveKDecoderStream {
  quel_decoder head;
  FiveKDecoders coder;
};
struct WidebandDecoderStream {
  quel_decoder head;
  WidebandDecoders coder;
};

// What small machines are promised.
static_assert(sizeof(NarrowbandEncoderStream) <= 16 * 1024);
static_assert(sizeof(WidebandEncoderStream) <= 28 * 1024);
static_assert(sizeof(NarrowbandEffortStream) <= 96 * 1024 &&
              sizeof(WidebandEffortStream) <= 96 * 1024);
static_assert(sizeof(SwtDecoderStream) <= 14 * 1024 && sizeof(FiveKDecoderStream) <= 14 * 1024 &&
              sizeof(WidebandDecoderStream) <= 14 * 1024);

/// Calls `work` with a null pointer to the type of a flavor's stream; what effort takes is there
/// only where there is any.
template <typename Work>
auto as_encoder(int flavor, int effort, Work work) {
  if (flavors[static_cast<std::size_t>(flavor)].coder == Coder::wideband) {
    if (effort > 0) return work(static_cast<WidebandEffortStream*>(nullptr));
    return work(static_cast<WidebandEncoderStream*>(nullptr));
  }
  if (effort > 0) return work(static_cast<NarrowbandEffortStream*>(nullptr));
  return work(static_cast<NarrowbandEncoderStream*>(nullptr));
}
template <typename Work>
auto as_decoder(int flavor, Work work) {
  switch (flavors[static_cast<std::size_t>(flavor)].coder) {
    case Coder::five_k:
      return work(static_cast<FiveKDecoderStream*>(nullptr));
    case Coder::wideband:
      return work(static_cast<WidebandDecoderStream*>(nullptr));
    default:
      return work(static_cast<SwtDecoderStream*>(nullptr));
  }
}

/// The coder of a stream, for the length of a call.
EncoderParts parts_of(quel_encoder& stream);
DecoderParts parts_of(quel_decoder& stream);

}  // namespace quel
