#include "tools/raw_units.h"

#include <algorithm>
#include <quelcodec/quelcodec.hpp>

namespace quel::tools {
namespace {

OggWriterOptions prompt_pages() {
  OggWriterOptions options;
  options.packet_ms = 1;
  options.page_ms = 1;
  return options;
}

}  // namespace

RawUnits::RawUnits(const std::string& path, int flavor)
    : source_(path),
      head_(make_head(flavor, 0)),
      unit_(static_cast<std::size_t>(check(quel_bytes_per_unit(flavor)))),
      writer_([this](auto page) { ready_.insert(ready_.end(), page.begin(), page.end()); }, head_,
              make_tags(), prompt_pages()) {}

std::size_t RawUnits::read(std::span<std::uint8_t> bytes) {
  while (used_ == ready_.size() && !ended_) {
    ready_.clear();
    used_ = 0;
    if (read_unit()) {
      writer_.write(unit_);
      ++units_;
      unit_filled_ = 0;
    } else {
      const auto samples = units_ * static_cast<std::uint64_t>(quel_samples_per_unit(head_.flavor));
      writer_.finish(samples - std::min<std::uint64_t>(samples, head_.pre_skip));
      ended_ = true;
    }
  }
  const std::size_t count = std::min(bytes.size(), ready_.size() - used_);
  std::copy_n(ready_.begin() + static_cast<std::ptrdiff_t>(used_), count, bytes.begin());
  used_ += count;
  return count;
}

bool RawUnits::read_unit() {
  while (unit_filled_ < unit_.size()) {
    const std::size_t got = source_.read(std::span(unit_).subspan(unit_filled_));
    if (got == 0) return false;
    unit_filled_ += got;
    bytes_read_ += got;
  }
  return true;
}

}  // namespace quel::tools
