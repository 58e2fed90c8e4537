#include "tools/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "tools/file_error.h"
#include "tools/part_mark.h"

namespace quel::tools {

namespace fs = std::filesystem;

namespace {

/// What stdio would take makes a call to the system for a tenth of a second of sound.
constexpr std::size_t buffer_bytes = 1 << 16;

/// Whether two names or descriptors lead to one regular file; of devices and pipes both may be had.
bool is_one_file(const struct stat& a, const struct stat& b) {
  return S_ISREG(a.st_mode) && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// What a name leads to, there or not; links in folders before it are the system's affair.
fs::path behind_links(const std::string& name) {
  fs::path path = name;
  std::error_code unknown;
  if (fs::exists(path, unknown)) {
    // The links of /proc lead to pipes that have no path.
    const fs::path resolved = fs::canonical(path, unknown);
    return unknown ? path : resolved;
  }
  for (int links = 0; fs::is_symlink(fs::symlink_status(path, unknown)); ++links) {
    if (links == 40) throw FileError(name, std::strerror(ELOOP));  // as the system counts
    path = path.parent_path() / fs::read_symlink(path, unknown);
  }
  return path;
}

bool stat_input(const std::string& input, struct stat& status) {
  if (input == "-") return fstat(STDIN_FILENO, &status) == 0;
  return stat(input.c_str(), &status) == 0;
}

}  // namespace

fs::path output_place(const std::string& name) {
  std::error_code error;
  const fs::path path = fs::absolute(behind_links(name), error);
  if (error) return name;
  const fs::path place = fs::weakly_canonical(path, error);
  return error ? path.lexically_normal() : place;
}

OutputFile::OutputFile(const std::string& name, bool force, const std::string& input)
    : name_(name), force_(force) {
  if (name.empty()) throw std::invalid_argument("the output has an empty name");
  if (name == "-" || name == "/dev/stdout" || name == "/dev/fd/1") {
    open_standard_output(input);
    return;
  }
  target_ = behind_links(name);
  if (open_device()) return;
  part_ = target_;
  part_ += ".part";
  refuse_input(input);
  refuse_existing();
  lock_.emplace(part_, name_, "another run is writing it");
  refuse_foreign_part();
  struct stat read {};
  const bool again = !stat_input(input, read) || S_ISREG(read.st_mode);
  unfinished_.emplace(part_.string(), lock_->descriptor(),
                      again ? "" : "with what came so far, since its input cannot be read again");
  // A second descriptor, since the lock must outlive the closing that precedes the naming.
  const int own = fcntl(lock_->descriptor(), F_DUPFD_CLOEXEC, 0);
  if (own < 0) fail(errno);
  file_ = fdopen(own, "r+b");
  if (file_ == nullptr) {
    close(own);
    fail(ENOMEM);
  }
  buffer_ = std::make_unique_for_overwrite<char[]>(buffer_bytes);
  std::setvbuf(file_, buffer_.get(), _IOFBF, buffer_bytes);
}

void OutputFile::refuse_input(const std::string& input) const {
  struct stat read {
  }, written{};
  if (!stat_input(input, read)) return;
  if (stat(target_.c_str(), &written) == 0 && is_one_file(read, written)) {
    throw FileError(name_, "is the input; the output needs another name");
  }
  if (stat(part_.c_str(), &written) == 0 && is_one_file(read, written)) {
    throw FileError(name_, "writing it would overwrite the input " + shown(input));
  }
}

void OutputFile::open_standard_output(const std::string& input) {
  name_ = "standard output";
  if (isatty(STDOUT_FILENO) != 0) {
    throw FileError(name_, "is a terminal; name a file or a pipe");
  }
  file_ = stdout;
  struct stat status {
  }, read{};
  const bool regular = fstat(STDOUT_FILENO, &status) == 0 && S_ISREG(status.st_mode);
  if (regular && stat_input(input, read) && is_one_file(read, status)) {
    throw FileError(name_, "is the input; the output needs another name");
  }
  live_ = !regular;
  const bool appends = (fcntl(STDOUT_FILENO, F_GETFL) & O_APPEND) != 0;
  start_ = regular && !appends ? std::ftell(stdout) : -1;
  seekable_ = start_ >= 0;
}

// What has no end of its own to wait for gets everything as it comes.
bool OutputFile::open_device() {
  struct stat status {};
  if (stat(target_.c_str(), &status) != 0) return false;
  if (!S_ISCHR(status.st_mode) && !S_ISFIFO(status.st_mode) && !S_ISSOCK(status.st_mode)) {
    return false;
  }
  const int own = open(target_.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
  if (own < 0) fail(errno);
  if (isatty(own) != 0) {
    close(own);
    throw FileError(name_, "is a terminal; name a file or a pipe");
  }
  file_ = fdopen(own, "wb");
  if (file_ == nullptr) {
    close(own);
    fail(ENOMEM);
  }
  start_ = -1;
  seekable_ = false;
  live_ = true;
  return true;
}

OutputFile::~OutputFile() {
  unfinished_.reset();
  if (file_ == stdout) return;
  if (file_ != nullptr) std::fclose(file_);
  if (lock_ && begun_) lock_->remove();
}

void OutputFile::refuse_another_part() const {
  if (!lock_->in_place()) throw FileError(part_, "was taken away while it was being written");
}

// Somebody else's download, say, has such a name too.
void OutputFile::refuse_foreign_part() const {
  struct stat status {};
  if (fstat(lock_->descriptor(), &status) != 0) fail(errno);
  if (status.st_size == 0 || is_marked(lock_->descriptor())) return;
  throw FileError(part_,
                  "is there already, and quel did not make it; the output needs another name");
}

void OutputFile::begin() {
  if (begun_ || !lock_) return;
  refuse_another_part();
  refuse_foreign_part();
  mark(lock_->descriptor());
  unfinished_->begin();
  if (ftruncate(lock_->descriptor(), 0) != 0) fail(errno);
  begun_ = true;
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
  begin();
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) fail(errno);
}

void OutputFile::flush() {
  if (std::fflush(file_) != 0) fail(errno);
}

void OutputFile::seek(std::uint64_t offset) {
  begin();
  if (std::fseek(file_, start_ + static_cast<long>(offset), SEEK_SET) != 0) fail(errno);
}

void OutputFile::rewrite_start(std::span<const std::uint8_t> bytes) {
  const long end = std::ftell(file_);
  if (end < 0) fail(errno);
  seek(0);
  write(bytes);
  if (std::fseek(file_, end, SEEK_SET) != 0) fail(errno);
}

void OutputFile::insert(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  const long end = std::ftell(file_);
  if (end < 0) fail(errno);
  std::vector<std::uint8_t> piece;
  // From the end, so that nothing is written over before it has moved.
  for (auto at = static_cast<std::uint64_t>(end); at > offset;) {
    piece.resize(static_cast<std::size_t>(std::min<std::uint64_t>(at - offset, 1 << 20)));
    at -= piece.size();
    seek(at);
    if (std::fread(piece.data(), 1, piece.size(), file_) != piece.size()) fail(errno);
    seek(at + bytes.size());
    write(piece);
  }
  seek(offset);
  write(bytes);
  seek(static_cast<std::uint64_t>(end) + bytes.size());
}

void OutputFile::commit() {
  begin();
  flush();
  if (file_ == stdout) return;
  if (!lock_) {
    if (std::fclose(std::exchange(file_, nullptr)) != 0) fail(errno);
    return;
  }
  // Some file systems report a failed write only here.
  if (std::fclose(std::exchange(file_, nullptr)) != 0) fail(errno);
  if (!held_back_) release();
}

void OutputFile::release() {
  if (!lock_) return;
  refuse_existing();
  refuse_another_part();
  std::error_code error;
  fs::rename(part_, target_, error);
  if (error) throw FileError(name_, error.message());
  // Behind it: a run that is killed between the two leaves a mark on what is done, which nobody
  // asks for there, and not a file that the next run takes for somebody else's.
  unmark(lock_->descriptor());
  unfinished_.reset();
  lock_.reset();
}

void OutputFile::fail(int error) const {
  throw FileError(name_, std::strerror(error));
}

void OutputFile::refuse_existing() const {
  std::error_code error;
  const fs::file_status status = fs::status(target_, error);
  if (!fs::exists(status)) return;
  if (!fs::is_regular_file(status)) throw FileError(name_, "not a regular file");
  if (!force_) throw FileError(name_, "exists already (--force replaces it)");
}

}  // namespace quel::tools
