#include "bitstream/prm2bits.h"

#include "bitstream/bitno.h"

namespace quel {

void prm2bits_wb(const std::int32_t* prm, std::int16_t* bits, std::int32_t mode) {
  *bits++ = 0;
  for (const std::int32_t width : serial_fields(mode)) {
    int2bin(*prm++, width, bits);
    bits += width;
  }
}

void int2bin(std::int32_t value, std::int32_t nBits, std::int16_t* out) {
  auto rest = static_cast<std::uint32_t>(value);
  for (std::int32_t i = nBits - 1; i >= 0; --i) {
    out[i] = static_cast<std::int16_t>(rest & 1u);
    rest >>= 1;
  }
}

}  // namespace quel
