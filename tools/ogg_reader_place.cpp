// Where a page belongs in its stream, and whether to believe it.
#include <algorithm>
#include <quelcodec/quelcodec.hpp>
#include <utility>

#include "tools/ogg_reader.h"
#include "tools/ogg_units.h"

namespace quel::tools {
namespace {

/// How much more time than it holds itself a file may claim to have lost, on the word of one page.
constexpr std::uint64_t lost_seconds = 3600;
/// The same where the next page agrees. Concealing it takes minutes and gigabytes, so a file that
/// lies throughout may not claim any amount.
constexpr std::uint64_t agreed_lost_seconds = 24 * 3600;
/// Bytes of packets on a page, at most.
constexpr std::uint64_t most_segments = 255;
constexpr std::uint64_t longest_body = most_segments * 255;

}  // namespace

// The units on page_; nothing where it cannot be sound.
std::optional<std::uint64_t> OggReader::count_units() const {
  if (!page_.self_contained) return {};
  std::uint64_t units = 0;
  for (const auto& packet : page_.packets) {
    const auto counted = tools::count_units(packet, unit_bytes_, head_.unsent);
    if (!counted) return {};
    units += *counted;
  }
  return units;
}

// Finds out where page_ belongs from its granule position alone; nothing where that is nowhere.
std::optional<OggReader::Place> OggReader::find_place() {
  const std::optional<std::uint64_t> counted = count_units();
  // The end that an unsound last page gives holds all the same.
  if (!counted) page_.packets.clear();
  const std::uint64_t units = counted.value_or(0);
  const auto samples = static_cast<std::uint64_t>(page_.granule);
  const std::uint64_t end = (samples + unit_samples_ - 1) / unit_samples_;
  const bool whole = page_.granule >= 0 && (page_.last || samples % unit_samples_ == 0);
  const bool possible = whole && !page_.first && (counted || page_.last) && end >= placed_ + units;
  if (!possible) return {};
  return Place{end - units, end, counted.has_value()};
}

// Whether what page_ claims can be lost ahead of it, as far as that can be known from it alone.
bool OggReader::bearable(const Place& place) const {
  const std::uint64_t lost = place.start - placed_;
  if (page_.number > number_) {
    // The units of an unsound page are lost themselves.
    const std::uint64_t pages = page_.number - number_ - (place.sound ? 1u : 0u);
    const std::uint64_t most =
        head_.unsent ? most_segments * most_mapped_units : longest_body / unit_bytes_;
    if (lost > pages * most) return false;
  }
  const std::uint64_t held =
      report_.units + report_.unsent_units + pages_.skipped_bytes() / unit_bytes_;
  return report_.lost_units - agreed_lost_ + lost <= units_in(lost_seconds) + held;
}

std::uint64_t OggReader::units_in(std::uint64_t seconds) const {
  return seconds * static_cast<std::uint64_t>(check(quel_sampling_rate(head_.flavor))) /
         unit_samples_;
}

bool OggReader::place_page() {
  const std::optional<Place> place = find_place();
  if (place && place->sound && place->start == doubted_end_) return agree();
  doubted_end_.reset();
  if (!place || !bearable(*place)) {
    ++report_.misplaced_pages;
    if (place && !page_.last) doubt(*place);
    return false;
  }
  settle(*place);
  return true;
}

// Keeps page_ until the next one tells whether it lied.
void OggReader::doubt(const Place& place) {
  if (place.start - placed_ + agreed_lost_ > units_in(agreed_lost_seconds)) return;
  doubted_end_ = place.end;
  doubted_ = page_;
  doubted_bytes_.clear();
  for (const auto& packet : page_.packets) {
    doubted_bytes_.insert(doubted_bytes_.end(), packet.begin(), packet.end());
  }
  std::span<const std::uint8_t> bytes = doubted_bytes_;
  for (auto& packet : doubted_.packets) {
    packet = bytes.first(packet.size());
    bytes = bytes.subspan(packet.size());
  }
}

// The page in doubt did not lie: it comes now, and page_, which continues it, after it.
bool OggReader::agree() {
  doubted_end_.reset();
  std::swap(page_, doubted_);
  page_follows_ = true;
  const Place place = find_place().value();
  --report_.misplaced_pages;
  agreed_lost_ += place.start - placed_;
  settle(place);
  return true;
}

void OggReader::settle(const Place& place) {
  const std::uint64_t lost = place.start - placed_;
  const std::uint64_t units = place.end - place.start;
  const auto samples = static_cast<std::uint64_t>(page_.granule);
  if (!place.sound) ++report_.misplaced_pages;
  if (lost > 0) ++report_.holes;
  report_.lost_units += lost;
  report_.units += units;
  for (const auto& packet : page_.packets) {
    for (std::uint64_t at = 0;;) {
      const UnitRun run = run_at(packet, unit_bytes_, at);
      if (run.units == 0) break;
      if (!run.sent) {
        report_.units -= run.units;
        report_.unsent_units += run.units;
      }
      at += run.units;
    }
  }
  // An end cuts into its own page; sound that was given out before is not taken back.
  const std::uint64_t given_out = units + lost > 0 ? 0 : placed_ * unit_samples_;
  if (page_.last && place.sound && samples < given_out) ++report_.misplaced_pages;
  start_ = place.start;
  placed_ = place.end;
  number_ = page_.number;
  packet_ = 0;
  in_packet_ = 0;
  if (page_.last) {
    end_ = std::max(samples, given_out);
    ended_ = report_.complete = true;
  }
}

}  // namespace quel::tools
