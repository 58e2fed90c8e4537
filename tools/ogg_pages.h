#pragma once

#include <ogg/ogg.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "tools/ogg_source.h"

namespace quel::tools {

/// A page whose checksum is right. The spans live until the next call to its OggPages.
struct OggPage {
  std::uint64_t offset = 0;  ///< of its first byte in the source
  std::uint32_t serial = 0;
  std::uint32_t number = 0;
  std::int64_t granule = -1;
  bool first = false;  ///< of its stream
  bool last = false;   ///< of its stream
  /// Whether no packet comes from the page before or goes on in the one after.
  bool self_contained = true;
  std::vector<std::span<const std::uint8_t>> packets;  ///< that begin and end here
};

/// Cuts a source into pages; damaged ones and whatever else lies between are stepped over.
class OggPages {
 public:
  /// source  outlives this; nobody else reads from it. Its next byte counts as byte 0.
  explicit OggPages(OggSource& source);
  ~OggPages();
  OggPages(const OggPages&) = delete;
  OggPages& operator=(const OggPages&) = delete;

  /// The next page. False at the source's end, or where `limit` bytes of the source went by.
  bool next(OggPage& page, std::uint64_t limit = std::numeric_limits<std::uint64_t>::max());

  /// Goes on at a byte of the source, which must be seekable. The counts below are kept.
  void seek(std::uint64_t offset);

  std::uint64_t offset() const { return offset_; }          ///< bytes gone by
  std::uint64_t skipped_bytes() const { return skipped_; }  ///< of no sound page
  std::uint64_t damaged_pages() const { return damaged_; }  ///< that started like pages

 private:
  bool more();
  void step_over(std::uint64_t bytes, bool page_like);
  bool at_page_start() const;

  OggSource& source_;
  ogg_sync_state sync_{};
  std::uint64_t offset_ = 0;
  std::uint64_t fed_ = 0;  // where the source's next byte goes
  std::uint64_t skipped_ = 0;
  std::uint64_t damaged_ = 0;
  bool padded_ = false;
};

}  // namespace quel::tools
