#include "tools/ogg_writer.h"

#include <ogg/ogg.h>

#include <algorithm>
#include <new>
#include <quelcodec/quelcodec.hpp>
#include <stdexcept>
#include <string>
#include <utility>

#include "tools/ogg_units.h"

namespace quel::tools {
namespace {

constexpr std::size_t max_segments = 255;

// 32-bit FNV-1a.
std::uint32_t digest(std::span<const std::uint8_t> bytes, std::uint32_t start = 0x811c9dc5u) {
  for (const std::uint8_t byte : bytes) start = (start ^ byte) * 0x01000193u;
  return start;
}

void check_range(int value, int highest, const char* what) {
  if (value >= 1 && value <= highest) return;
  throw std::invalid_argument(std::string(what) + " is not 1 to " + std::to_string(highest) +
                              " ms");
}

// How many of `part` samples come nearest to ms, at least one.
std::size_t nearest_count(int ms, int rate, std::uint64_t part) {
  const auto twice = 2 * static_cast<std::uint64_t>(ms) * static_cast<std::uint64_t>(rate);
  return std::max<std::size_t>(1, static_cast<std::size_t>((twice / 1000 + part) / (2 * part)));
}

}  // namespace

struct OggWriter::Stream {
  explicit Stream(std::uint32_t serial) {
    if (ogg_stream_init(&state, static_cast<int>(serial)) != 0) throw std::bad_alloc();
  }
  ~Stream() { ogg_stream_clear(&state); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  void put(std::span<std::uint8_t> bytes, std::int64_t granule, bool first, bool last) {
    ogg_packet packet{};
    packet.packet = bytes.data();
    packet.bytes = static_cast<long>(bytes.size());
    packet.b_o_s = first ? 1 : 0;
    packet.e_o_s = last ? 1 : 0;
    packet.granulepos = granule;
    if (ogg_stream_packetin(&state, &packet) != 0) throw std::bad_alloc();
  }

  ogg_stream_state state{};
};

std::uint64_t unit_count(const OggHead& head, std::uint64_t samples) {
  if (samples == 0) return 0;
  const auto unit = static_cast<std::uint64_t>(check(quel_samples_per_unit(head.flavor)));
  return (samples + head.pre_skip + unit - 1) / unit;
}

OggWriter::OggWriter(Sink sink, const OggHead& head, const OggTags& tags,
                     const OggWriterOptions& options)
    : sink_(std::move(sink)),
      head_(head),
      unit_bytes_(static_cast<std::size_t>(check(quel_bytes_per_unit(head.flavor)))),
      unit_samples_(static_cast<std::uint64_t>(check(quel_samples_per_unit(head.flavor)))),
      tags_(pack_tags(tags)) {
  check_range(options.packet_ms, 10000, "the length of a packet");
  check_range(options.page_ms, 60000, "the length of a page");
  const int rate = check(quel_sampling_rate(head.flavor));
  packet_units_ = static_cast<std::size_t>(
      options.packet_units.value_or(nearest_count(options.packet_ms, rate, unit_samples_)));
  page_packets_ = static_cast<std::size_t>(options.page_packets.value_or(
      nearest_count(options.page_ms, rate, packet_units_ * unit_samples_)));
  if (head.unsent) packet_units_ = std::min<std::size_t>(packet_units_, most_mapped_units / 2);
  if (packet_units_ < 1 || packet_units_ > ogg_max_packet / unit_bytes_ || page_packets_ < 1) {
    throw std::invalid_argument("no packet or page holds so many units");
  }
  std::vector<std::uint8_t> packet = pack_head(head);
  stream_ = std::make_unique<Stream>(options.serial.value_or(digest(tags_, digest(packet))));
  stream_->put(packet, 0, true, false);
  flush_page();
}

OggWriter::~OggWriter() = default;

void OggWriter::write(std::span<const std::uint8_t> unit) {
  if (unit.size() != unit_bytes_) throw std::invalid_argument("a coded unit of the wrong size");
  start_unit();
  packet_.insert(packet_.end(), unit.begin(), unit.end());
  sent_.push_back(true);
  ++units_;
}

void OggWriter::write_unsent() {
  if (!head_.unsent) throw std::invalid_argument("a unit that was not sent, which nobody expects");
  start_unit();
  sent_.push_back(false);
  ++units_;
}

void OggWriter::start_unit() {
  if (units_ == 0) {
    stream_->put(tags_, 0, false, false);
    flush_page();
  }
  // Only with the next unit at hand is it known that a full packet is not the last one.
  // A packet holds a unit that was sent, so it may have to wait for one.
  if (sent_.size() < packet_units_ || packet_.empty()) return;
  close_packet(static_cast<std::int64_t>(units_ * unit_samples_), false);
  if (packets_ == page_packets_) flush_page();
}

void OggWriter::finish(std::uint64_t samples) {
  if (units_ != unit_count(head_, samples)) {
    throw std::invalid_argument(std::to_string(units_) + " coded units for " +
                                std::to_string(samples) + " samples");
  }
  if (units_ == 0) {
    stream_->put(tags_, 0, false, true);
  } else {
    close_packet(static_cast<std::int64_t>(samples + head_.pre_skip), true);
  }
  flush_page();
}

// Every packet lies on one page, so that a damaged page costs nothing beyond itself.
void OggWriter::close_packet(std::int64_t granule, bool last) {
  std::vector<std::uint8_t> packet = pack_units(sent_, packet_);
  const std::size_t segments = packet.size() / 255 + 1;
  if (segments_ + segments > max_segments) flush_page();
  stream_->put(packet, granule, false, last);
  packet_.clear();
  sent_.clear();
  ++packets_;
  segments_ += segments;
}

void OggWriter::flush_page() {
  ogg_page page;
  while (ogg_stream_flush_fill(&stream_->state, &page, 255 * 255) != 0) {
    std::vector<std::uint8_t> bytes(page.header, page.header + page.header_len);
    bytes.insert(bytes.end(), page.body, page.body + page.body_len);
    sink_(bytes);
  }
  packets_ = 0;
  segments_ = 0;
}

}  // namespace quel::tools
