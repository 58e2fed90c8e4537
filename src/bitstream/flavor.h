#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bitstream/bitno.h"

namespace quel {

/// Who codes a flavor. The narrowband encoder serves `swt` and `five_k`, whose decoders differ.
enum class Coder { swt, five_k, wideband };

/// Samples of a narrowband subframe.
inline constexpr std::int32_t narrowband_subframe = 48;

// Width in bits of each field of a frame, in stream order.
inline constexpr std::int32_t fields_6k5[] = {6, 7, 7, 7, 5,  // spectrum
                                              8, 5, 5, 5, 7,  // lag, codebook, gains
                                              5, 5, 5, 5, 7,  //
                                              5, 5, 5, 5, 7};
inline constexpr std::int32_t fields_8k5[] = {6, 7, 7, 7, 5,  //
                                              8, 9, 9, 9, 7,  //
                                              5, 9, 9, 9, 7,  //
                                              5, 9, 9, 9, 7};
inline constexpr std::int32_t fields_5k0[] = {6, 7,  7, 7, 5,  //
                                              8, 10, 7,        //
                                              5, 10, 7,        //
                                              8, 10, 7,        //
                                              5, 10, 7,        //
                                              5, 10, 7};

/// Everything by which flavors differ, but for how their coders work.
struct Flavor {
  const char* name;                      ///< kbit/s, as users say it
  const char* title;                     ///< as hosts show it
  std::int32_t nominal_rate;             ///< bit/s, as the flavor is called
  Coder coder;                           ///< of its frames
  std::int32_t sampling_rate;            ///< Hz
  std::int32_t len_frame;                ///< samples
  std::int32_t frames_per_unit;          ///< 1 or 2
  std::int32_t look_ahead;               ///< samples that the encoder waits for
  std::int32_t frames_behind;            ///< frames by which the decoder runs behind its input
  std::span<const std::int32_t> fields;  ///< widths, in stream order

  constexpr std::int32_t bits_per_frame() const {
    std::int32_t sum = 0;
    for (const std::int32_t width : fields) sum += width;
    return sum;
  }
  constexpr std::int32_t bytes_per_unit() const { return frames_per_unit * bits_per_frame() / 8; }
  constexpr std::int32_t samples_per_unit() const { return frames_per_unit * len_frame; }
  constexpr std::int32_t delay() const { return look_ahead + frames_behind * len_frame; }
  constexpr double bit_rate() const {
    return static_cast<double>(bits_per_frame()) * sampling_rate / len_frame;
  }
  /// Where the fields start in the encoder's parameter array: a narrowband one begins with a
  /// control word. A decoder's array always begins with a word that is no field.
  constexpr std::int32_t encoder_word() const { return coder == Coder::wideband ? 0 : 1; }
  /// Words of the decoder's parameter array; the encoder's is no longer.
  constexpr std::int32_t words() const { return 1 + static_cast<std::int32_t>(fields.size()); }
};

/// The flavors, by number.
inline constexpr std::array<Flavor, 4> flavors{{
    {"6.5", "6.5 Kbps Voice", 6500, Coder::swt, 8000, 144, 2, 120, 0, fields_6k5},
    {"8.5", "8.5 Kbps Voice", 8500, Coder::swt, 8000, 144, 1, 120, 0, fields_8k5},
    {"5", "5 Kbps Voice", 5000, Coder::five_k, 8000, 240, 2, 120, 1, fields_5k0},
    {"16", "16 Kbps Voice - Wideband", 16000, Coder::wideband, 16000, 160, 1, 80, 0, bitno},
}};
inline constexpr std::uint32_t flavor_count = flavors.size();

/// A flavor by its number; null where there is none of that number.
constexpr const Flavor* find_flavor(std::int64_t number) {
  const bool known = number >= 0 && number < static_cast<std::int64_t>(flavor_count);
  return known ? &flavors[static_cast<std::size_t>(number)] : nullptr;
}

/// The largest of one figure over all flavors.
template <typename Figure>
constexpr std::int32_t largest(Figure figure) {
  std::int32_t most = 0;
  for (const Flavor& flavor : flavors) {
    if (figure(flavor) > most) most = figure(flavor);
  }
  return most;
}
/// Longest frame, samples.
inline constexpr std::int32_t max_len_frame = largest([](const Flavor& f) { return f.len_frame; });
/// Bytes that hold the longest frame.
inline constexpr std::int32_t max_frame_bytes =
    largest([](const Flavor& f) { return (f.bits_per_frame() + 7) / 8; });
/// Words of the longest parameter array.
inline constexpr std::int32_t max_words = largest([](const Flavor& f) { return f.words(); });
/// Bits of the widest field.
inline constexpr std::int32_t widest_field = largest([](const Flavor& f) {
  std::int32_t most = 0;
  for (const std::int32_t width : f.fields) most = width > most ? width : most;
  return most;
});
/// Most frames of a unit.
inline constexpr std::int32_t max_frames_per_unit =
    largest([](const Flavor& f) { return f.frames_per_unit; });

static_assert(max_len_frame == 240 && max_frame_bytes == 20 && max_words == 23);
/// Coded units that one Encode of the plug-in takes.
constexpr std::int32_t units_per_call(std::int32_t frames_per_unit) {
  return frames_per_unit == 1 ? 16 : 8;
}

// Units have no spare bit.
static_assert(flavors[0].bytes_per_unit() * 8 == 2 * 116 && flavors[1].bytes_per_unit() * 8 == 152);
static_assert(flavors[2].bytes_per_unit() * 8 == 2 * 148 && flavors[3].bytes_per_unit() * 8 == 160);

}  // namespace quel
