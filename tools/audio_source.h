#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "tools/sound_tags.h"

namespace quel::tools {

/// How to read sound.
struct AudioOptions {
  /// Hz; where > 0, the input is bare 16-bit samples whatever its name and content.
  int raw_rate = 0;
  int raw_channels = 1;
  bool raw_big_endian = false;
  int channel = 0;  ///< the one to take, from 1; 0 takes the mean of all
};

/// Any audio file that libsndfile knows, or a stream of these from a pipe, as mono sound at its own
/// rate, block by block. WAV and bare samples from a pipe are read as they come, whatever length
/// their header claims; other formats have to arrive whole first. A WAV file whose header leaves
/// the length open, since its recorder was killed, is read to its end too.
class AudioSource {
 public:
  /// path  "-" is standard input
  ///
  /// Throws FileError where the file cannot be opened, is no audio, lacks the channel asked for or
  /// has a sampling rate outside 1000..1000000 Hz.
  explicit AudioSource(const std::string& path, const AudioOptions& options = {});
  ~AudioSource();
  AudioSource(const AudioSource&) = delete;
  AudioSource& operator=(const AudioSource&) = delete;

  int rate() const;      ///< Hz
  int channels() const;  ///< before they are joined
  /// Length in samples as far as it is known beforehand; for display only.
  std::optional<std::uint64_t> frames() const;

  /// Fills the start of `mono` with what is there, full scale 1, waiting for at least one sample,
  /// and returns how many it got: 0 only at the end, or where `mono` is empty. Samples that are not
  /// finite count as 0. Throws FileError where the file is damaged; of a FLAC file, what lies ahead
  /// of the damage is all that there is.
  std::size_t read(std::span<float> mono);

  /// The same for all channels, side by side: the start of `interleaved` gets whole frames, of
  /// which the number is returned.
  std::size_t read_frames(std::span<float> interleaved);

  /// What the file says of itself, as far as it stands ahead of the samples in a pipe.
  const SoundTags& tags() const;

  /// What to tell of channels that cancelled each other in what read() gave; nothing where all is
  /// well.
  std::optional<std::string> channel_note() const;

  /// Once read() has come to the end: whether the header promised more. WAV, RF64, AIFF and FLAC
  /// tell.
  bool cut_short() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace quel::tools
