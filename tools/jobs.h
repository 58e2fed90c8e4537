#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/loss.h"
#include "tools/ogg_decoder.h"
#include "tools/output_file.h"
#include "tools/sound_encoder.h"
#include "tools/sound_writer.h"

namespace quel::tools {

/// Told now and then how far a job is.
///
/// seconds  of sound done
/// share    of the whole, 0..1; nothing where the whole is unknown
using Meter = std::function<void(double seconds, std::optional<double> share)>;

struct JobResult {
  std::uint64_t samples = 0;       ///< of the source, or given by decoding, at the output's rate
  double seconds = 0.0;            ///< these
  std::vector<std::string> notes;  ///< for the user, without the input's name
  bool damaged = false;            ///< the input is not whole; the output holds what there is
};

/// Codes a sound and commits the output.
///
/// input  audio file, "-" for standard input
/// meter  may be empty
///
/// Throws FileError.
JobResult encode_sound(const EncodeSettings& settings, const std::string& input, OutputFile& output,
                       const Meter& meter = {});

/// Gives the output of a channel, from 1.
using OpenPart = std::function<std::unique_ptr<OutputFile>(int channel)>;

/// The same for every channel by itself, in one pass: all outputs get their names, or none.
///
/// settings  no channel of which is chosen
JobResult encode_channels(const EncodeSettings& settings, const std::string& input,
                          const OpenPart& open, const Meter& meter = {});

struct DecodeSettings {
  std::optional<int> flavor;  ///< given where the input is bare coded units
  OggConcealment concealment = OggConcealment::immediate;
  bool enhance = false;  ///< postfilter voiced speech of flavors 2 and 3
  LossPattern losses;
  bool tags = true;            ///< what the coded file says of the recording goes into WAV and FLAC
  bool report_losses = false;  ///< note how many frames were lost
  double gain_db = 0.0;
  int rate = 0;                       ///< of the output, Hz; 0 is the flavor's
  std::optional<SoundFormat> format;  ///< by default from the output's name
  double start = 0.0;                 ///< seconds of the source that are left out, >= 0
  std::optional<double> length;       ///< seconds, >= 0; by default all the rest
};

/// Decodes to the source's length, or up to where the coded file is cut, and commits the output.
///
/// A start is sought where the input can be, so that the sound is that of a whole decoding to 1 in
/// 16 bits (ogg_preroll); with losses on purpose everything before it is decoded, so that they fall
/// where they would without it.
///
/// Throws FileError.
JobResult decode_sound(const DecodeSettings& settings, const std::string& input, OutputFile& output,
                       const std::string& output_name, const Meter& meter = {});

}  // namespace quel::tools
