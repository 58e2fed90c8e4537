// The C++ header in a program that is compiled without exceptions: everything goes by codes.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <quelcodec/quelcodec.hpp>
#include <span>

#ifdef __cpp_exceptions
#error "this is to be compiled with -fno-exceptions"
#endif

namespace {

bool works() {
  quel::Encoder encoder, none;
  quel::Decoder decoder;
  if (quel::Encoder::try_make(7, encoder) != QUEL_ERROR_FLAVOR || encoder.get() != nullptr) {
    return false;
  }
  if (quel::Encoder::try_make(QUEL_FLAVOR_6K5, encoder) != QUEL_OK) return false;
  if (quel::Decoder::try_make(QUEL_FLAVOR_6K5, quel::Concealment::immediate, decoder) != QUEL_OK) {
    return false;
  }
  alignas(std::max_align_t) static std::array<std::byte, 14 * 1024> memory;
  quel::Decoder reader;
  if (quel::Decoder::memory_size(QUEL_FLAVOR_6K5) > static_cast<int>(memory.size()) ||
      quel::Decoder::try_make(QUEL_FLAVOR_6K5, quel::Concealment::immediate, memory, reader) !=
          QUEL_OK) {
    return false;
  }
  const std::array<std::int16_t, 3 * 288> pcm{};
  const std::array<float, 3 * 288> real{};
  std::array<std::uint8_t, 3 * 29> units{}, same{};
  std::array<std::int16_t, 3 * 288> heard{};
  if (none.try_encode_units(pcm, units) != QUEL_ERROR_ARGUMENT) return false;
  if (encoder.try_encode(pcm, units) != QUEL_ERROR_LENGTH) return false;
  if (encoder.try_encode_units(pcm, units) != 3 * 29 || encoder.try_reset() != QUEL_OK)
    return false;
  if (encoder.try_encode_units(real, same) != 3 * 29 || same != units) return false;
  std::array<std::int32_t, 2 * 20> indices{};
  std::array<std::uint8_t, 29> packed{};
  if (quel::try_unpack_unit(QUEL_FLAVOR_6K5, std::span(units).first(29), indices) != 2 * 20 ||
      quel::try_pack_unit(QUEL_FLAVOR_6K5, indices, packed) != 29 ||
      !std::equal(packed.begin(), packed.end(), units.begin())) {
    return false;
  }
  quel_frame frame;
  if (reader.try_describe(std::span(indices).first(20), frame) != QUEL_OK ||
      frame.subframe_count != 3 || reader.try_describe(indices, frame) != QUEL_ERROR_LENGTH) {
    return false;
  }
  const std::array<std::uint8_t, 6> received = {1, 1, 0, 0, 1, 0};
  if (decoder.try_decode_units(units, std::span(received).first(5), heard) != QUEL_ERROR_LENGTH) {
    return false;
  }
  if (decoder.try_decode_units(units, received, heard) != 3 * 288) return false;
  quel::Receiver receiver, no_receiver;
  const quel_receiver_options wrong = QUEL_RECEIVER_OPTIONS(7);
  const quel_receiver_options options = QUEL_RECEIVER_OPTIONS(QUEL_FLAVOR_6K5);
  quel_receiver_counts heard_of;
  if (quel::Receiver::try_make(wrong, receiver) != QUEL_ERROR_FLAVOR ||
      quel::Receiver::try_make(options, receiver) != QUEL_OK ||
      no_receiver.try_pull(heard) != QUEL_ERROR_ARGUMENT ||
      receiver.try_push(0, 0, 0, units) != QUEL_OK || receiver.try_pull(heard) != QUEL_OK ||
      receiver.try_counts(heard_of) != QUEL_OK || heard_of.received != 1) {
    return false;
  }
  quel_decoder_counts counts;
  return decoder.try_counts(counts) == QUEL_OK && counts.decoded == 3 && counts.concealed == 3;
}

}  // namespace

int main() {
  return works() ? 0 : 1;
}
