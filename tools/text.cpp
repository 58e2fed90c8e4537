#include "tools/text.h"

#include <algorithm>
#include <cstddef>

namespace quel::tools {
namespace {

constexpr std::string_view replacement = "\xef\xbf\xbd";  // U+FFFD

/// Bytes of the UTF-8 character that `text` starts with; 0 where it starts with none. Neither
/// overlong forms nor surrogates nor anything past U+10FFFF pass.
std::size_t character_bytes(std::string_view text) {
  const auto byte = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned>(static_cast<unsigned char>(text[i])) : 0u;
  };
  const unsigned first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t count = first >= 0xc2 && first < 0xe0   ? 2
                            : first >= 0xe0 && first < 0xf0 ? 3
                            : first >= 0xf0 && first < 0xf5 ? 4
                                                            : 0;
  for (std::size_t i = 1; i < count; ++i) {
    if ((byte(i) & 0xc0u) != 0x80u) return 0;
  }
  const unsigned second = byte(1);
  if (first == 0xe0 && second < 0xa0) return 0;
  if (first == 0xed && second >= 0xa0) return 0;
  if (first == 0xf0 && second < 0x90) return 0;
  if (first == 0xf4 && second >= 0x90) return 0;
  return count;
}

/// Of a whole character. U+0080 to U+009F are 0xc2 and that number.
bool control(std::string_view character) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(character[i]); };
  if (character.size() == 1) return byte(0) < 0x20 || byte(0) == 0x7f;
  return character.size() == 2 && byte(0) == 0xc2 && byte(1) < 0xa0;
}

}  // namespace

bool is_utf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t bytes = character_bytes(text);
    if (bytes == 0) return false;
    text.remove_prefix(bytes);
  }
  return true;
}

std::string valid_utf8(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const std::size_t bytes = character_bytes(text);
    out += bytes > 0 ? text.substr(0, bytes) : replacement;
    text.remove_prefix(bytes > 0 ? bytes : 1);
  }
  return out;
}

std::string printable(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const std::size_t bytes = character_bytes(text);
    const std::string_view character = text.substr(0, bytes);
    out += bytes == 0 ? replacement : control(character) ? " " : character;
    text.remove_prefix(bytes > 0 ? bytes : 1);
  }
  return out;
}

bool same_name(std::string_view a, std::string_view b) {
  const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [upper](char x, char y) { return upper(x) == upper(y); });
}

std::string counted(std::uint64_t count, std::string_view what) {
  return (std::to_string(count) + ' ').append(what) + (count == 1 ? "" : "s");
}

}  // namespace quel::tools
