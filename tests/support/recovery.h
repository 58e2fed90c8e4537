#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "interface/frame_driver.h"
#include "support/signals.h"

/// How a decoder that a hostile prefix has left in an odd state comes back to a stream that it then
/// joins in the middle.
namespace quel::test {

/// What a decoder is given before the speech.
enum class Poison {
  random_bits,             ///< half a second
  random_bits_and_losses,  ///< half a second; bursts of losses among them
  extreme_fields,          ///< half a second of fields all zeros or all ones
  largest_gains,           ///< of pitch and code, for up to two seconds, at a steady lag
  grown_to_the_limit,      ///< of pitch, until the excitation is just short of being cleared
  cleared,                 ///< of pitch, until the histories are cleared; random code gains
  cleared_largest_gains,   ///< likewise with the largest code gains
  broken_memories          ///< speech, then NaN, infinities and absurd values in the histories
};
inline constexpr std::array all_poisons{
    Poison::random_bits,           Poison::random_bits_and_losses, Poison::extreme_fields,
    Poison::largest_gains,         Poison::grown_to_the_limit,     Poison::cleared,
    Poison::cleared_largest_gains, Poison::broken_memories};

const char* name_of(Poison poison);

/// Milliseconds after which the decoder must have recovered. Where the histories were cleared there
/// is little left that could linger. The energy predictors go on through a clearing, though: after
/// the largest corrections they ask for tens of dB too much of the first good subframes, and that
/// rings out no sooner than after any other prefix.
int recovery_time(Poison poison);

/// Speech, its coded units and what a decoder makes of them from the start.
struct CodedSpeech {
  CodedSpeech(int flavor, std::vector<std::int16_t> pcm);

  int flavor;
  Mode mode;
  std::vector<std::int16_t> pcm;
  /// What a perfect coder would give: the high-passes of the narrowband coder and decoder turn
  /// phases below 300 Hz so far that against the speech itself even good decodes reach 1 dB only.
  std::vector<float> ideal;
  std::vector<std::uint8_t> units;
  std::vector<std::int16_t> clean;
  std::size_t frames;

  /// Decodes frame number `frame` to [0..len_frame-1].
  void decode(FrameDecoder& decoder, std::size_t frame, std::int16_t* out) const;
};

/// A decoder as every stream starts with, flavor by flavor the same.
void start(FrameDecoder& decoder);

/// Gives the decoder the prefix.
///
/// speech  what `broken_memories` has heard before
/// Returns false where a prefix that is to grow or to be cleared never came to that.
bool apply(Poison poison, FrameDecoder& decoder, const CodedSpeech& speech, Random& random);

/// Segmental signal-to-noise ratios of poisoned and unpoisoned decodes of the same speech, by 20 ms
/// windows after the end of the prefix. Windows of speech below -50 dBov are left out; the others
/// are held to -10..35 dB, as is the custom.
class Recovery {
 public:
  /// seconds  how long decoders are watched
  Recovery(int flavor, double seconds);

  /// A new decoder hears the prefix, then the speech from the given frame on. The speech must last.
  void add(Poison poison, const CodedSpeech& speech, std::size_t frame, Random& random);

  int places() const { return places_; }
  /// Places whose prefix did not come to what it is for.
  int failures() const { return failures_; }
  /// Windows that count from `from` to `to` ms.
  int windows(int from, int to) const;
  /// Mean of the unpoisoned decodes from `from` to `to` ms, in dB.
  double clean(int from, int to) const;
  /// By how many dB the poisoned decodes are worse in the mean from `from` to `to` ms.
  double loss(int from, int to) const;
  /// End of the last window, in ms, whose mean over the places is worse by `limit` dB; 0 for none.
  int last_window_worse_by(double limit) const;

 private:
  struct Sums {
    double poisoned = 0, clean = 0;
    int count = 0;
  };
  Sums sum(int from, int to) const;

  std::size_t window_;   // samples
  std::size_t delay_;    // of the decoder's output against the speech
  std::size_t skipped_;  // samples of the prefix that come out after it
  std::vector<Sums> sums_;
  int places_ = 0, failures_ = 0;
};

}  // namespace quel::test
