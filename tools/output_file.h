#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "tools/interrupt.h"
#include "tools/locked_file.h"

namespace quel::tools {

/// Where a file of this name is or would be made: one path for one place, whatever links and
/// folders the name takes. Throws FileError where links lead in a circle.
std::filesystem::path output_place(const std::string& name);

/// A file that appears under its name only when it is complete: everything goes to NAME.part,
/// which commit() renames and which the destructor removes where something was written and
/// commit() was not reached. A program that is killed leaves NAME.part behind. "-" is standard
/// output, which takes everything as it comes; so do pipes and devices under their names.
class OutputFile {
 public:
  /// Opens NAME.part and keeps other runs from it. What a killed run left there stays until the
  /// first byte is written: an input that cannot be read costs nobody the rescue of another.
  ///
  /// name   the file to be made; a symbolic link stands for the file that it points at,
  ///        whether or not that is there yet
  /// force  whether an existing file may be replaced
  /// input  the file that is being read meanwhile, "-" for standard input, empty for none; it must
  ///        be neither NAME nor NAME.part by any name, since a recording would be lost
  ///
  /// Throws FileError where NAME exists and `force` is false, where it is a folder or a disk, where
  /// NAME.part cannot be opened, is being written by another run, was made by another program or
  /// leads to a file of another name, and where the output is a terminal, which nobody wants to see
  /// filled with bytes.
  OutputFile(const std::string& name, bool force, const std::string& input);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// For messages.
  const std::string& name() const { return name_; }

  /// Whether written bytes can be replaced: not in pipes.
  bool seekable() const { return seekable_; }

  /// Whether somebody may be waiting at the other end for what was written: of pipes and devices.
  bool live() const { return live_; }

  /// Appends. Throws FileError.
  void write(std::span<const std::uint8_t> bytes);

  /// Hands what was written to the system. Throws FileError.
  void flush();

  /// Later writes go there, counted from the output's first byte. Only where seekable(). Throws
  /// FileError.
  void seek(std::uint64_t offset);

  /// Replaces the file's first bytes; later writes append again. Only where seekable(). Throws
  /// FileError.
  void rewrite_start(std::span<const std::uint8_t> bytes);

  /// Whether bytes can go in between written ones: not on standard output, which is not ours to
  /// read.
  bool can_insert() const { return lock_.has_value(); }

  /// Moves everything from `offset` on to make room for these bytes; later writes append again.
  /// Reads and writes what it moves. Only where can_insert(). Throws FileError.
  void insert(std::uint64_t offset, std::span<const std::uint8_t> bytes);

  /// Makes commit() stop short of the naming, which release() then does.
  void hold_back() { held_back_ = true; }

  /// Closes the file and gives it its name. Throws FileError. Nothing may be written after it.
  void commit();

  /// Gives a file that was held back its name. Throws FileError.
  void release();

  /// NAME.part, where the bytes are until the file has its name.
  std::string part() const { return part_.string(); }

 private:
  [[noreturn]] void fail(int error) const;
  void open_standard_output(const std::string& input);
  bool open_device();
  void refuse_input(const std::string& input) const;
  void refuse_existing() const;
  void refuse_another_part() const;
  void refuse_foreign_part() const;
  void begin();

  std::string name_;              // as the user wrote it
  std::filesystem::path target_;  // links resolved
  std::filesystem::path part_;
  bool force_;
  bool seekable_ = true;
  bool live_ = false;
  long start_ = 0;  // where the output begins in what the shell opened
  bool held_back_ = false;
  bool begun_ = false;              // NAME.part is ours to fill and to remove
  std::optional<LockedFile> lock_;  // nothing where it is no file of ours
  std::optional<Unfinished> unfinished_;
  std::unique_ptr<char[]> buffer_;  // of `file_`, which is closed before it goes
  std::FILE* file_ = nullptr;
};

}  // namespace quel::tools
