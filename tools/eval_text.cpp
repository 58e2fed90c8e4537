#include "tools/eval_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

#include "tools/bytes.h"
#include "tools/text.h"

namespace quel::tools {
namespace {

constexpr std::string_view replacement = "\xef\xbf\xbd";  // U+FFFD

bool control(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

}  // namespace

std::string json_string(std::string_view text) {
  constexpr std::string_view hex = "0123456789abcdef";
  std::string out = "\"";
  for (const char c : valid_utf8(text)) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (control(c)) {
      const auto code = static_cast<unsigned char>(c);
      out += "\\u00";
      out += hex[code / 16u];
      out += hex[code % 16u];
    } else {
      out += c;
    }
  }
  return out + '"';
}

std::string html_text(std::string_view text) {
  std::string out;
  for (const char c : valid_utf8(text)) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      case '\t':
      case '\n':
      case '\r':
        out += c;
        break;
      default:
        if (control(c)) {
          out += replacement;
        } else {
          out += c;
        }
    }
  }
  return out;
}

std::string fixed(double value, int decimals) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0.0 ? "inf" : "-inf";
  std::array<char, 400> text;  // the largest double has 309 digits
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                 std::chars_format::fixed, decimals);
  return {text.data(), end.ptr};
}

std::string shortest(double value) {
  std::array<char, 32> text;
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

std::string base64(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = bytes.size() - i < 3 ? bytes.size() - i : 3;
    std::uint32_t word = 0;
    for (std::size_t j = 0; j < 3; ++j) word = word << 8 | (j < count ? bytes[i + j] : 0u);
    for (std::size_t j = 0; j < 4; ++j) {
      out += j <= count ? digits[word >> (18 - 6 * j) & 63u] : '=';
    }
  }
  return out;
}

std::vector<std::uint8_t> wav_bytes(std::span<const std::int16_t> pcm, int rate) {
  std::vector<std::uint8_t> out;
  out.reserve(44 + 2 * pcm.size());
  const auto text = [&](std::string_view letters) {
    for (const char letter : letters) out.push_back(static_cast<std::uint8_t>(letter));
  };
  const auto number = [&](std::uint32_t value, int bytes) {
    append_little_endian(out, value, bytes);
  };
  const auto data_bytes = static_cast<std::uint32_t>(2 * pcm.size());
  text("RIFF");
  number(36 + data_bytes, 4);
  text("WAVEfmt ");
  number(16, 4);  // bytes of this chunk
  number(1, 2);   // PCM
  number(1, 2);   // channels
  number(static_cast<std::uint32_t>(rate), 4);
  number(static_cast<std::uint32_t>(2 * rate), 4);  // bytes per second
  number(2, 2);                                     // bytes per sample
  number(16, 2);                                    // bits per sample
  text("data");
  number(data_bytes, 4);
  for (const std::int16_t x : pcm) number(static_cast<std::uint16_t>(x), 2);
  return out;
}

}  // namespace quel::tools
