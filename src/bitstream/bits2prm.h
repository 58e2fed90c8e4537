#pragma once

#include <cstdint>

namespace quel {

/// The serial-word format back to wideband parameters. The header word goes to prm[0], the place
/// of the decoder's bad-frame flag, so each field lands one place behind where the encoder had it.
///
/// bits  [0..160] in mode 0, [0..240] in mode 1, [0] in any other
/// prm   [0..22] or [0..32] output; in any other mode only prm[0] is written
void bits2prm_wb(const std::int16_t* bits, std::int32_t* prm, std::int32_t mode);

/// The number whose bits are in[0..nBits-1], most significant first. Only a word equal to 1 is a
/// set bit; any other value counts as clear.
///
/// nBits  0..32
std::int32_t bin2int(std::int32_t nBits, const std::int16_t* in);

}  // namespace quel
