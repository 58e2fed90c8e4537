#include "tools/ogg_info.h"

#include <algorithm>
#include <quelcodec/quelcodec.hpp>

namespace quel::tools {

OggInfo read_info(OggReader& reader) {
  OggInfo info;
  reader.drain();
  info.head = reader.head();
  info.tags = reader.tags();
  info.report = reader.report();
  const int flavor = info.head.flavor;
  info.rate = check(quel_sampling_rate(flavor));
  info.delay = check(quel_delay(flavor));
  const double unit_samples = check(quel_samples_per_unit(flavor));
  info.net_bit_rate = 8.0 * check(quel_bytes_per_unit(flavor)) * info.rate / unit_samples;

  const std::uint64_t decoded =
      reader.position() * static_cast<std::uint64_t>(check(quel_samples_per_unit(flavor)));
  const std::uint64_t end = std::min(reader.end().value_or(decoded), decoded);
  info.samples = end - std::min<std::uint64_t>(end, info.head.pre_skip);
  info.seconds = static_cast<double>(info.samples) / info.rate;
  if (info.samples > 0) {
    info.gross_bit_rate = 8.0 * static_cast<double>(info.report.bytes) / info.seconds;
  }
  return info;
}

}  // namespace quel::tools
