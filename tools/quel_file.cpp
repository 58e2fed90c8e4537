#include "tools/quel_file.h"

#include <quelcodec/quelcodec.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/audio_file.h"
#include "tools/file_error.h"

namespace quel::tools {
namespace {

constexpr std::array<std::uint8_t, 4> magic = {'Q', 'U', 'E', 'L'};
constexpr int version = 1;

}  // namespace

std::array<std::uint8_t, quel_header_bytes> pack_header(const QuelHeader& header) {
  std::array<std::uint8_t, quel_header_bytes> bytes{};
  std::copy(magic.begin(), magic.end(), bytes.begin());
  bytes[4] = version;
  bytes[5] = static_cast<std::uint8_t>(header.flavor);
  for (std::size_t i = 0; i < 4; ++i) {
    bytes[6 + i] = static_cast<std::uint8_t>(header.samples >> (8 * i));
  }
  return bytes;
}

QuelHeader unpack_header(const std::string& name, std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) throw FileError(name, "empty");
  const std::size_t known = std::min(bytes.size(), magic.size());
  if (!std::equal(magic.begin(), magic.begin() + static_cast<std::ptrdiff_t>(known),
                  bytes.begin())) {
    throw FileError(name, "not a file made by quel encode");
  }
  if (bytes.size() < quel_header_bytes) {
    throw FileError(name, "ends within its header (" + std::to_string(bytes.size()) + " of " +
                              std::to_string(quel_header_bytes) + " bytes)");
  }
  if (bytes[4] != version) {
    throw FileError(name, "file version " + std::to_string(bytes[4]) +
                              " is unknown (this program reads version 1)");
  }
  QuelHeader header;
  header.flavor = bytes[5];
  if (header.flavor > QUEL_FLAVOR_16K) {
    throw FileError(name, "flavor " + std::to_string(header.flavor) + " is not one of 0 to 3");
  }
  for (std::size_t i = 0; i < 4; ++i) {
    header.samples |= static_cast<std::uint32_t>(bytes[6 + i]) << (8 * i);
  }
  if (header.samples > wav_max_samples) {
    throw FileError(name, "its length of " + std::to_string(header.samples) +
                              " samples is more than a WAV file holds");
  }
  return header;
}

std::uint32_t unit_count(const QuelHeader& header) {
  if (header.samples == 0) return 0;
  const auto unit = static_cast<std::uint32_t>(quel_samples_per_unit(header.flavor));
  const auto delay = static_cast<std::uint32_t>(quel_delay(header.flavor));
  return (header.samples + delay + unit - 1) / unit;
}

QuelWriter::QuelWriter(OutputFile& file, int flavor) : file_(file), flavor_(flavor) {
  file_.write(pack_header({flavor_, 0}));  // the length follows in finish()
}

void QuelWriter::write(std::span<const std::uint8_t> unit) {
  file_.write(unit);
}

void QuelWriter::finish(std::uint32_t samples) {
  file_.rewrite_start(pack_header({flavor_, samples}));
  file_.commit();
}

QuelReader::QuelReader(const std::string& path)
    : path_(path), file_(std::fopen(path.c_str(), "rb")) {
  if (!file_) throw FileError(path_, std::strerror(errno));
  std::array<std::uint8_t, quel_header_bytes> bytes{};
  const std::size_t count = read_some(bytes);
  header_ = unpack_header(path_, std::span(bytes).first(count));
}

bool QuelReader::read(std::span<std::uint8_t> unit) {
  return read_some(unit) == unit.size();
}

std::size_t QuelReader::read_some(std::span<std::uint8_t> bytes) {
  const std::size_t count = std::fread(bytes.data(), 1, bytes.size(), file_.get());
  if (count < bytes.size() && std::ferror(file_.get()) != 0) {
    throw FileError(path_, std::strerror(errno));
  }
  return count;
}

}  // namespace quel::tools
