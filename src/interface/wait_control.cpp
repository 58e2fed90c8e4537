#include "interface/wait_control.h"

#include <algorithm>

#include "interface/playout.h"

namespace quel {
namespace {

using State = quel_receiver::State;

// The wait is shortened where it is so much longer than wanted, ms, and lengthened wherever it is
// shorter. The wanted one is known to 5 ms and moves by as much.
constexpr std::int64_t too_long_ms = 10;
// Beyond what the network asks for: drift moves all packets towards the next 5 ms before that is
// noticed, and none is to come too late until then.
constexpr std::int64_t slack_us = 2500;
// Much longer: less patience.
constexpr std::int64_t much_too_long_ms = 100;
// Beyond the longest wait by so much, ms, it is cut short at once.
constexpr std::int64_t far_too_long_ms = 60;
// Between two splices in sound, ms; in pauses there is no need to wait.
constexpr std::int64_t between_splices_ms = 60;

std::int64_t ms(const quel_receiver& receiver, std::int64_t n) {
  return n * receiver.rate / 1000;
}

// Samples by which a splice moves at most, 15 ms: a period of any voice, or some of them.
int longest_move(const quel_receiver& receiver) {
  return 3 * overlap_of(receiver);
}

// The least likeness at which a splice is good enough, as Splice::match. It falls with the time for
// which there was need, and sooner where packets come too late than where they wait too long.
double least_match(const quel_receiver& receiver, std::int64_t excess) {
  const State& now = receiver.now;
  std::int64_t waited = now.clock - now.wish_since;
  if (now.wish > 0) waited *= 5;
  if (excess > ms(receiver, much_too_long_ms)) waited *= 4;
  if (waited < receiver.rate) return 0.8;
  return waited < 3 * receiver.rate ? 0.35 : -1.0;
}

// Whether the next n samples are a pause: 18 dB below speech, or inaudible.
bool is_quiet(const State& now, int n) {
  const std::int64_t mean = energy_of(now.sound.pcm.data() + now.sound.head, n) / n;
  return mean < 900 || 64 * mean < now.level;
}

// Energy of recent loud sound, which falls by half in some 90 units.
void note_level(quel_receiver& receiver) {
  State& now = receiver.now;
  const int n = ahead_of(now.sound);
  const std::int64_t mean = energy_of(now.sound.pcm.data() + now.sound.head, n) / n;
  now.level = std::max(mean, now.level - now.level / 128);
}

bool shorten(quel_receiver& receiver, std::int64_t excess) {
  State& now = receiver.now;
  SoundBuffer& sound = now.sound;
  const int overlap = overlap_of(receiver);
  const int move = longest_move(receiver);
  while (ahead_of(sound) < move + overlap) {
    if (!decode_ahead(receiver)) return false;
  }
  const bool quiet = is_quiet(now, move + overlap);
  if (!quiet && now.clock < now.next_splice) return false;
  std::int16_t* const head = sound.pcm.data() + sound.head;
  const Splice splice = find_splice(
      head, head, overlap, static_cast<int>(std::min<std::int64_t>(move, excess)), overlap);
  if (!quiet && splice.match < least_match(receiver, excess)) return false;
  cross_fade(head, head + splice.offset, head + splice.offset, overlap);
  sound.head += splice.offset;
  now.removed += static_cast<std::uint64_t>(splice.offset);
  return true;
}

bool lengthen(quel_receiver& receiver, std::int64_t excess) {
  State& now = receiver.now;
  SoundBuffer& sound = now.sound;
  const int overlap = overlap_of(receiver);
  const int move = std::min(longest_move(receiver), sound.head);
  if (ahead_of(sound) < overlap || move < overlap) return false;
  const bool quiet = is_quiet(now, ahead_of(sound));
  if (!quiet && now.clock < now.next_splice) return false;
  std::int16_t* const head = sound.pcm.data() + sound.head;
  const Splice splice = find_splice(head, head - move, 0, move - overlap, overlap);
  if (!quiet && splice.match < least_match(receiver, excess)) return false;
  const int moved = move - splice.offset;
  cross_fade(head, head - moved, head - moved, overlap);
  sound.head -= moved;
  now.inserted += static_cast<std::uint64_t>(moved);
  return true;
}

}  // namespace

std::int16_t* append(SoundBuffer& sound, int n) {
  if (sound.tail + n > static_cast<int>(sound.pcm.size())) {
    const int from = std::max(sound.head - SoundBuffer::history, 0);
    std::copy(sound.pcm.begin() + from, sound.pcm.begin() + sound.tail, sound.pcm.begin());
    sound.head -= from;
    sound.tail -= from;
  }
  std::int16_t* const at = sound.pcm.data() + sound.tail;
  sound.tail += n;
  return at;
}

std::int64_t offset_of(const quel_receiver& receiver) {
  const State& now = receiver.now;
  return now.clock + ahead_of(now.sound) + now.lead - now.next - now.held * receiver.unit;
}

std::int64_t wanted_wait(const quel_receiver& receiver) {
  return std::clamp(spread_of_transit(receiver.now.transit), receiver.least_delay,
                    receiver.most_delay);
}

std::int64_t wanted_offset(const quel_receiver& receiver) {
  return fastest_transit(receiver.now.transit) + wanted_wait(receiver) +
         slack_us * receiver.rate / 1000000;
}

std::int64_t sound_waiting(const quel_receiver& receiver) {
  const State& now = receiver.now;
  return now.latest + now.latest_length - now.next + ahead_of(now.sound);
}

std::int64_t most_waiting(const quel_receiver& receiver) {
  return receiver.most_delay + receiver.now.latest_length + ms(receiver, far_too_long_ms);
}

void adapt_wait(quel_receiver& receiver) {
  State& now = receiver.now;
  note_level(receiver);
  const std::int64_t excess = offset_of(receiver) - wanted_offset(receiver);
  int wish = 0;
  if (excess > ms(receiver, too_long_ms)) wish = -1;
  if (excess < 0) wish = 1;
  // Where the queue has run dry, the wait grows by itself.
  if (now.held > 0) wish = 0;
  if (wish != now.wish) now.wish_since = now.clock;
  now.wish = wish;
  if (wish == 0) return;
  if (wish < 0 ? !shorten(receiver, excess) : !lengthen(receiver, excess)) return;
  now.wish_since = now.clock;
  now.next_splice = now.clock + ms(receiver, between_splices_ms);
}

void lead_over(quel_receiver& receiver, const std::int16_t* before, int length) {
  State& now = receiver.now;
  SoundBuffer& sound = now.sound;
  const int overlap = overlap_of(receiver);
  // What came late just now may be what is to come: no more than would be taken out anyway.
  const std::int64_t excess =
      offset_of(receiver) - wanted_offset(receiver) - ms(receiver, too_long_ms);
  const auto most = static_cast<int>(
      std::clamp<std::int64_t>(excess, 0, std::min(longest_move(receiver), length - overlap)));
  std::int16_t* const pcm = sound.pcm.data() + sound.tail - length;
  const Splice splice = find_splice(before, pcm, 0, most, overlap);
  const int skipped = splice.match > 0.5 ? splice.offset : 0;
  std::copy(pcm + skipped, pcm + length, pcm);
  sound.tail -= skipped;
  now.removed += static_cast<std::uint64_t>(skipped);
  cross_fade(before, pcm, pcm, overlap);
}

}  // namespace quel
