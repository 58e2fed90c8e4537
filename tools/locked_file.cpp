#include "tools/locked_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "tools/file_error.h"

namespace quel::tools {

namespace fs = std::filesystem;

LockedFile::LockedFile(fs::path path, const std::string& name, const std::string& rival)
    : path_(std::move(path)) {
  // A run that ends between our opening and our locking takes the name away with it. It does so a
  // few times at most, unless the file system gives a file other numbers each time.
  for (int tries = 0; tries < 100; ++tries) {
    descriptor_.reset();
    struct stat status {};
    if (lstat(path_.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
      throw FileError(path_, "not a regular file");
    }
    descriptor_.value = open(path_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (descriptor() < 0) throw FileError(name, std::strerror(errno));
    const bool locked = flock(descriptor(), LOCK_EX | LOCK_NB) == 0;
    if (!locked && errno == EWOULDBLOCK) break;
    if (!in_place()) continue;
    if (fstat(descriptor(), &status) != 0) throw FileError(name, std::strerror(errno));
    if (status.st_nlink > 1) throw FileError(path_, "has a second name, whose bytes would be lost");
    return;
  }
  throw FileError(name, rival);
}

LockedFile::~LockedFile() {
  struct stat status {};
  if (fstat(descriptor(), &status) == 0 && status.st_size == 0) remove();
}

bool LockedFile::in_place() const {
  struct stat named {
  }, opened{};
  return lstat(path_.c_str(), &named) == 0 && fstat(descriptor(), &opened) == 0 &&
         named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

void LockedFile::remove() {
  std::error_code ignored;
  if (in_place()) fs::remove(path_, ignored);
}

void LockedFile::Descriptor::reset() {
  if (value >= 0) close(value);
  value = -1;
}

}  // namespace quel::tools
