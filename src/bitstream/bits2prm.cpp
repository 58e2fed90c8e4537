#include "bitstream/bits2prm.h"

#include "bitstream/bitno.h"

namespace quel {

void bits2prm_wb(const std::int16_t* bits, std::int32_t* prm, std::int32_t mode) {
  *prm++ = *bits++;
  for (const std::int32_t width : serial_fields(mode)) {
    *prm++ = bin2int(width, bits);
    bits += width;
  }
}

std::int32_t bin2int(std::int32_t nBits, const std::int16_t* in) {
  std::uint32_t value = 0;
  for (std::int32_t i = 0; i < nBits; ++i) value = (value << 1) | (in[i] == 1 ? 1u : 0u);
  return static_cast<std::int32_t>(value);
}

}  // namespace quel
