#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

#include "tools/output_file.h"

namespace quel::tools {

/// A file of coded speech: a header, then coded units back to back.
///
///   0  4 bytes  "QUEL"
///   4  1 byte   version, 1
///   5  1 byte   flavor, 0..3
///   6  4 bytes  samples of the source at the flavor's rate, least significant byte first
///  10  units
struct QuelHeader {
  int flavor = 0;
  std::uint32_t samples = 0;  ///< 0..wav_max_samples
};

inline constexpr std::size_t quel_header_bytes = 10;

std::array<std::uint8_t, quel_header_bytes> pack_header(const QuelHeader& header);

/// name   for messages
/// bytes  the file's first bytes; fewer than quel_header_bytes where the file is shorter
///
/// Throws FileError, with a cause of its own for each field.
QuelHeader unpack_header(const std::string& name, std::span<const std::uint8_t> bytes);

/// Units that hold the whole source and the decoder's delay; 0 for an empty source.
std::uint32_t unit_count(const QuelHeader& header);

/// Writes a coded file whose length is known only at the end.
class QuelWriter {
 public:
  /// file  outlives the writer; nobody else writes to it
  QuelWriter(OutputFile& file, int flavor);

  /// Appends one coded unit. Throws FileError.
  void write(std::span<const std::uint8_t> unit);

  /// Puts the source's length into the header and commits the file. Throws FileError.
  void finish(std::uint32_t samples);

 private:
  OutputFile& file_;
  int flavor_;
};

/// Reads a coded file.
class QuelReader {
 public:
  /// Throws FileError where the file cannot be read or its header is not sound.
  explicit QuelReader(const std::string& path);

  const QuelHeader& header() const { return header_; }

  /// Fills `unit` with the next unit's bytes. False where the file ends before its last byte.
  /// Throws FileError where reading fails.
  bool read(std::span<std::uint8_t> unit);

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::size_t read_some(std::span<std::uint8_t> bytes);

  std::string path_;
  std::unique_ptr<std::FILE, Close> file_;
  QuelHeader header_;
};

}  // namespace quel::tools
