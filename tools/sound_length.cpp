#include "tools/sound_length.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

#include "tools/bytes.h"
#include "tools/wav_pipe.h"

namespace quel::tools {
namespace {

/// Chunks ahead of the samples, more than anybody writes: a file may have room for any number.
constexpr int most_chunks = 2000;

/// Reads a file piece by piece, wherever its descriptor stands.
class Chunks {
 public:
  explicit Chunks(int descriptor) : descriptor_(descriptor) {}

  bool take(std::uint64_t offset, std::size_t count) {
    got_ = pread(descriptor_, bytes_.data(), count, static_cast<off_t>(offset));
    return got_ == static_cast<ssize_t>(count);
  }
  /// Whether the file ended within what take() took last.
  bool cut() const { return got_ > 0; }
  std::string_view text(std::size_t at) const {
    return {reinterpret_cast<const char*>(&bytes_[at]), 4};
  }
  bool has_name() const {
    const std::string_view name = text(0);
    return std::all_of(name.begin(), name.end(), [](char c) { return c >= 0x20 && c <= 0x7e; });
  }
  std::uint64_t number(std::size_t at, std::size_t count, bool big_endian_first) const {
    const auto bytes = std::span(bytes_).subspan(at, count);
    return big_endian_first ? big_endian(bytes) : little_endian(bytes);
  }

 private:
  int descriptor_;
  ssize_t got_ = 0;
  std::array<std::uint8_t, 16> bytes_{};
};

}  // namespace

std::optional<SampleBytes> find_samples(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return {};
  const auto size = static_cast<std::uint64_t>(status.st_size);
  Chunks chunks(descriptor);
  if (!chunks.take(0, 12)) return {};
  const bool wide = chunks.text(0) == "RF64";
  const bool wav = (wide || chunks.text(0) == "RIFF") && chunks.text(8) == "WAVE";
  const bool aiff =
      chunks.text(0) == "FORM" && (chunks.text(8) == "AIFF" || chunks.text(8) == "AIFC");
  if (!wav && !aiff) return {};
  std::uint64_t wide_bytes = 0;
  std::uint64_t at = 12;
  for (int count = 0; chunks.take(at, 8); ++count) {
    if (count == most_chunks || !chunks.has_name()) return {};
    const std::uint64_t bytes = chunks.number(4, 4, aiff);
    if (chunks.text(0) == (aiff ? "SSND" : "data")) {
      const bool in_ds64 = wide && bytes == 0xffffffffu;
      return SampleBytes{size - at - 8,
                         in_ds64 ? known_wide_bytes(wide_bytes) : known_bytes(bytes)};
    }
    if (wide && chunks.text(0) == "ds64" && chunks.take(at + 8, 16)) {
      wide_bytes = chunks.number(8, 8, false);
    }
    at += 8 + bytes + bytes % 2;
  }
  if (!chunks.cut()) return {};
  SampleBytes none;
  none.head_cut = true;
  return none;
}

}  // namespace quel::tools
