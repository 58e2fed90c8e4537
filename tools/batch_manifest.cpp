#include "tools/batch_manifest.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>

#include "tools/file_error.h"

namespace quel::tools {
namespace {

constexpr const char* json_start = "{\"quel_manifest\": 1, \"files\": [";

bool is_json(const std::string& path) {
  return std::filesystem::path(path).extension() == ".json";
}

std::optional<std::string> read_text(const std::string& path) {
  std::error_code unknown;
  const auto kind = std::filesystem::status(path, unknown);
  if (!std::filesystem::exists(kind)) return std::nullopt;
  if (!std::filesystem::is_regular_file(kind)) throw FileError(path, "not a regular file");
  std::ifstream file(path, std::ios::binary);
  if (!file) throw FileError(path, std::strerror(errno));
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// Lines that have an end.
std::vector<std::string_view> lines_of(std::string_view text) {
  std::vector<std::string_view> lines;
  for (std::size_t at = 0, end; (end = text.find('\n', at)) != std::string_view::npos;
       at = end + 1) {
    lines.push_back(text.substr(at, end - at));
  }
  return lines;
}

}  // namespace

std::string manifest_text(const std::string& path, const std::vector<ManifestRow>& rows) {
  if (!is_json(path)) {
    std::string text = tsv_header() + "\n";
    for (const ManifestRow& row : rows) text += tsv_line(row);
    return text;
  }
  std::string text = std::string(json_start) + "\n";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    text += json_line(rows[i]) + (i + 1 < rows.size() ? ",\n" : "\n");
  }
  return text + "]}\n";
}

std::vector<ManifestRow> read_manifest(const std::string& path) {
  const auto text = read_text(path);
  if (!text) return {};
  std::vector<std::string_view> lines = lines_of(*text);
  const bool json = is_json(path);
  const bool sound = !lines.empty() && lines.front() == (json ? json_start : tsv_header()) &&
                     (!json || lines.back() == "]}");
  if (!sound) throw FileError(path, "exists already and is no manifest of quel");
  lines.erase(lines.begin());
  if (json) lines.pop_back();
  std::vector<ManifestRow> rows;
  for (const std::string_view line : lines) {
    const auto row = json ? parse_json(line) : parse_tsv(line);
    if (!row) throw FileError(path, "damaged: a line of it is no row of a manifest");
    rows.push_back(*row);
  }
  return rows;
}

std::vector<ManifestRow> read_journal(const std::string& path) {
  const auto text = read_text(path);
  if (!text) return {};
  std::vector<ManifestRow> rows;
  bool sound = text->empty() || text->front() == '\n', strange = false;
  for (const std::string_view line : lines_of(*text)) {
    if (const auto row = parse_tsv(line)) {
      rows.push_back(*row);
    } else if (line.find('\t') == line.npos && !line.empty()) {
      strange = true;
    }
  }
  // A line may be torn where the machine failed; where all look otherwise this is somebody's file.
  if (strange && rows.empty()) sound = false;
  if (!sound) throw FileError(path, "exists already and is no journal of quel");
  return rows;
}

void Journal::open(const std::string& path) {
  path_ = path;
  file_.emplace(path, path, "another run is at work here");
}

void Journal::start() {
  // A line that was cut off must not run into the next one.
  append("\n");
}

void Journal::write(const ManifestRow& row) {
  const std::lock_guard lock(mutex_);
  append(tsv_line(row));
}

void Journal::append(std::string_view text) {
  const int file = file_->descriptor();
  const off_t end = lseek(file, 0, SEEK_END);
  if (end < 0) throw FileError(path_, std::strerror(errno));
  while (!text.empty()) {
    const ssize_t count = ::write(file, text.data(), text.size());
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      const FileError failure(path_, std::strerror(errno));
      // Half a line would take the next one with it.
      if (ftruncate(file, end) != 0) throw FileError(path_, std::strerror(errno));
      throw failure;
    }
  }
}

void Journal::remove() {
  file_->remove();
  file_.reset();
}

}  // namespace quel::tools
