#pragma once

#include <exception>
#include <new>
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

/// What a program prints of a failure at `file`: it names file and cause, whatever was thrown.
inline std::string message_of(const std::exception& error, const std::string& file) {
  if (dynamic_cast<const FileError*>(&error) != nullptr) return error.what();
  const bool memory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
  return FileError(file, memory ? "not enough memory" : error.what()).what();
}

}  // namespace quel::tools
