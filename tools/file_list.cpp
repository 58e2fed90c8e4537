#include "tools/file_list.h"

#include <array>
#include <cstdint>

#include "tools/file_error.h"
#include "tools/ogg_source.h"

namespace quel::tools {

std::vector<std::string> read_file_list(const std::string& list, bool null_terminated) {
  FileSource source(list);
  const char end = null_terminated ? '\0' : '\n';
  std::vector<std::string> names;
  std::string name;
  const auto take_name = [&] {
    if (name == "-") {
      throw FileError(list, "standard input (-) cannot be one of many inputs");
    }
    if (!name.empty()) names.push_back(name);
    name.clear();
  };
  std::array<std::uint8_t, 65536> bytes;
  while (const std::size_t got = source.read(bytes)) {
    for (std::size_t i = 0; i < got; ++i) {
      if (static_cast<char>(bytes[i]) == end) {
        take_name();
      } else {
        name += static_cast<char>(bytes[i]);
      }
    }
  }
  take_name();
  if (names.empty()) throw FileError(list, "names no inputs");
  return names;
}

}  // namespace quel::tools
