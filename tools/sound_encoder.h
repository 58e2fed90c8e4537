#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <string>
#include <vector>

#include "tools/audio_source.h"
#include "tools/level_meter.h"
#include "tools/ogg_head.h"
#include "tools/ogg_tags.h"
#include "tools/output_file.h"
#include "tools/resampler.h"

namespace quel::tools {

struct EncodeSettings {
  std::optional<int> flavor;  ///< 0..3; by default from the input's rate, default_flavor()
  std::optional<int> effort;  ///< 0..QUEL_MAX_EFFORT; by default the flavor's, default_effort()
  AudioOptions audio;
  double gain_db = 0.0;
  OggTags tags = make_tags();
  int packet_ms = 240;      ///< 1..10000
  int page_ms = 2000;       ///< 1..60000
  bool raw = false;         ///< bare coded units
  bool dtx = false;         ///< leave out units that a decoder can do without; not with `raw`
  bool source_tags = true;  ///< what the source says of itself goes into the file
};

/// 3 for inputs of 16 kHz and above, else 1.
int default_flavor(int input_rate);

/// The effort with which files of a flavor are coded unless the user says otherwise.
int default_effort(int flavor);

/// Codes mono sound as it comes: level, sampling rate, units, file.
class SoundEncoder {
 public:
  /// source  of what comes; only its rate and its tags count
  /// output  outlives it; nobody else writes to it. What a pipe gets leaves at once, unit by unit
  /// or
  ///         page by page
  ///
  /// Throws FileError, as every call does.
  SoundEncoder(const EncodeSettings& settings, const AudioSource& source, OutputFile& output);
  ~SoundEncoder();
  SoundEncoder(const SoundEncoder&) = delete;
  SoundEncoder& operator=(const SoundEncoder&) = delete;

  /// Full scale 1.
  void write(std::span<const float> mono);

  /// Codes the rest and commits the output.
  void finish();

  int rate() const { return rate_; }                  ///< the flavor's, Hz
  std::uint64_t samples() const { return samples_; }  ///< so far, at that rate
  /// What the user should know of level and tags.
  std::vector<std::string> notes() const;

 private:
  class UnitWriter;
  void code_ready();
  void code_unit();

  OggHead head_;
  int rate_;
  double gain_db_;
  float gain_;
  LevelMeter meter_;
  std::vector<std::string> tag_notes_;
  Resampler resampler_;
  Encoder encoder_;
  std::unique_ptr<UnitWriter> writer_;
  std::uint64_t samples_ = 0;
  std::uint64_t units_ = 0;
  bool waits_ = false;  // unit_ need not be sent, unless it is the last
  std::vector<float> level_, ready_;
  std::vector<std::int16_t> pcm_;  // of the unit that is being filled
  std::size_t filled_ = 0;         // of these
  std::vector<std::uint8_t> unit_;
};

}  // namespace quel::tools
