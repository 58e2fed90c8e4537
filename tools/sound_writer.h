#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/output_file.h"
#include "tools/sound_tags.h"

namespace quel::tools {

enum class SoundFormat { wav, flac, raw, raw_big_endian };

/// ".flac" is FLAC, ".raw" and ".pcm" are bare samples, everything else is WAV; upper and lower
/// case mean the same.
SoundFormat format_of(const std::string& path);

/// Writes 16-bit mono sound.
class SoundWriter {
 public:
  virtual ~SoundWriter() = default;

  /// Appends. Throws FileError.
  virtual void write(std::span<const std::int16_t> pcm) = 0;

  /// Completes the file and commits it. Throws FileError.
  virtual void finish() = 0;
};

/// file  outlives the writer; nobody else writes to it
/// rate  Hz
/// tags  go into FLAC, and into WAV where the output can be put right at the end
///
/// Throws FileError.
std::unique_ptr<SoundWriter> make_sound_writer(OutputFile& file, int rate, SoundFormat format,
                                               const SoundTags& tags = {});

/// Most samples that a 16-bit mono WAV file holds: its sizes are 32-bit counts of bytes.
inline constexpr std::uint32_t wav_max_samples = (0xffffffffu - 44u) / 2u;

/// Writes WAV, or RF64 (EBU Tech 3306) where the sound turned out longer than WAV's lengths can
/// tell. Until it is finished, and for good where the output is a pipe or a standard output of more
/// than that length, the header gives the largest lengths that there are, which readers take for
/// "up to the end".
class WavWriter : public SoundWriter {
 public:
  /// most  samples beyond which it is RF64; tests lower it
  WavWriter(OutputFile& file, int rate, std::uint64_t most = wav_max_samples,
            const SoundTags& tags = {});

  void write(std::span<const std::int16_t> pcm) override;
  void finish() override;

 private:
  std::vector<std::uint8_t> header(std::uint32_t data_bytes, std::size_t more = 0) const;
  void turn_into_rf64();

  OutputFile& file_;
  int rate_;
  std::uint64_t most_;
  std::vector<std::uint8_t> info_;  // stands behind the samples
  std::uint64_t samples_ = 0;
};

}  // namespace quel::tools
