#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quel::conformance {

/// Deterministic test signal of some ten seconds: vowels of moving resonances and pitch, noise
/// bursts, silence, tones, full-scale squares, clipped noise, clicks. Made with +, - and * only,
/// so that it is the same on every platform.
std::vector<std::int16_t> conformance_signal(int sampling_rate);

struct Digest {
  std::string name;     ///< "flavor 0, coded units" and the like
  std::uint64_t value;  ///< 64-bit FNV-1a of the bytes (PCM: low byte first)
};

/// What this build makes of the conformance signal: for every flavor the coded units, the PCM
/// without losses, and with losses concealed either way; and the PCM of random bits.
std::vector<Digest> conformance_digests();

}  // namespace quel::conformance
