#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "bitstream/flavor.h"

namespace quel {

/// What a host may ask of a flavor. Texts count their terminating zero.
enum class Property : std::uint16_t {
  long_name = 0,          ///< text
  bit_rate = 1,           ///< uint32, bits per second
  input_format = 2,       ///< FormatRecord
  output_format = 3,      ///< FormatRecord
  description = 4,        ///< text of three lines
  value_5 = 5,            ///< uint16, 3 for every flavor
  block_size = 6,         ///< uint32, coded bytes per Encode call
  no_text = 7,            ///< answered with nothing
  short_name = 8,         ///< text
  description_again = 9,  ///< text, as 4
  text_name = 10,         ///< text, as 8
};

/// Audio format as hosts get it: 12 bytes in host byte order.
struct FormatRecord {
  std::uint16_t code = 1;  ///< linear PCM
  std::uint16_t padding = 0;
  std::uint32_t sampling_rate = 0;  ///< Hz
  std::uint16_t bits_per_sample = 16;
  std::uint16_t channels = 1;
};
static_assert(sizeof(FormatRecord) == 12);

/// The flavors' properties: the numbers here, the texts in the platform's subclass. Answers one
/// query at a time and keeps the last answer; one object per thread or a lock round it.
class CProp {
 public:
  CProp();
  virtual ~CProp() = default;
  CProp(const CProp&) = delete;
  CProp& operator=(const CProp&) = delete;

  /// The platform's property object, null where memory is short.
  static std::unique_ptr<CProp> Create();

  /// One property of one flavor.
  ///
  /// flavor  0..3
  /// id      a Property
  /// length  output: bytes of the result, 0 where there is none; must not be null
  ///
  /// Returns the bytes, aligned for what they hold and owned by this object, valid until the next
  /// query for a flavor 0..3; null for an unknown flavor or id, for id 7 and where memory is short.
  const void* GetProperty(std::uint16_t flavor, std::uint16_t id, std::uint16_t* length);

  virtual void _Imp_init() = 0;

  /// Writes a flavor's text.
  ///
  /// dst     [0..maxLen] output
  /// maxLen  characters wanted, the terminating zero not counted
  ///
  /// Returns the text's length, 0 where there is none. A text longer than maxLen is cut to maxLen
  /// characters, without a terminating zero, and its whole length returned.
  virtual std::int32_t _Imp_get_string(std::uint16_t flavor, std::uint16_t id, char* dst,
                                       std::int32_t maxLen) = 0;

 private:
  const void* keep(const void* bytes, std::int32_t held, std::int32_t size, std::uint16_t* length);
  const void* get_text(std::uint16_t flavor, std::uint16_t id, std::int32_t maxLen,
                       std::uint16_t* length);

  std::array<FormatRecord, flavor_count> input_formats_;
  std::array<FormatRecord, flavor_count> output_formats_;
  std::array<std::uint16_t, flavor_count> value_5_{3, 3, 3, 3};
  std::array<std::uint32_t, flavor_count> block_sizes_{};
  std::array<std::uint32_t, flavor_count> bit_rates_{};
  std::unique_ptr<std::uint8_t[]> last_result_;
};

}  // namespace quel
