#pragma once

#include <cstddef>
#include <cstdint>

#include "interface/packet_order.h"
#include "interface/receiver_state.h"
#include "interface/unit_queue.h"
#include "quelcodec/quelcodec.h"

namespace quel {

/// The parts of a receiver that follow it in its memory: its decoder, a place to put a copy of it
/// aside, and the queue.
quel_decoder* decoder_of(quel_receiver& receiver);
quel_decoder* spare_of(quel_receiver& receiver);
UnitQueue queue_of(quel_receiver& receiver);

/// Takes note of how long a packet was under way. With the first of a stream, playing begins as
/// soon as that has waited; an earlier one that comes before then is still heard.
void note_arrival(quel_receiver& receiver, const Place& place);

/// Where units were made up without knowing why and a packet has come since, it is known now: what
/// was lost counts as passed; what was only late is played, and the wait is longer by what was made
/// up. Call it before next_piece whenever packets may have come.
void settle_held(quel_receiver& receiver);

/// A piece of the sound to be played next.
struct Piece {
  const std::int16_t* pcm;  ///< [0..length-1], valid until the next call; null: silence
  std::size_t length;       ///< 1..most
};
/// Takes the next piece of at most `most` samples, most > 0.
Piece next_piece(quel_receiver& receiver, std::size_t most);

/// Decodes one more unit behind what there is, where it has come and nothing is missing before it.
bool decode_ahead(quel_receiver& receiver);

}  // namespace quel
