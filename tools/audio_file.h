#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/audio_source.h"
#include "tools/resampler.h"
#include "tools/sound_writer.h"

namespace quel::tools {

/// Full scale 1.0 to 16 bits, nearest (halves to even), clipped.
std::int16_t to_pcm(float x);

/// Reads any sound as 16-bit mono at a given rate: the mean of its channels, resampled where the
/// rates differ, rounded and clipped. A 16-bit mono file at that rate passes bit for bit. The
/// length is round(source samples * rate / source's rate).
class AudioReader {
 public:
  /// rate  samples per second wanted, Hz
  ///
  /// Throws as AudioSource does.
  AudioReader(const std::string& path, int rate, const AudioOptions& options = {});

  /// Fills `pcm` from its start and returns how many samples it got; fewer than asked only at the
  /// end. Throws FileError where the file is damaged.
  std::size_t read(std::span<std::int16_t> pcm);

  /// As AudioSource's.
  bool cut_short() const { return source_.cut_short(); }

 private:
  void read_block();

  AudioSource source_;
  Resampler resampler_;
  bool ended_ = false;
  std::vector<float> mono_, ready_;  // ready_[used_..] waits to be read
  std::size_t used_ = 0;
};

/// The whole of a file. Throws as AudioReader does.
///
/// cut_short  gets whether the header promised more; may be null
std::vector<std::int16_t> read_audio(const std::string& path, int rate, bool* cut_short = nullptr);

}  // namespace quel::tools
