#pragma once

#include <cstdint>

#include "dsp/splice.h"
#include "interface/receiver_state.h"

// How long a receiver lets sound wait, and how it gets there: by a few milliseconds at a time, put
// in or taken out where the sound before and behind is most alike.
namespace quel {

/// Samples that are decoded and not played yet.
inline int ahead_of(const SoundBuffer& sound) {
  return sound.tail - sound.head;
}
/// Makes room for n more samples behind these, n up to a unit, and returns where they go.
std::int16_t* append(SoundBuffer& sound, int n);

/// Samples over which one sound fades into another: 5 ms.
inline int overlap_of(const quel_receiver& receiver) {
  return receiver.rate / 200;
}

/// Samples pulled when a sample is played, less its timestamp: how far playing lies behind. Units
/// that were made up without knowing why count as lost.
std::int64_t offset_of(const quel_receiver& receiver);
/// Samples that the fastest packets should wait.
std::int64_t wanted_wait(const quel_receiver& receiver);
/// What the offset should be for that, and a little more.
std::int64_t wanted_offset(const quel_receiver& receiver);

/// Samples that have come and are not played yet, gaps included, and how many these may be.
std::int64_t sound_waiting(const quel_receiver& receiver);
std::int64_t most_waiting(const quel_receiver& receiver);

/// Puts in or takes out a little sound at the head where the wait is too short or too long and it
/// hurts little enough, for as long as it has been so.
void adapt_wait(quel_receiver& receiver);

/// Fades from `before` [0..overlap-1] into the last `length` samples, leaving out some of their
/// start where the wait is too long anyway and they fit better there.
void lead_over(quel_receiver& receiver, const std::int16_t* before, int length);

}  // namespace quel
