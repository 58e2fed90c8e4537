#pragma once

#include <stdexcept>
#include <string>

namespace quel::tools {

/// What went wrong with which file; what() is "FILE: cause", as a program prints it.
class FileError : public std::runtime_error {
 public:
  FileError(const std::string& file, const std::string& cause)
      : std::runtime_error(file + ": " + cause) {}
};

}  // namespace quel::tools
