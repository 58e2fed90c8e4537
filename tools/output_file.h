#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <span>
#include <string>

namespace quel::tools {

/// A file that appears under its name only when it is complete: everything goes to NAME.part,
/// which commit() renames and which the destructor removes where commit() was not reached.
class OutputFile {
 public:
  /// Opens NAME.part.
  ///
  /// name   the file to be made; a symbolic link stands for the file that it points at
  /// force  whether an existing file may be replaced
  /// input  the file that is being read meanwhile, which must not be NAME.part
  ///
  /// Throws FileError where NAME exists and `force` is false, where it is no regular file (a
  /// device or a folder would be replaced by the renaming) or where NAME.part cannot be opened.
  OutputFile(const std::string& name, bool force, const std::string& input);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Appends. Throws FileError.
  void write(std::span<const std::uint8_t> bytes);

  /// Replaces the file's first bytes; later writes append again. Throws FileError.
  void rewrite_start(std::span<const std::uint8_t> bytes);

  /// Closes the file and gives it its name. Throws FileError. Nothing may be written after it.
  void commit();

 private:
  [[noreturn]] void fail(int error) const;
  void refuse_existing() const;

  std::string name_;              // as the user wrote it
  std::filesystem::path target_;  // links resolved
  std::filesystem::path part_;
  bool force_;
  std::FILE* file_ = nullptr;
};

}  // namespace quel::tools
