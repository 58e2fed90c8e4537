#pragma once

#include <sndfile.h>

#include <cstdint>
#include <exception>

#include "tools/wav_pipe.h"

namespace quel::tools {

/// Bare samples out of a pipe, as libsndfile wants its own input: what it asks for beside reading
/// it needs only to find its bearings at the start.
struct BarePipe {
  /// A length that no pipe reaches.
  static constexpr std::uint64_t endless = std::uint64_t{1} << 60;

  PipeInput* input = nullptr;
  std::uint64_t length = 0;       ///< bytes
  std::uint64_t frame_bytes = 1;  ///< of one sample of every channel, > 0
  std::uint64_t position = 0;
  std::exception_ptr error;  ///< what reading threw; no exception may cross libsndfile

  /// Reading gives what is there, as whole frames unless more was asked for.
  static SF_VIRTUAL_IO functions();
};

}  // namespace quel::tools
