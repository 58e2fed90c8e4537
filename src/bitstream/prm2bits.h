#pragma once

#include <cstdint>

namespace quel {

/// Wideband parameters to the serial-word format: a header word 0, then one word per bit, 1 or 0,
/// each field's most significant bit first.
///
/// prm   [0..21] in mode 0, [0..31] in mode 1; each cut to its field's low bits
/// bits  [0..160] or [0..240] output; in any other mode only bits[0] is written
void prm2bits_wb(const std::int32_t* prm, std::int16_t* bits, std::int32_t mode);

/// The low `nBits` bits of `value` as words 0 and 1, out[0] the top one.
///
/// nBits  0..32
/// out    [0..nBits-1]
void int2bin(std::int32_t value, std::int32_t nBits, std::int16_t* out);

}  // namespace quel
