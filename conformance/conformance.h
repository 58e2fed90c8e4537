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
/// without losses, with losses concealed either way, lone ones and whole units among them, and with
/// one of seconds; the PCM of random bits, and of such as make the decoder clear its histories; the
/// coded units and the PCM of signals that no speech resembles; what the encoder tells of its
/// units, and the PCM with units that were not sent; the coded units at every level of effort above
/// 0; the PCM where a decoder enhances. The plug-in is left out: its process-wide memories cannot
/// be set back, so that its bits depend on what the process did before.
std::vector<Digest> conformance_digests();

}  // namespace quel::conformance
