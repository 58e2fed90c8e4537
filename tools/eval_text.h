#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quel::tools {

/// A JSON string, quotes included.
std::string json_string(std::string_view text);

/// For HTML text and for attributes in double quotes. What HTML may not contain (control characters
/// but tab, line feed and return) becomes U+FFFD.
std::string html_text(std::string_view text);

/// With `decimals` digits after the point, whatever the locale; "inf", "-inf" and "nan" where
/// there are no digits.
std::string fixed(double value, int decimals);

/// As short as possible and exact: "3", "2.5".
std::string shortest(double value);

std::string base64(std::span<const std::uint8_t> bytes);

/// A 16-bit mono WAV file in memory; at most wav_max_samples.
std::vector<std::uint8_t> wav_bytes(std::span<const std::int16_t> pcm, int rate);

}  // namespace quel::tools
