#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quel::tools {

/// What became of one input.
struct ManifestRow {
  std::string input;     ///< as it was found
  std::string output;    ///< relative to the output folder; empty where there is none
  std::string settings;  ///< what the output depends on beside the input
  std::string status;    ///< "done", "damaged" (done as far as the input goes) or "failed"
  std::uint64_t input_bytes = 0;
  std::string input_sha256;
  std::uint64_t output_bytes = 0;
  std::string output_sha256;
  std::uint64_t samples = 0;
  std::string message;  ///< why not "done", or what else the user should know

  bool operator==(const ManifestRow&) const = default;
};

/// The names of a row's columns, tabs between them, without the line's end.
std::string tsv_header();

/// A line, its end included. TSV escapes tabs, ends of lines and backslashes as \t, \n, \r, \\.
std::string tsv_line(const ManifestRow& row);

/// A line without its end; nothing where it is no row.
std::optional<ManifestRow> parse_tsv(std::string_view line);

/// A line, its end not included.
std::string json_line(const ManifestRow& row);

/// A line as json_line() writes it; other programs' layouts are not understood.
std::optional<ManifestRow> parse_json(std::string_view line);

}  // namespace quel::tools
