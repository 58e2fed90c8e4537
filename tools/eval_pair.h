#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/eval_delay.h"
#include "tools/eval_stoi.h"

namespace quel::tools {

/// A recording and what any codec made of it.
struct PairReport {
  std::string reference, decoded;
  int rate = 0;                          ///< at which they were compared, the lower of both, Hz
  double seconds = 0.0;                  ///< compared
  Delay delay;                           ///< taken out of the comparison
  std::optional<double> snr, segmental;  ///< dB, quality.h
  std::optional<double> codec_snr, codec_segmental;  ///< dB, routine `snr`
  std::optional<double> distortion;                  ///< dB
  std::optional<Intelligibility> intelligible;
};

/// The delay is looked for in the first 30 s, up to 2 s either way. Neither file is held in memory.
///
/// Throws FileError where one of them cannot be read or holds no sound.
PairReport compare_files(const std::string& reference, const std::string& decoded);

/// For a terminal, every line ended; "-" where there is no figure.
std::string pair_text(const PairReport& report);

/// One JSON object; null where there is no figure.
std::string pair_json(const PairReport& report);

}  // namespace quel::tools
