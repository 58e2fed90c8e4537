#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "measure.h"
#include "peers/coder.h"

namespace quel::bench {

/// A coder with its speech and what it makes of it.
class Contestant {
 public:
  /// Codes and decodes once.
  ///
  /// pcm           outlives the contestant
  /// least_timing  a measurement goes over the speech as often as takes this long, seconds
  ///
  /// Throws std::runtime_error where the coder fails, or where what it gives is not its input: one
  /// that is fed wrongly would be fast.
  Contestant(Coder coder, std::span<const std::int16_t> pcm, double least_timing);

  const Coder& coder() const { return coder_; }
  double kbit_per_second() const;
  double likeness() const { return likeness_; }

  /// Processor time of a second of sound, seconds.
  double time_encoding();
  double time_decoding();

  const std::vector<double>& encoding() const { return encoding_; }  ///< of all rounds
  const std::vector<double>& decoding() const { return decoding_; }

 private:
  void encode();
  void decode();
  double seconds_of_sound() const;

  Coder coder_;
  std::span<const std::int16_t> pcm_;
  std::vector<std::uint8_t> bytes_;
  std::vector<std::size_t> sizes_;
  std::vector<std::int16_t> heard_;
  double likeness_ = 0.0;
  int encodings_ = 1, decodings_ = 1;  // in a measurement
  std::vector<double> encoding_, decoding_;
};

/// Each round measures all of them, one after the other, beginning with another one than the last
/// round did, so that no one always follows the same one.
void run_rounds(std::vector<Contestant>& contestants, int rounds);

/// How many times as fast as the second the first is, round by round.
Quartiles ratio(const std::vector<double>& seconds, const std::vector<double>& peer_seconds);

}  // namespace quel::bench
