#include <array>
#include <cstddef>
#include <cstdint>

#include "bitstream/flavor.h"
#include "quelcodec/quelcodec.h"

namespace quel {
namespace {

constexpr quel_flavor facts_of(int number, const Flavor& flavor) {
  return {sizeof(quel_flavor),
          number,
          flavor.sampling_rate,
          flavor.len_frame,
          flavor.frames_per_unit,
          flavor.samples_per_unit(),
          flavor.bits_per_frame(),
          flavor.bytes_per_unit(),
          flavor.delay(),
          flavor.nominal_rate,
          static_cast<int>(flavor.fields.size()),
          flavor.bit_rate(),
          flavor.name,
          flavor.title,
          flavor.fields.data()};
}

constexpr auto facts = [] {
  std::array<quel_flavor, flavor_count> all{};
  for (std::size_t n = 0; n < all.size(); ++n) all[n] = facts_of(static_cast<int>(n), flavors[n]);
  return all;
}();

int figure(int flavor, int quel_flavor::*member) {
  const quel_flavor* info = quel_flavor_info(flavor);
  return info == nullptr ? QUEL_ERROR_FLAVOR : info->*member;
}

}  // namespace
}  // namespace quel

using quel::figure;

const quel_flavor* quel_flavor_info(int flavor) {
  return quel::find_flavor(flavor) == nullptr ? nullptr
                                              : &quel::facts[static_cast<std::size_t>(flavor)];
}

int quel_sampling_rate(int flavor) {
  return figure(flavor, &quel_flavor::sampling_rate);
}

int quel_samples_per_frame(int flavor) {
  return figure(flavor, &quel_flavor::samples_per_frame);
}

int quel_frames_per_unit(int flavor) {
  return figure(flavor, &quel_flavor::frames_per_unit);
}

int quel_samples_per_unit(int flavor) {
  return figure(flavor, &quel_flavor::samples_per_unit);
}

int quel_bytes_per_unit(int flavor) {
  return figure(flavor, &quel_flavor::bytes_per_unit);
}

int quel_delay(int flavor) {
  return figure(flavor, &quel_flavor::delay);
}
