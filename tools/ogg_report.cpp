#include "tools/ogg_report.h"

#include "tools/text.h"

namespace quel::tools {

bool OggReport::damaged() const {
  return lost_units + damaged_pages + skipped_bytes + misplaced_pages > 0 || !complete ||
         !tags_error.empty();
}

std::vector<std::string> damage_notes(const OggReport& report, const std::string& cut) {
  std::string places;
  const auto add = [&places](const std::string& piece) {
    places += (places.empty() ? "" : ", ") + piece;
  };
  if (report.lost_units > 0) {
    add(counted(report.lost_units, "lost unit") + " in " + counted(report.holes, "hole"));
  }
  if (report.damaged_pages > 0) add(counted(report.damaged_pages, "damaged page"));
  if (report.misplaced_pages > 0) add(counted(report.misplaced_pages, "misplaced page"));
  if (report.skipped_bytes > 0) add(counted(report.skipped_bytes, "byte") + " outside pages");
  std::vector<std::string> notes;
  if (!places.empty()) notes.push_back(places);
  if (!report.tags_error.empty()) notes.push_back("comments not read: " + report.tags_error);
  if (!report.complete) notes.push_back(cut);
  return notes;
}

std::vector<std::string> content_notes(const OggReport& report, const std::string& cut) {
  std::vector<std::string> notes = damage_notes(report, cut);
  if (report.further_streams > 0) {
    notes.push_back(counted(report.further_streams, "further coded stream") + " ignored");
  }
  return notes;
}

}  // namespace quel::tools
