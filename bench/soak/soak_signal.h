#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "conformance/random.h"

namespace quel::soak {

/// What a second of the signal is made of.
enum class Kind {
  speech,   ///< pieces of the pool at all levels
  clipped,  ///< the same, driven far beyond full scale
  silence,  ///< zeros, for up to ten minutes
  tail,     ///< speech that dies away to zeros, with which what the coders remember of it dies too
  hiss,     ///< noise of one or two steps of 16-bit PCM
  loud,     ///< full-scale noise and squares
  bits,     ///< speech; the decoder hears random bits instead
  growth,   ///< likewise units whose excitation grows until the decoder clears its histories
  count
};
const char* name_of(Kind kind);

/// An endless signal that never repeats: random pieces of a pool of speech at random levels with
/// other sounds between them.
class Signal {
 public:
  /// pool  at least ten seconds of speech at the rate
  Signal(std::vector<std::int16_t> pool, int rate, std::uint64_t seed);

  /// Writes the next second.
  Kind next_second(std::span<std::int16_t> pcm);

 private:
  void start_segment();
  double sample();

  std::vector<std::int16_t> pool_;
  int rate_;
  conformance::Random random_;
  Kind kind_ = Kind::speech;
  int seconds_ = 0;        // left in the segment
  std::size_t place_ = 0;  // in the pool
  double gain_ = 0;
  double decay_ = 1;  // of the gain, per sample
  int half_period_ = 0;
  std::uint64_t n_ = 0;  // samples since the segment's start
};

/// Coded units that no encoder makes.
class HostileUnits {
 public:
  HostileUnits(int flavor, std::uint64_t seed);

  /// Units for a second of `bits` or `growth`; none of any other kind. Valid until the next call.
  /// Allocates nothing, since the heap in use is watched.
  std::span<const std::uint8_t> next(Kind kind, std::size_t units);

 private:
  int flavor_;
  conformance::Random random_;
  std::vector<std::uint8_t> units_;
};

/// Frames lost one by one, in bursts, and for seconds on end; now and then none for a while.
class Losses {
 public:
  explicit Losses(std::uint64_t seed) : random_(seed) {}
  bool lost();

 private:
  conformance::Random random_;
  int frames_ = 0;  // left with this rate
  double rate_ = 0;
  int burst_ = 0;
};

}  // namespace quel::soak
