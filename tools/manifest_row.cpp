#include "tools/manifest_row.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

#include "tools/eval_text.h"
#include "tools/text.h"

namespace quel::tools {
namespace {

constexpr std::array<const char*, 10> columns = {
    "input",        "output",       "settings",      "status",  "input_bytes",
    "input_sha256", "output_bytes", "output_sha256", "samples", "message"};
using Fields = std::array<std::string, columns.size()>;

bool is_number(std::size_t column) {
  return column == 4 || column == 6 || column == 8;
}

Fields fields_of(const ManifestRow& row) {
  return {row.input,
          row.output,
          row.settings,
          row.status,
          std::to_string(row.input_bytes),
          row.input_sha256,
          std::to_string(row.output_bytes),
          row.output_sha256,
          std::to_string(row.samples),
          row.message};
}

std::optional<std::uint64_t> number(const std::string& text) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<ManifestRow> row_of(const Fields& f) {
  const auto input_bytes = number(f[4]), output_bytes = number(f[6]), samples = number(f[8]);
  if (!input_bytes || !output_bytes || !samples) return std::nullopt;
  return ManifestRow{f[0], f[1],          f[2], f[3],     *input_bytes,
                     f[5], *output_bytes, f[7], *samples, f[9]};
}

std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '\t':
        out += "\\t";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\\':
        out += "\\\\";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string label_of(std::size_t column) {
  std::string text = column == 0 ? "{\"" : ", \"";
  text += columns[column];
  text += "\": ";
  return text;
}

/// As json_string(), but for bytes that are no part of a character, which names may have: the byte
/// XX is written as half a pair, \\udcXX, which no text has.
std::string json_bytes(const std::string& text) {
  constexpr std::string_view replacement = "\xef\xbf\xbd", hex = "0123456789abcdef";
  const std::string valid = valid_utf8(text);
  std::string out = "\"", run;
  const auto put_run = [&] {
    const std::string quoted = json_string(run);
    out.append(quoted, 1, quoted.size() - 2);
    run.clear();
  };
  for (std::size_t i = 0, j = 0; i < text.size(); ++i) {
    const bool stray =
        valid.compare(j, 3, replacement) == 0 && text.compare(i, 3, replacement) != 0;
    j += stray ? 3 : 1;
    if (!stray) {
      run += text[i];
      continue;
    }
    put_run();
    const auto byte = static_cast<unsigned char>(text[i]);
    out.append("\\udc").append(1, hex[byte / 16u]).append(1, hex[byte % 16u]);
  }
  put_run();
  return out + '"';
}

/// A string of JSON; `at` is behind its opening quote and ends behind the closing one.
std::optional<std::string> parse_json_string(std::string_view text, std::size_t& at) {
  constexpr std::string_view names = "nrtbf", meanings = "\n\r\t\b\f";
  std::string out;
  while (at < text.size() && text[at] != '"') {
    if (text[at] != '\\') {
      out += text[at++];
      continue;
    }
    if (at + 1 >= text.size()) return std::nullopt;
    const char c = text[at + 1];
    at += 2;
    if (c == 'u') {
      // Only control characters and stray bytes are written like this.
      unsigned value = 0;
      if (at + 4 > text.size()) return std::nullopt;
      const auto [end, error] = std::from_chars(&text[at], &text[at] + 4, value, 16);
      if (error != std::errc() || end != &text[at] + 4) return std::nullopt;
      if (value > 0x7f && (value < 0xdc80 || value > 0xdcff)) return std::nullopt;
      out += static_cast<char>(value);
      at += 4;
    } else {
      const std::size_t known = names.find(c);
      out += known == std::string_view::npos ? c : meanings[known];
    }
  }
  if (at >= text.size()) return std::nullopt;
  ++at;
  return out;
}

}  // namespace

std::string tsv_header() {
  std::string text;
  for (const char* name : columns) {
    if (!text.empty()) text += '\t';
    text += name;
  }
  return text;
}

std::string tsv_line(const ManifestRow& row) {
  std::string text;
  const Fields fields = fields_of(row);
  for (const std::string& field : fields) text += escaped(field) + '\t';
  text.back() = '\n';
  return text;
}

std::optional<ManifestRow> parse_tsv(std::string_view line) {
  Fields fields;
  std::size_t column = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\t') {
      if (++column == fields.size()) return std::nullopt;
    } else if (line[i] == '\\' && i + 1 < line.size()) {
      const char c = line[++i];
      fields[column] += c == 't' ? '\t' : c == 'n' ? '\n' : c == 'r' ? '\r' : c;
    } else {
      fields[column] += line[i];
    }
  }
  if (column + 1 != fields.size()) return std::nullopt;
  return row_of(fields);
}

std::string json_line(const ManifestRow& row) {
  const Fields fields = fields_of(row);
  std::string text;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    text += label_of(i);
    text += is_number(i) ? fields[i] : json_bytes(fields[i]);
  }
  return text + "}";
}

std::optional<ManifestRow> parse_json(std::string_view line) {
  Fields fields;
  std::size_t at = 0;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const std::string label = label_of(i);
    if (line.substr(at, label.size()) != label) return std::nullopt;
    at += label.size();
    if (is_number(i)) {
      const std::size_t end = std::min(line.find_first_of(",}", at), line.size());
      fields[i] = line.substr(at, end - at);
      at = end;
    } else {
      if (at >= line.size() || line[at] != '"') return std::nullopt;
      const auto value = parse_json_string(line, ++at);
      if (!value) return std::nullopt;
      fields[i] = *value;
    }
  }
  return row_of(fields);
}

}  // namespace quel::tools
