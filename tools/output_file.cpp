#include "tools/output_file.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include "tools/file_error.h"

namespace quel::tools {

namespace fs = std::filesystem;

OutputFile::OutputFile(const std::string& name, bool force, const std::string& input)
    : name_(name), target_(name), force_(force) {
  std::error_code error;
  if (const fs::path resolved = fs::canonical(target_, error); !error) target_ = resolved;
  refuse_existing();
  part_ = target_;
  part_ += ".part";
  if (fs::equivalent(part_, input, error)) {
    throw FileError(name_, "writing it would overwrite the input " + input);
  }
  file_ = std::fopen(part_.c_str(), "wb");
  if (file_ == nullptr) fail(errno);
}

OutputFile::~OutputFile() {
  if (file_ == nullptr) return;
  std::fclose(file_);
  std::error_code ignored;
  fs::remove(part_, ignored);
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) fail(errno);
}

void OutputFile::rewrite_start(std::span<const std::uint8_t> bytes) {
  if (std::fseek(file_, 0, SEEK_SET) != 0) fail(errno);
  write(bytes);
  if (std::fseek(file_, 0, SEEK_END) != 0) fail(errno);
}

void OutputFile::commit() {
  if (std::fflush(file_) != 0) fail(errno);
  refuse_existing();
  // Some file systems report a failed write only here; the part is then of no use.
  const int closed = std::fclose(file_);
  const int error = errno;
  file_ = nullptr;
  std::error_code renaming;
  if (closed == 0) fs::rename(part_, target_, renaming);
  if (closed == 0 && !renaming) return;
  std::error_code ignored;
  fs::remove(part_, ignored);
  if (closed != 0) fail(error);
  throw FileError(name_, renaming.message());
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
