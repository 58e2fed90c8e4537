// The C++ header in a program that is compiled without exceptions: everything goes by codes.
#include <array>
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
  const std::array<std::int16_t, 3 * 288> pcm{};
  const std::array<float, 3 * 288> real{};
  std::array<std::uint8_t, 3 * 29> units{}, same{};
  std::array<std::int16_t, 3 * 288> heard{};
  if (none.try_encode_units(pcm, units) != QUEL_ERROR_ARGUMENT) return false;
  if (encoder.try_encode(pcm, units) != QUEL_ERROR_LENGTH) return false;
  if (encoder.try_encode_units(pcm, units) != 3 * 29 || encoder.try_reset() != QUEL_OK)
    return false;
  if (encoder.try_encode_units(real, same) != 3 * 29 || same != units) return false;
  const std::array<std::uint8_t, 6> received = {1, 1, 0, 0, 1, 0};
  if (decoder.try_decode_units(units, std::span(received).first(5), heard) != QUEL_ERROR_LENGTH) {
    return false;
  }
  if (decoder.try_decode_units(units, received, heard) != 3 * 288) return false;
  quel_decoder_counts counts;
  return decoder.try_counts(counts) == QUEL_OK && counts.decoded == 3 && counts.concealed == 3;
}

}  // namespace

int main() {
  return works() ? 0 : 1;
}
