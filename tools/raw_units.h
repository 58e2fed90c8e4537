#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/ogg_source.h"
#include "tools/ogg_writer.h"

namespace quel::tools {

/// Bare coded units back to back, given out as the file that they would be in, unit by unit as they
/// come. The length of the source being unknown, it is all that the units hold.
class RawUnits : public OggSource {
 public:
  /// path    "-" is standard input
  /// flavor  QUEL_FLAVOR_...
  ///
  /// Throws FileError, as every call does.
  RawUnits(const std::string& path, int flavor);

  std::size_t read(std::span<std::uint8_t> bytes) override;
  bool seekable() const override { return false; }
  void seek(std::uint64_t) override {}

  /// Bytes after the last whole unit, once the end is reached.
  std::size_t left_over() const { return unit_filled_; }
  std::uint64_t bytes_read() const { return bytes_read_; }

 private:
  bool read_unit();

  FileSource source_;
  OggHead head_;
  std::vector<std::uint8_t> unit_;
  std::size_t unit_filled_ = 0;
  std::vector<std::uint8_t> ready_;  // ready_[used_..] waits to be read
  std::size_t used_ = 0;
  OggWriter writer_;
  std::uint64_t units_ = 0;
  std::uint64_t bytes_read_ = 0;
  bool ended_ = false;
};

}  // namespace quel::tools
