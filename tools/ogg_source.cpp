#include "tools/ogg_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/file_error.h"

namespace quel::tools {

FileSource::FileSource(const std::string& path) : path_(path), descriptor_(STDIN_FILENO) {
  if (path_ == "-") return;
  descriptor_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor_ < 0) throw FileError(path_, std::strerror(errno));
  struct stat status {};
  seekable_ = fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
}

FileSource::~FileSource() {
  if (descriptor_ != STDIN_FILENO) close(descriptor_);
}

std::size_t FileSource::read(std::span<std::uint8_t> bytes) {
  // Not through stdio, which waits until its buffer is full: a live pipe is heard as it comes.
  for (;;) {
    const ssize_t count = ::read(descriptor_, bytes.data(), bytes.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) throw FileError(path_, std::strerror(errno));
  }
}

void FileSource::seek(std::uint64_t offset) {
  if (lseek(descriptor_, static_cast<off_t>(offset), SEEK_SET) < 0) {
    throw FileError(path_, std::strerror(errno));
  }
}

std::size_t MemorySource::read(std::span<std::uint8_t> bytes) {
  const std::size_t count = std::min(bytes.size(), bytes_.size() - next_);
  std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(next_), count, bytes.begin());
  next_ += count;
  return count;
}

void MemorySource::seek(std::uint64_t offset) {
  next_ = static_cast<std::size_t>(std::min<std::uint64_t>(offset, bytes_.size()));
}

}  // namespace quel::tools
