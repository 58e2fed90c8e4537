#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "dsp/snr.h"
#include "tools/eval_stoi.h"
#include "tools/quality.h"

namespace quel::tools {

struct EvalSettings {
  std::string input;  ///< audio file; it is read once per sampling rate
  std::vector<int> flavors = {0, 1, 2, 3};
  std::vector<int> efforts = {0};      ///< of the encoder, 0..QUEL_MAX_EFFORT
  std::vector<double> losses = {0.0};  ///< percentages of the frames, 0..100
  std::uint64_t seed = 1;              ///< of the losses, the same for each flavor and rate
  Concealment concealment = Concealment::immediate;
  bool dtx = false;              ///< try each also without the units that need not be sent
  double excerpt_seconds = 0.0;  ///< of the sounds that the report keeps, from the start
};

/// Where the sound of lost frames lies, one after another.
struct LostSpan {
  double start = 0.0;  ///< s
  double end = 0.0;    ///< s
};

/// One flavor at one level of effort and one loss rate.
struct EvalResult {
  int flavor = 0;
  int effort = 0;
  double loss_percent = 0.0;  ///< asked for
  bool dtx = false;           ///< units that need not be sent were left out
  Trial trial;
  SnrTotals totals;  ///< of routine `snr`, segments of 20 ms; a shorter last one counts too
  std::optional<double> distortion;  ///< log-spectral, dB
  std::optional<Intelligibility> intelligible;
  std::vector<std::int16_t> heard;  ///< the excerpt, decoded
  std::vector<LostSpan> lost;       ///< within the excerpt
};

/// All figures compare with what a perfect coder would give (`reference` in quality.h).
struct EvalReport {
  EvalSettings settings;
  double seconds = 0.0;    ///< of the source
  bool cut_short = false;  ///< the source's header promised more
  std::vector<EvalResult>
      results;  ///< flavor by flavor, efforts and for each the loss rates in the order given
  std::map<int, std::vector<std::int16_t>> sources;  ///< the excerpt, by sampling rate
};

/// Codes and decodes the input with every flavor, effort and loss rate.
///
/// told  called after each of these with the seconds of sound done and the share of the work; may
///       be empty
///
/// Throws FileError where the input cannot be read or holds no sound.
EvalReport evaluate(const EvalSettings& settings,
                    const std::function<void(double seconds, double share)>& told = {});

/// Figures of a result that may be missing: not finite counts as missing.
struct EvalFigures {
  double bit_rate = 0.0;                             ///< bit/s of coded units
  std::optional<double> snr, segmental;              ///< dB, quality.h
  std::optional<double> codec_snr, codec_segmental;  ///< dB, routine `snr`
  std::optional<double> distortion;                  ///< dB
  std::optional<double> stoi, estoi;
  std::optional<double> encode_speed, decode_speed;  ///< times real time, processor time
};
EvalFigures figures(const EvalResult& result);

/// A table for a terminal, every line ended; "-" where there is no figure.
std::string text_table(const EvalReport& report);

/// One JSON object; null where there is no figure.
std::string json_report(const EvalReport& report);

}  // namespace quel::tools
