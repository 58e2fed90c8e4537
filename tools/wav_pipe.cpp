#include "tools/wav_pipe.h"

#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "tools/bytes.h"
#include "tools/file_error.h"

namespace quel::tools {
namespace {

/// Nobody puts that much ahead of the samples.
constexpr std::size_t longest_header = 1 << 20;

int subtype_of(int tag, int bits) {
  constexpr int pcm = 1, floats = 3, a_law = 6, mu_law = 7;
  if (tag == pcm && bits == 8) return SF_FORMAT_PCM_U8;
  if (tag == pcm && bits == 16) return SF_FORMAT_PCM_16;
  if (tag == pcm && bits == 24) return SF_FORMAT_PCM_24;
  if (tag == pcm && bits == 32) return SF_FORMAT_PCM_32;
  if (tag == floats && bits == 32) return SF_FORMAT_FLOAT;
  if (tag == floats && bits == 64) return SF_FORMAT_DOUBLE;
  if (tag == a_law && bits == 8) return SF_FORMAT_ALAW;
  if (tag == mu_law && bits == 8) return SF_FORMAT_ULAW;
  return 0;
}

/// Takes the header apart and keeps what it read.
class HeaderReader {
 public:
  explicit HeaderReader(PipeInput& input) : input_(input) {}

  std::optional<WavStreamFormat> read() {
    if (!take(12) || (text(0) != "RIFF" && text(0) != "RF64") || text(8) != "WAVE") return {};
    const std::uint64_t riff_bytes = number(seen_.data() + 4, 4);
    const bool wide = text(0) == "RF64";
    WavStreamFormat format;
    std::uint64_t wide_bytes = 0;
    for (;;) {
      const std::size_t at = seen_.size();
      if (!take(8)) return {};
      const std::uint64_t size = number(seen_.data() + at + 4, 4);
      if (text(at) == "data") {
        if (format.subtype == 0) return {};
        const bool in_ds64 = wide && size == 0xffffffffu;
        const bool empty = size == 0 && chunk_follows(riff_bytes + 8);
        format.tags = known_tags(format.tags);
        format.bytes = empty ? 0 : in_ds64 ? known_wide_bytes(wide_bytes) : known_bytes(size);
        return format;
      }
      if (size > longest_header || !take(static_cast<std::size_t>(size + size % 2))) return {};
      const std::uint8_t* const body = seen_.data() + at + 8;
      if (text(at) == "ds64" && size >= 16) wide_bytes = number(body + 8, 8);
      if (text(at) == "LIST") read_info({body, static_cast<std::size_t>(size)}, format.tags);
      if (text(at) == "fmt " && size >= 16) read_format(body, size, format);
    }
  }

  const std::vector<std::uint8_t>& seen() const { return seen_; }

 private:
  bool take(std::size_t count) {
    const std::size_t at = seen_.size();
    if (at + count > longest_header) return false;
    seen_.resize(at + count);
    const std::size_t got = input_.read(seen_.data() + at, count);
    seen_.resize(at + got);
    return got == count;
  }

  // Behind the header of an empty chunk: whether the file has a further one, and not samples whose
  // length was never put in. What is looked at comes again.
  bool chunk_follows(std::uint64_t file_bytes) {
    const std::size_t at = seen_.size();
    if (!known_bytes(file_bytes - 8) || file_bytes <= at) return false;
    const bool there = take(8);
    const auto name = std::string_view(reinterpret_cast<const char*>(seen_.data()) + at, 4);
    const bool chunk =
        there &&
        std::all_of(name.begin(), name.end(), [](char c) { return c >= 0x20 && c <= 0x7e; }) &&
        at + 8 + number(seen_.data() + at + 4, 4) <= file_bytes;
    input_.put_back({seen_.begin() + static_cast<std::ptrdiff_t>(at), seen_.end()});
    seen_.resize(at);
    return chunk;
  }

  std::string_view text(std::size_t at) const {
    return {reinterpret_cast<const char*>(&seen_[at]), 4};
  }

  static std::uint64_t number(const std::uint8_t* bytes, std::size_t count) {
    return little_endian({bytes, count});
  }

  static void read_format(const std::uint8_t* body, std::uint64_t size, WavStreamFormat& format) {
    constexpr int extensible = 0xfffe;
    int tag = static_cast<int>(number(body, 2));
    const int bits = static_cast<int>(number(body + 14, 2));
    const int frame_bytes = static_cast<int>(number(body + 12, 2));
    if (tag == extensible && size >= 40) tag = static_cast<int>(number(body + 24, 2));
    format.channels = static_cast<int>(number(body + 2, 2));
    format.rate = static_cast<int>(std::min<std::uint64_t>(number(body + 4, 4), 0x7fffffff));
    const bool packed = format.channels > 0 && frame_bytes == format.channels * bits / 8;
    format.subtype = packed ? subtype_of(tag, bits) : 0;
    format.sample_bytes = bits / 8;
  }

  PipeInput& input_;
  std::vector<std::uint8_t> seen_;
};

}  // namespace

std::size_t PipeInput::read(std::uint8_t* bytes, std::size_t count) {
  std::size_t done = 0;
  while (done < count) {
    const std::size_t got = read_some(bytes + done, count - done);
    if (got == 0) break;
    done += got;
  }
  return done;
}

std::size_t PipeInput::read_some(std::uint8_t* bytes, std::size_t count) {
  const std::size_t again = std::min(count, waiting_.size() - next_);
  if (again > 0 || count == 0) {
    std::copy_n(waiting_.begin() + static_cast<std::ptrdiff_t>(next_), again, bytes);
    next_ += again;
    return again;
  }
  for (;;) {
    const ssize_t got = ::read(descriptor_, bytes, count);
    if (got >= 0) return static_cast<std::size_t>(got);
    if (errno != EINTR) throw FileError(name_, std::strerror(errno));
  }
}

void PipeInput::put_back(const std::vector<std::uint8_t>& bytes) {
  waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(next_));
  waiting_.insert(waiting_.begin(), bytes.begin(), bytes.end());
  next_ = 0;
}

std::optional<std::uint64_t> known_bytes(std::uint64_t bytes) {
  const bool near_31 = bytes >= 0x7fff0000u && bytes <= 0x7fffffffu;
  const bool near_32 = bytes >= 0xffff0000u && bytes <= 0xffffffffu;
  if (bytes == 0 || near_31 || near_32) return std::nullopt;
  return bytes;
}

// libsndfile counts with a sign.
std::optional<std::uint64_t> known_wide_bytes(std::uint64_t bytes) {
  if (bytes == 0 || bytes >= std::uint64_t{1} << 60) return std::nullopt;
  return bytes;
}

std::optional<WavStreamFormat> read_wav_header(PipeInput& input) {
  HeaderReader header(input);
  auto format = header.read();
  if (!format) input.put_back(header.seen());
  return format;
}

}  // namespace quel::tools
