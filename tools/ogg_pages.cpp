#include "tools/ogg_pages.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace quel::tools {
namespace {

constexpr long chunk_bytes = 8192;
constexpr long longest_page = 27 + 255 + 255 * 255;

void split_packets(const ogg_page& raw, OggPage& page) {
  const unsigned char* lacing = raw.header + 27;
  const int segments = raw.header[26];
  std::span<const std::uint8_t> body(raw.body, static_cast<std::size_t>(raw.body_len));
  page.packets.clear();
  bool inside = ogg_page_continued(&raw) != 0;
  page.self_contained = !inside && (segments == 0 || lacing[segments - 1] < 255);
  std::size_t length = 0;
  for (int i = 0; i < segments; ++i) {
    length += lacing[i];
    if (lacing[i] == 255) continue;
    if (!inside) page.packets.push_back(body.first(length));
    inside = false;
    body = body.subspan(length);
    length = 0;
  }
}

}  // namespace

OggPages::OggPages(OggSource& source) : source_(source) {
  ogg_sync_init(&sync_);
}

OggPages::~OggPages() {
  ogg_sync_clear(&sync_);
}

bool OggPages::next(OggPage& page, std::uint64_t limit) {
  while (offset_ < limit) {
    const bool page_like = at_page_start();
    ogg_page raw;
    const long result = ogg_sync_pageseek(&sync_, &raw);
    if (result == 0) {
      if (!more()) return false;
      continue;
    }
    if (result < 0) {
      step_over(static_cast<std::uint64_t>(-result), page_like);
      continue;
    }
    const auto bytes = static_cast<std::uint64_t>(result);
    if (offset_ + bytes > fed_ || ogg_page_version(&raw) != 0) {
      step_over(bytes, true);
      continue;
    }
    page.offset = offset_;
    offset_ += bytes;
    page.serial = static_cast<std::uint32_t>(ogg_page_serialno(&raw));
    page.number = static_cast<std::uint32_t>(ogg_page_pageno(&raw));
    page.granule = ogg_page_granulepos(&raw);
    page.first = ogg_page_bos(&raw) != 0;
    page.last = ogg_page_eos(&raw) != 0;
    split_packets(raw, page);
    return true;
  }
  return false;
}

void OggPages::seek(std::uint64_t offset) {
  source_.seek(offset);
  ogg_sync_reset(&sync_);
  offset_ = fed_ = offset;
  padded_ = false;
}

bool OggPages::more() {
  if (padded_) return false;
  char* buffer = ogg_sync_buffer(&sync_, longest_page);
  if (buffer == nullptr) throw std::bad_alloc();
  const std::size_t count = source_.read(
      {reinterpret_cast<std::uint8_t*>(buffer), static_cast<std::size_t>(chunk_bytes)});
  fed_ += count;
  if (count > 0) {
    ogg_sync_wrote(&sync_, static_cast<long>(count));
    return true;
  }
  // What claims to be a page that goes on past the end may be a damaged length with sound pages
  // behind it. A page's worth of zeros makes the search give up on it and look on.
  std::memset(buffer, 0, static_cast<std::size_t>(longest_page));
  ogg_sync_wrote(&sync_, longest_page);
  padded_ = true;
  return true;
}

void OggPages::step_over(std::uint64_t bytes, bool page_like) {
  const std::uint64_t real = std::min(bytes, fed_ - offset_);
  offset_ += real;
  skipped_ += real;
  if (page_like && real > 0) ++damaged_;
}

bool OggPages::at_page_start() const {
  return sync_.fill - sync_.returned >= 4 &&
         std::memcmp(sync_.data + sync_.returned, "OggS", 4) == 0;
}

}  // namespace quel::tools
