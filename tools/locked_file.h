#pragma once

#include <filesystem>
#include <string>

namespace quel::tools {

/// A file that one run at a time works at: opened for reading and writing, kept as it was, and
/// locked for as long as this object lives. Where the file system knows no locks there is none.
class LockedFile {
 public:
  /// Makes the file where there is none.
  ///
  /// name   what messages call it
  /// rival  the message where another run, or another object of this one, has it
  ///
  /// Throws FileError; also where a link, a folder, a device or a file of several names stands
  /// there, since what is written would reach what somebody else keeps.
  LockedFile(std::filesystem::path path, const std::string& name, const std::string& rival);

  /// Removes the file where it is empty and still has its name.
  ~LockedFile();
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

  int descriptor() const { return descriptor_.value; }

  /// Whether its name still leads to it.
  bool in_place() const;

  /// Removes it, unless its name leads to another file by now.
  void remove();

 private:
  struct Descriptor {
    int value = -1;
    Descriptor() = default;
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    void reset();
  };

  std::filesystem::path path_;
  Descriptor descriptor_;
};

}  // namespace quel::tools
