#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/locked_file.h"
#include "tools/manifest_row.h"

namespace quel::tools {

/// A whole manifest, JSON where the name ends so, else TSV with a line of column names.
std::string manifest_text(const std::string& path, const std::vector<ManifestRow>& rows);

/// The rows of a manifest; none where there is no such file. Throws FileError where the file is no
/// manifest, so that nobody's file is overwritten by a slip.
std::vector<ManifestRow> read_manifest(const std::string& path);

/// The rows of a journal, which is lines of TSV alone behind an empty one; none where there is no
/// such file, or an empty one. A last line that is cut is left out. Throws FileError where the file
/// is no journal.
std::vector<ManifestRow> read_journal(const std::string& path);

/// Rows as they come, for a run that may not live to write its manifest.
class Journal {
 public:
  /// Keeps other runs from it until it is removed or this object ends; what it holds stays as it
  /// is. Throws FileError.
  void open(const std::string& path);

  /// Makes a journal of it, or goes on behind what is there. Throws FileError.
  void start();

  /// Hands a row to the system before it returns. Any number of threads may call. Throws FileError.
  void write(const ManifestRow& row);

  /// Closes and deletes it.
  void remove();

 private:
  void append(std::string_view text);

  std::string path_;
  std::mutex mutex_;
  std::optional<LockedFile> file_;
};

}  // namespace quel::tools
