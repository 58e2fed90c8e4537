#include "tools/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

#include "tools/file_error.h"

namespace quel::tools {

namespace fs = std::filesystem;

OutputFile::OutputFile(const std::string& name, bool force, const std::string& input)
    : name_(name), target_(name), force_(force) {
  if (name == "-") {
    open_standard_output();
    return;
  }
  std::error_code error;
  if (const fs::path resolved = fs::canonical(target_, error); !error) target_ = resolved;
  refuse_existing();
  part_ = target_;
  part_ += ".part";
  if (fs::equivalent(part_, input, error)) {
    throw FileError(name_, "writing it would overwrite the input " + input);
  }
  file_ = std::fopen(part_.c_str(), "w+b");
  if (file_ == nullptr) {
    part_.clear();
    fail(errno);
  }
}

void OutputFile::open_standard_output() {
  name_ = "standard output";
  if (isatty(STDOUT_FILENO) != 0) {
    throw FileError(name_, "is a terminal; name a file or a pipe");
  }
  file_ = stdout;
  struct stat status {};
  const bool regular = fstat(STDOUT_FILENO, &status) == 0 && S_ISREG(status.st_mode);
  const bool appends = (fcntl(STDOUT_FILENO, F_GETFL) & O_APPEND) != 0;
  start_ = regular && !appends ? std::ftell(stdout) : -1;
  seekable_ = start_ >= 0;
}

OutputFile::~OutputFile() {
  if (file_ == stdout) return;
  if (file_ != nullptr) std::fclose(file_);
  remove_part();
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) fail(errno);
}

void OutputFile::flush() {
  if (std::fflush(file_) != 0) fail(errno);
}

void OutputFile::seek(std::uint64_t offset) {
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
  flush();
  if (file_ == stdout) return;
  // Some file systems report a failed write only here; the part is then of no use.
  if (std::fclose(std::exchange(file_, nullptr)) != 0) {
    const int error = errno;
    remove_part();
    fail(error);
  }
  if (!held_back_) release();
}

void OutputFile::release() {
  refuse_existing();
  std::error_code error;
  fs::rename(part_, target_, error);
  if (error) throw FileError(name_, error.message());
  part_.clear();
}

void OutputFile::remove_part() {
  std::error_code ignored;
  if (!part_.empty()) fs::remove(part_, ignored);
  part_.clear();
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
