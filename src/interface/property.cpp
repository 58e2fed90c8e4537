#include "interface/property.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

#include "bitstream/flavor.h"
#include "interface/unix_prop.h"

namespace quel {
namespace {

constexpr std::int32_t name_limit = 50;
constexpr std::int32_t text_limit = 256;

}  // namespace

CProp::CProp() {
  for (std::size_t n = 0; n < flavors.size(); ++n) {
    const Flavor& flavor = flavors[n];
    const auto rate = static_cast<std::uint32_t>(flavor.sampling_rate);
    input_formats_[n].sampling_rate = rate;
    output_formats_[n].sampling_rate = rate;
    block_sizes_[n] = static_cast<std::uint32_t>(units_per_call(flavor.frames_per_unit) *
                                                 flavor.bytes_per_unit());
    bit_rates_[n] = static_cast<std::uint32_t>(flavor.nominal_rate);
  }
}

std::unique_ptr<CProp> CProp::Create() {
  return std::unique_ptr<CProp>(new (std::nothrow) CUnixProp);
}

const void* CProp::GetProperty(std::uint16_t flavor, std::uint16_t id, std::uint16_t* length) {
  *length = 0;
  if (flavor >= flavor_count) return nullptr;
  last_result_.reset();
  const auto number = [&](const auto& values) {
    return keep(&values[flavor], sizeof values[flavor], sizeof values[flavor], length);
  };
  switch (static_cast<Property>(id)) {
    case Property::bit_rate:
      return number(bit_rates_);
    case Property::input_format:
      return number(input_formats_);
    case Property::output_format:
      return number(output_formats_);
    case Property::value_5:
      return number(value_5_);
    case Property::block_size:
      return number(block_sizes_);
    case Property::long_name:
    case Property::short_name:
      return get_text(flavor, id, name_limit, length);
    case Property::description:
    case Property::no_text:
    case Property::description_again:
    case Property::text_name:
      return get_text(flavor, id, text_limit, length);
  }
  return nullptr;
}

const void* CProp::get_text(std::uint16_t flavor, std::uint16_t id, std::int32_t maxLen,
                            std::uint16_t* length) {
  std::array<char, text_limit + 1> text{};
  const std::int32_t n = _Imp_get_string(flavor, id, text.data(), maxLen);
  if (n <= 0 || n >= std::numeric_limits<std::uint16_t>::max()) return nullptr;
  // A text that was cut has fewer characters than n.
  return keep(text.data(), std::min(n, maxLen) + 1, n + 1, length);
}

// Keeps `size` bytes as the last result, the first `held` of them from `bytes`, the rest zero.
const void* CProp::keep(const void* bytes, std::int32_t held, std::int32_t size,
                        std::uint16_t* length) {
  last_result_.reset(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(size)]());
  if (last_result_ == nullptr) return nullptr;
  std::memcpy(last_result_.get(), bytes, static_cast<std::size_t>(held));
  *length = static_cast<std::uint16_t>(size);
  return last_result_.get();
}

}  // namespace quel
