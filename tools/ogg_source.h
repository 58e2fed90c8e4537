#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace quel::tools {

/// Where a reader's bytes come from.
class OggSource {
 public:
  virtual ~OggSource() = default;

  /// Fills the start of `bytes` with what is there, waiting for at least one byte. 0 only at the
  /// end.
  virtual std::size_t read(std::span<std::uint8_t> bytes) = 0;

  virtual bool seekable() const = 0;

  /// Goes to a byte counted from the source's start. Only where seekable().
  virtual void seek(std::uint64_t offset) = 0;
};

/// A file, or standard input.
class FileSource : public OggSource {
 public:
  /// path  "-" is standard input, in which nobody can seek
  ///
  /// This and every call throw FileError where the system reports an error.
  explicit FileSource(const std::string& path);
  ~FileSource() override;
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;

  std::size_t read(std::span<std::uint8_t> bytes) override;
  bool seekable() const override { return seekable_; }
  void seek(std::uint64_t offset) override;

 private:
  std::string path_;
  int descriptor_;
  bool seekable_ = false;
};

/// Bytes in memory, which outlive it.
class MemorySource : public OggSource {
 public:
  explicit MemorySource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::size_t read(std::span<std::uint8_t> bytes) override;
  bool seekable() const override { return true; }
  void seek(std::uint64_t offset) override;

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t next_ = 0;
};

}  // namespace quel::tools
