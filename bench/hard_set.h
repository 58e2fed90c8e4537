#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace quel::bench {

using Pcm = std::vector<std::int16_t>;

/// Speech as codecs do not like it.
struct HardSound {
  std::string kind;
  Pcm pcm;
  double louder_db = 0.0;  ///< to be added to the level before anything is measured
};

/// The kinds, in the order of hard_set: background noise, music behind speech, several talkers,
/// onsets, whispers, a low level and clipping.
std::vector<std::string> hard_kinds();

/// Every kind made from each of the recordings; what they are mixed with comes from the seed.
///
/// recordings  at least three, none empty
/// rate        samples per second
std::vector<HardSound> hard_set(std::span<const Pcm> recordings, int rate, std::uint64_t seed);

// The kinds one by one; none changes the length. All leave room below full scale but `clipped`.

/// Noise whose spectrum falls by 3 dB an octave, 12 dB below the speech.
Pcm with_noise(const Pcm& speech, std::uint64_t seed);
/// Chords of decaying partials at changing times, 10 dB below the speech.
Pcm with_music(const Pcm& speech, int rate, std::uint64_t seed);
/// All of them at the same level; as long as the first.
Pcm together(std::span<const Pcm* const> talkers);
/// Pieces of 80 to 250 ms that begin and end at once, with silence between them.
Pcm in_pieces(const Pcm& speech, int rate, std::uint64_t seed);
/// Noise through the linear prediction of the speech, at its short-time level.
Pcm whispered(const Pcm& speech, int rate, std::uint64_t seed);
/// 40 dB lower.
Pcm quiet(const Pcm& speech);
/// 18 dB louder than full scale allows its peak to be.
Pcm clipped(const Pcm& speech);

}  // namespace quel::bench
