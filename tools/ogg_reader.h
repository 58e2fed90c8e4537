#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/ogg_head.h"
#include "tools/ogg_pages.h"
#include "tools/ogg_report.h"
#include "tools/ogg_tags.h"

namespace quel::tools {

/// What comes next in a stream.
struct OggEvent {
  enum class Kind {
    units,   ///< coded units in `bytes`
    unsent,  ///< units that the sender left out on purpose
    lost,    ///< units that never came
    end      ///< nothing follows, now or later
  };
  Kind kind = Kind::end;
  std::uint64_t units = 0;              ///< how many; 0 at the end
  std::span<const std::uint8_t> bytes;  ///< these units back to back; until the next call
};

/// Reads the first coded stream of an Ogg file: headers at once, then units in order. Whatever is
/// damaged or missing shows up as lost units in its place, so that time never shifts.
class OggReader {
 public:
  /// Reads the headers.
  ///
  /// source  outlives the reader; nobody else reads from it
  /// name    for messages
  ///
  /// Throws FileError where there is no sound header. Broken comments are no reason to refuse a
  /// file: they are left empty, and the report says why.
  OggReader(OggSource& source, const std::string& name);

  const OggHead& head() const { return head_; }
  const OggTags& tags() const { return tags_; }
  /// Decoded samples, pre-skip included, at which the source ends; known once the last page is
  /// reached, whose units come after that.
  std::optional<std::uint64_t> end() const { return end_; }
  /// Units that next() has told of, lost ones included, seeks counted in: the stream's clock.
  std::uint64_t position() const { return position_; }

  OggEvent next();

  bool seekable() const { return source_.seekable(); }

  /// Goes to the unit that holds a decoded sample (pre-skip counted), or to the stream's end. The
  /// first call reads the whole source, after which report() is final.
  ///
  /// Returns the unit that next() tells of next. Throws FileError where the source cannot seek.
  std::uint64_t seek(std::uint64_t sample);

  /// Reads all that follows, other streams included, for the report; next() then gives the end.
  /// May wait for a pipe to be closed.
  void drain();

  OggReport report() const;

 private:
  struct IndexEntry {
    std::uint64_t offset;  // of the page
    std::uint64_t start;   // its first unit
    std::uint64_t units;
  };

  void find_head();
  void take_head(const OggPage& page);
  void find_tags();
  bool next_page();
  bool indexed_page();
  bool starts_further_stream(const OggPage& page);
  struct Place {
    std::uint64_t start;  // unit
    std::uint64_t end;    // the one after its last
    bool sound;           // whether its units can be used
  };
  std::optional<std::uint64_t> count_units() const;
  std::optional<Place> find_place();
  bool bearable(const Place& place) const;
  std::uint64_t units_in(std::uint64_t seconds) const;
  bool place_page();
  void doubt(const Place& place);
  bool agree();
  void settle(const Place& place);
  void build_index();

  OggSource& source_;
  std::string name_;
  OggPages pages_;
  OggHead head_;
  OggTags tags_;
  std::uint64_t unit_bytes_ = 0;
  std::uint64_t unit_samples_ = 0;
  std::uint32_t serial_ = 0;
  bool data_seen_ = false;  // a page that starts no stream

  OggPage page_;                 // the last one taken
  bool page_waits_ = false;      // taken while looking for comments
  std::uint64_t start_ = 0;      // unit at which page_ starts
  std::size_t packet_ = 0;       // of page_, to be given next
  std::uint64_t in_packet_ = 0;  // its units that were given
  std::uint64_t position_ = 0;
  std::uint64_t placed_ = 0;  // unit after the last placed page
  std::uint32_t number_ = 0;  // of the last placed page, or of the headers
  OggPage doubted_;  // the page before, which claimed too great a loss to be believed alone
  std::vector<std::uint8_t> doubted_bytes_;   // its packets
  std::optional<std::uint64_t> doubted_end_;  // unit after it; nothing where there is no such page
  bool page_follows_ = false;                 // doubted_ is the page after page_ instead
  std::uint64_t agreed_lost_ = 0;             // of the lost units, those that two pages agreed on
  std::optional<std::uint64_t> end_;
  bool ended_ = false;

  OggReport report_;  // without what pages_ counts, unless index_ is there
  std::optional<std::vector<IndexEntry>> index_;
  std::size_t entry_ = 0;  // next of index_
};

}  // namespace quel::tools
