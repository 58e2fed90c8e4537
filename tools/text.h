#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quel::tools {

bool is_utf8(std::string_view text);

/// The text with every byte that is no part of valid UTF-8 replaced by U+FFFD.
std::string valid_utf8(std::string_view text);

/// For a terminal: valid UTF-8, with a space for every control character (C0, DEL, C1), which it
/// might obey.
std::string printable(std::string_view text);

/// Whether two ASCII texts differ in nothing but upper and lower case.
bool same_name(std::string_view a, std::string_view b);

/// "1 page", "2 pages".
std::string counted(std::uint64_t count, std::string_view what);

}  // namespace quel::tools
