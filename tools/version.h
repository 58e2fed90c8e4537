#pragma once

#include <quelcodec/quelcodec.h>

#include <string>

namespace quel::tools {

/// The library's version, "0.2.0" for one.
inline std::string version_text() {
  const int version = quel_version();
  return std::to_string(version / 10000) + "." + std::to_string(version / 100 % 100) + "." +
         std::to_string(version % 100);
}

}  // namespace quel::tools
