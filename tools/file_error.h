#pragma once

#include <stdexcept>
#include <string>

#include "tools/text.h"

namespace quel::tools {

/// An input as messages call it: "-" is standard input, and nothing is left that a terminal obeys.
inline std::string shown(const std::string& input) {
  return input == "-" ? "standard input" : printable(input);
}

/// What went wrong with which file; what() is "FILE: cause", as a program prints it.
class FileError : public std::runtime_error {
 public:
  FileError(const std::string& file, const std::string& cause)
      : std::runtime_error(shown(file) + ": " + cause) {}
};

}  // namespace quel::tools
