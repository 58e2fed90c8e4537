#pragma once

#include <cstdint>

namespace quel {

// Bit i of a byte buffer is the bit of weight 2^(i mod 8) of byte i div 8: streams fill each byte
// from its least significant bit upwards.

/// Copies `nBits` bits from bit `srcBit` of `src` to bit `dstBit` of `dst`. Destination bits
/// outside the range keep their value; no byte is touched that holds none of the range.
///
/// dst, src        byte buffers; the two ranges must not share a byte
/// dstBit, srcBit  first bit of either range, >= 0
/// nBits           bits to copy; less than 1 does nothing
void bitcopy(std::uint8_t* dst, const std::uint8_t* src, std::int32_t dstBit, std::int32_t srcBit,
             std::int32_t nBits);

/// Packs one frame's parameter array into its bit string, cutting each word to the low bits that
/// its field has. Every word must be in little-endian byte order: a big-endian host swaps the
/// array first (`SwapIntBytes`).
///
/// prm     [0..20] for flavors 0..2, whose word 0 is no field; [0..21] for flavor 3
/// bits    [0..14], [0..18], [0..18] or [0..19] for flavors 0..3, packed from bit 0; where the last
///         byte is half used, its upper half keeps its value
/// flavor  0..3; any other does nothing
void prm2binary(const std::int32_t* prm, std::uint8_t* bits, std::int32_t flavor);

/// Unpacks one frame's bit string. The fields come out in little-endian byte order, word 0 in the
/// host's: a big-endian host swaps the array afterwards, and whoever reads word 0 swaps that back.
///
/// prm     flavors 0..2: [0..20], word 0 the flavor; flavor 3: [0..22], word 0 the bad-frame flag,
///         here 0, and each field one place behind where the encoder has it
/// bits    as for `prm2binary`
/// flavor  0..3; any other does nothing
void binary2prm(std::int32_t* prm, const std::uint8_t* bits, std::int32_t flavor);

/// 1 if the host stores the most significant byte of an int32 first, else 0.
std::int32_t TestBigEndian();

/// Reverses the 4 bytes of each of `count` words in place, whatever their alignment; a count below
/// 1 does nothing.
void SwapIntBytes(void* words, std::int32_t count);

}  // namespace quel
