#include "tools/ogg_reader.h"

#include <algorithm>
#include <quelcodec/quelcodec.hpp>
#include <stdexcept>
#include <utility>

#include "tools/file_error.h"
#include "tools/ogg_units.h"

namespace quel::tools {
namespace {

/// Bytes within which the first page must start.
constexpr std::uint64_t head_search_bytes = 1 << 20;

bool first_packet_is(const OggPage& page, bool (*kind)(std::span<const std::uint8_t>)) {
  return !page.packets.empty() && kind(page.packets.front());
}

// Any writer may put in pages that hold nothing and tell nothing.
bool is_filler(const OggPage& page) {
  return page.packets.empty() && page.self_contained && page.granule == -1 && !page.first &&
         !page.last;
}

}  // namespace

OggReader::OggReader(OggSource& source, const std::string& name)
    : source_(source), name_(name), pages_(source) {
  find_head();
  find_tags();
  check_bitstream(name_, head_, tags_.encoder);
}

void OggReader::find_head() {
  bool headless = false, other = false;
  while (pages_.next(page_, head_search_bytes)) {
    if (page_.first && first_packet_is(page_, looks_like_head)) {
      take_head(page_);
      return;
    }
    if (first_packet_is(page_, looks_like_tags)) headless = true;
    other = true;
    ++report_.foreign_pages;
    data_seen_ = data_seen_ || !page_.first;
  }
  if (pages_.offset() == 0) throw FileError(name_, "empty");
  if (headless || (!other && pages_.damaged_pages() > 0)) {
    throw FileError(name_, "its first page, the header, is damaged or missing");
  }
  if (other) throw FileError(name_, "an Ogg file without coded speech of this codec");
  throw FileError(name_, "not a file made by quel encode");
}

void OggReader::take_head(const OggPage& page) {
  head_ = unpack_head(name_, page.packets.front());
  if (page.packets.size() != 1 || !page.self_contained || page.last) {
    throw FileError(name_, "its first page holds something else than the header");
  }
  serial_ = page.serial;
  number_ = page.number;
  unit_bytes_ = static_cast<std::uint64_t>(check(quel_bytes_per_unit(head_.flavor)));
  unit_samples_ = static_cast<std::uint64_t>(check(quel_samples_per_unit(head_.flavor)));
  data_seen_ = false;
}

void OggReader::find_tags() {
  do {
    if (!pages_.next(page_) || starts_further_stream(page_)) {
      ended_ = true;
      page_.packets.clear();
      report_.tags_error = "the page of comments is damaged or missing";
      return;
    }
  } while (page_.serial != serial_ || page_.first || is_filler(page_));
  if (!first_packet_is(page_, looks_like_tags)) {
    report_.tags_error = "the page of comments is damaged or missing";
    page_waits_ = true;
    packet_ = page_.packets.size();
    return;
  }
  try {
    tags_ = unpack_tags(page_.packets.front());
  } catch (const std::invalid_argument& error) {
    report_.tags_error = error.what();
  }
  number_ = page_.number;
  // An empty source ends here.
  page_.packets.clear();
  page_waits_ = page_.last;
}

OggEvent OggReader::next() {
  for (;;) {
    if (position_ < start_) {
      const std::uint64_t lost = start_ - position_;
      position_ = start_;
      return {OggEvent::Kind::lost, lost, {}};
    }
    while (packet_ < page_.packets.size()) {
      UnitRun run = run_at(page_.packets[packet_], unit_bytes_, in_packet_);
      in_packet_ += run.units;
      if (run.units == 0) {
        ++packet_;
        in_packet_ = 0;
        continue;
      }
      const std::uint64_t before = std::min(run.units, position_ - start_);  // after a seek
      start_ += run.units;
      if (before == run.units) continue;
      position_ = start_;
      if (!run.sent) return {OggEvent::Kind::unsent, run.units - before, {}};
      run.bytes = run.bytes.subspan(static_cast<std::size_t>(before * unit_bytes_));
      return {OggEvent::Kind::units, run.units - before, run.bytes};
    }
    if (!(index_ ? indexed_page() : next_page())) return {};
  }
}

// Takes the next page of the stream whose place in it is known.
bool OggReader::next_page() {
  while (!ended_) {
    if (page_waits_) {
      page_waits_ = false;
    } else if (page_follows_) {
      page_follows_ = false;
      std::swap(page_, doubted_);
    } else if (!pages_.next(page_) || starts_further_stream(page_)) {
      ended_ = true;
      break;
    }
    if (page_.serial == serial_ && !is_filler(page_) && place_page()) return true;
  }
  page_.packets.clear();
  return false;
}

// Counts what is not ours; true where another coded stream follows, so that ours is over.
bool OggReader::starts_further_stream(const OggPage& page) {
  const bool head = page.first && first_packet_is(page, looks_like_head);
  if (head) {
    ++report_.further_streams;
    if (data_seen_) return true;
  }
  if (page.serial != serial_) ++report_.foreign_pages;
  data_seen_ = data_seen_ || !page.first;
  return false;
}

void OggReader::build_index() {
  if (!source_.seekable()) throw FileError(name_, "is a pipe, in which there is no seeking");
  source_.seek(0);
  OggReader scan(source_, name_);
  std::vector<IndexEntry> index;
  while (scan.next_page()) {
    index.push_back({scan.page_.offset, scan.start_, scan.placed_ - scan.start_});
  }
  scan.drain();
  report_ = scan.report();
  end_ = scan.end_;
  placed_ = scan.placed_;
  index_ = std::move(index);
  pages_.seek(0);  // the scan has moved the source away from under them
}

std::uint64_t OggReader::seek(std::uint64_t sample) {
  if (!index_) build_index();
  position_ = std::min(sample / unit_samples_, placed_);
  const auto reaches = [this](const IndexEntry& entry) {
    return entry.start + entry.units <= position_;
  };
  entry_ = static_cast<std::size_t>(std::partition_point(index_->begin(), index_->end(), reaches) -
                                    index_->begin());
  page_.packets.clear();
  packet_ = 0;
  in_packet_ = 0;
  start_ = position_;
  return position_;
}

bool OggReader::indexed_page() {
  page_.packets.clear();
  packet_ = 0;
  in_packet_ = 0;
  if (entry_ == index_->size()) return false;
  const IndexEntry& entry = (*index_)[entry_++];
  start_ = entry.start;
  // A last page that is of no use but for the end.
  if (entry.units == 0) return true;
  if (pages_.offset() != entry.offset) pages_.seek(entry.offset);
  const bool found = pages_.next(page_, entry.offset + 1) && page_.offset == entry.offset;
  if (!found || count_units() != entry.units) {
    throw FileError(name_, "changed while it was being read");
  }
  return true;
}

void OggReader::drain() {
  if (index_) {
    entry_ = index_->size();
  } else {
    while (next_page()) continue;
    while (pages_.next(page_)) starts_further_stream(page_);
  }
  page_.packets.clear();
  position_ = start_ = placed_;
}

OggReport OggReader::report() const {
  if (index_) return report_;
  OggReport report = report_;
  report.damaged_pages = pages_.damaged_pages();
  report.skipped_bytes = pages_.skipped_bytes();
  report.bytes = pages_.offset();
  return report;
}

}  // namespace quel::tools
