#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/output_file.h"

namespace quel::tools {

/// Reads any audio file that libsndfile knows as 16-bit mono at a given rate: the mean of its
/// channels, resampled where the rates differ, rounded and clipped. A 16-bit mono file at that rate
/// passes bit for bit.
class AudioReader {
 public:
  /// rate  samples per second wanted, Hz
  ///
  /// Throws FileError where the file cannot be opened, is no audio or has a sampling rate outside
  /// 1000..1000000 Hz.
  AudioReader(const std::string& path, int rate);
  ~AudioReader();
  AudioReader(const AudioReader&) = delete;
  AudioReader& operator=(const AudioReader&) = delete;

  /// Fills `pcm` from its start and returns how many samples it got; fewer than asked only at the
  /// end. Samples that are not finite count as 0. Throws FileError where the file is damaged.
  std::size_t read(std::span<std::int16_t> pcm);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The whole of a file. Throws as AudioReader does.
std::vector<std::int16_t> read_audio(const std::string& path, int rate);

/// Most samples that a 16-bit mono WAV file holds: its sizes are 32-bit counts of bytes.
inline constexpr std::uint32_t wav_max_samples = (0xffffffffu - 44u) / 2u;

/// Writes a 16-bit mono WAV file.
class WavWriter {
 public:
  /// file  outlives the writer; nobody else writes to it
  /// rate  Hz
  WavWriter(OutputFile& file, int rate);

  /// Appends; in all at most wav_max_samples. Throws FileError.
  void write(std::span<const std::int16_t> pcm);

  /// Puts the sizes into the header and commits the file. Throws FileError.
  void finish();

 private:
  std::vector<std::uint8_t> header() const;

  OutputFile& file_;
  int rate_;
  std::uint32_t samples_ = 0;
};

}  // namespace quel::tools
