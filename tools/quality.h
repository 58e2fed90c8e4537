#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "tools/aligned_decoder.h"

namespace quel::tools {

/// How close a decoded signal is to its reference.
struct SnrFigures {
  double snr = 0.0;        ///< dB: energy of the reference over energy of the difference
  double segmental = 0.0;  ///< dB: mean over active segments
  int segments = 0;        ///< active ones
};

/// Segments of 20 ms count where the reference's mean square is above -50 dBov (full-scale square
/// wave = 0 dBov); each counts with -10 to 35 dB. An incomplete last segment does not count.
///
/// ref, test  of one length
/// rate       Hz
///
/// Nothing where no segment is active, so that silent files spoil no mean. `snr` is infinite where
/// the signals are equal.
std::optional<SnrFigures> snr_figures(std::span<const float> ref,
                                      std::span<const std::int16_t> test, int rate);

/// The same piece by piece.
class SnrMeter {
 public:
  explicit SnrMeter(int rate);
  void add(std::span<const float> ref, std::span<const std::int16_t> test);
  /// Nothing may be added after it.
  void finish();
  std::optional<SnrFigures> figures() const;

 private:
  void end_segment(bool whole);

  std::size_t segment_;
  std::size_t filled_ = 0;
  double signal_ = 0.0, error_ = 0.0, segment_signal_ = 0.0, segment_error_ = 0.0;
  double segmental_ = 0.0;
  int segments_ = 0;
};

/// What a perfect coder of that flavor would give for `pcm`, delay removed. The narrowband flavors
/// put their input and their output through a high-pass filter each, which turn the phase of low
/// frequencies; against the input itself the figure would be 1 to 2 dB whatever the coder does.
std::vector<float> reference(int flavor, std::span<const std::int16_t> pcm);

/// The same piece by piece.
class ReferenceFilter {
 public:
  explicit ReferenceFilter(int flavor) : flavor_(flavor) {}
  std::vector<float> next(std::span<const std::int16_t> pcm);

 private:
  int flavor_;
  std::array<std::array<float, 2>, 4> memory_{};
};

/// One signal coded and decoded.
struct Trial {
  std::optional<SnrFigures> figures;
  std::uint64_t bytes = 0;      ///< of coded units, those that were sent
  double coded_seconds = 0.0;   ///< of sound in these units
  double encode_seconds = 0.0;  ///< processor time of this thread
  double decode_seconds = 0.0;
  std::uint32_t frames = 0;
  std::uint32_t lost = 0;
  std::vector<bool> lost_frames;  ///< each frame: whether it was lost
  std::uint32_t unsent = 0;       ///< frames that a decoder could do without
};

/// Codes and decodes a signal through streams, piece by piece: memory does not grow with its
/// length.
///
/// samples  of the signal
/// read     fills what it is given from its start with the next samples, and returns how many these
///          are; fewer only at the end
/// heard    gets the decoded signal in pieces, in all as long as the signal and aligned with it
///
/// Gives everything but the figures.
Trial run_codec(int flavor, int effort, std::uint64_t samples, const DecodeOptions& options,
                const std::function<std::size_t(std::span<std::int16_t>)>& read,
                const std::function<void(std::span<const std::int16_t>)>& heard);

/// Codes and decodes `pcm` through streams.
///
/// effort  of the encoder, 0..QUEL_MAX_EFFORT
/// pcm    at the flavor's rate, at most wav_max_samples
/// heard  gets the decoded signal, as long as pcm and aligned with it; may be null
Trial try_codec(int flavor, int effort, std::span<const std::int16_t> pcm,
                const DecodeOptions& options, std::vector<std::int16_t>* heard = nullptr);

/// Trials together: SNR and segmental SNR are means over the files that have them, the rest is
/// summed up.
class Summary {
 public:
  void add(const Trial& trial);

  int files() const { return files_; }  ///< that entered the means of the ratios
  double snr() const;                   ///< dB
  double segmental() const;             ///< dB
  double bit_rate() const;              ///< bit/s
  double encode_speed() const;          ///< seconds of sound per second of processor time
  double decode_speed() const;
  const Trial& total() const { return total_; }

 private:
  int files_ = 0;
  double snr_sum_ = 0.0;
  double segmental_sum_ = 0.0;
  Trial total_;
};

}  // namespace quel::tools
