#include "tools/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <utility>

#include "tools/text.h"

namespace quel::tools {
namespace {

constexpr std::chrono::milliseconds between_lines(200);
constexpr std::size_t longest_name = 30;

/// The last characters of a name, whole ones in UTF-8.
std::string shortened(const std::string& name) {
  if (name.size() <= longest_name) return name;
  std::size_t from = name.size() - longest_name + 3;
  while (from < name.size() && (static_cast<unsigned char>(name[from]) & 0xc0) == 0x80) ++from;
  return std::string("...").append(name, from);
}

std::string percent_text(double share) {
  return std::to_string(static_cast<int>(100.0 * std::clamp(share, 0.0, 1.0))) + "%";
}

}  // namespace

Progress::Progress(std::ostream* out, std::size_t width, Clock clock)
    : out_(out), width_(width), clock_(std::move(clock)), start_(clock_()), shown_(start_) {}

void Progress::plan(const std::vector<std::uint64_t>& sizes) {
  const std::lock_guard lock(mutex_);
  files_.assign(sizes.size(), {});
  names_.assign(sizes.size(), {});
  whole_size_ = 0.0;
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    files_[i].size = sizes[i];
    whole_size_ += static_cast<double>(sizes[i]);
  }
}

void Progress::start(std::size_t file, const std::string& name) {
  const std::lock_guard lock(mutex_);
  names_[file] = shortened(printable(std::filesystem::path(name).filename().string()));
}

void Progress::update(std::size_t file, double seconds, std::optional<double> share) {
  const std::lock_guard lock(mutex_);
  File& f = files_[file];
  seconds_ += seconds - f.seconds;
  done_size_ += (share.value_or(0.0) - f.share.value_or(0.0)) * static_cast<double>(f.size);
  f.seconds = seconds;
  f.share = share;
  show(names_[file], f);
}

void Progress::finish(std::size_t file) {
  const std::lock_guard lock(mutex_);
  File& f = files_[file];
  if (std::exchange(f.done, true)) return;
  ++done_;
  done_size_ += (1.0 - f.share.value_or(0.0)) * static_cast<double>(f.size);
  f.share = 1.0;
  show(names_[file], f);
}

void Progress::clear() {
  const std::lock_guard lock(mutex_);
  if (visible_) *out_ << "\r\x1b[K" << std::flush;
  visible_ = false;
}

void Progress::show(const std::string& name, const File& file) {
  if (out_ == nullptr) return;
  const auto now = clock_();
  if (now - shown_ < between_lines) return;
  shown_ = now;
  visible_ = true;
  std::string text = line(name, file, std::chrono::duration<double>(now - start_).count());
  if (text.size() >= width_) {
    std::size_t end = width_ - 1;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
    text.resize(end);
  }
  *out_ << '\r' << text << "\x1b[K" << std::flush;
}

std::string Progress::line(const std::string& name, const File& file, double elapsed) const {
  std::string text;
  const double whole_share = whole_size_ > 0.0 ? done_size_ / whole_size_ : 0.0;
  if (files_.size() > 1) {
    text = std::to_string(done_) + "/" + std::to_string(files_.size()) + " files " +
           percent_text(whole_share) + ", ";
  }
  text += name + ": ";
  text += file.share && file.size > 0 ? percent_text(*file.share) : clock_text(file.seconds);
  if (elapsed > 0.0) {
    text += ", " + std::to_string(std::lround(seconds_ / elapsed)) + " x real time";
  }
  if (whole_share > 0.0) {
    const double left = elapsed * std::max(0.0, 1.0 - whole_share) / whole_share;
    text += ", " + clock_text(left) + " left";
  }
  return text;
}

std::ostream* progress_stream(bool quiet) {
  return !quiet && isatty(STDERR_FILENO) != 0 ? &std::cerr : nullptr;
}

std::size_t terminal_width() {
  winsize size{};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col >= 20;
  return known ? size.ws_col : 80;
}

std::string clock_text(double seconds) {
  const long whole = std::lround(seconds);
  const auto two = [](long n) { return std::to_string(100 + n).substr(1); };
  const std::string end = two(whole % 60);
  if (whole < 3600) return std::to_string(whole / 60) + ":" + end;
  return std::to_string(whole / 3600) + ":" + two(whole / 60 % 60) + ":" + end;
}

}  // namespace quel::tools
