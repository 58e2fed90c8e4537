#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "tools/ogg_head.h"
#include "tools/ogg_tags.h"

namespace quel::tools {

struct OggWriterOptions {
  int packet_ms = 240;  ///< aimed at by each packet, 1..10000; a packet holds at least one unit
  int page_ms = 2000;   ///< aimed at by each page, 1..60000; a page holds at least one packet
  /// Tells streams in one file apart; by default a digest of the header packets, so that equal
  /// input gives equal files.
  std::optional<std::uint32_t> serial;
  /// In place of the lengths: units in a full packet, packets on a full page, each at least one.
  /// A packet has at most ogg_max_packet bytes.
  std::optional<std::uint64_t> packet_units = std::nullopt, page_packets = std::nullopt;
};

/// Writes a coded stream as Ogg pages, each of which goes to the sink once, as soon as it is full:
/// what the sink has seen is at any time a readable file that lacks its end.
class OggWriter {
 public:
  /// Gets whole pages in order. What it throws passes through the writer, which is then of no use.
  using Sink = std::function<void(std::span<const std::uint8_t> page)>;

  /// Writes the first page.
  ///
  /// head  sound, as make_head gives it
  ///
  /// Throws std::invalid_argument for tags that pack_tags refuses and options out of range.
  OggWriter(Sink sink, const OggHead& head, const OggTags& tags,
            const OggWriterOptions& options = {});
  ~OggWriter();
  OggWriter(const OggWriter&) = delete;
  OggWriter& operator=(const OggWriter&) = delete;

  /// Appends one coded unit. Throws std::invalid_argument where it has not a unit's size.
  void write(std::span<const std::uint8_t> unit);

  /// Appends one that was not sent. Throws std::invalid_argument where the head does not allow for
  /// such, or too many come in a row.
  void write_unsent();

  /// Writes the last page.
  ///
  /// samples  of the source at the flavor's rate; unit_count(head, samples) units must have been
  ///          written, or std::invalid_argument is thrown and nothing is written
  void finish(std::uint64_t samples);

 private:
  struct Stream;
  void start_unit();
  void close_packet(std::int64_t granule, bool last);
  void flush_page();

  Sink sink_;
  OggHead head_;
  std::size_t unit_bytes_;
  std::uint64_t unit_samples_;
  std::size_t packet_units_;  // in a full packet
  std::size_t page_packets_;  // in a full page
  std::unique_ptr<Stream> stream_;
  std::vector<std::uint8_t> tags_;    // written with the first data or at the end
  std::vector<std::uint8_t> packet_;  // units of the packet being filled
  std::vector<bool> sent_;            // for each unit of that packet
  std::size_t packets_ = 0;           // on the page being filled
  std::size_t segments_ = 0;          // of these
  std::uint64_t units_ = 0;
};

/// Units that hold a source of so many samples and what is skipped ahead of it; 0 for an empty one.
std::uint64_t unit_count(const OggHead& head, std::uint64_t samples);

}  // namespace quel::tools
