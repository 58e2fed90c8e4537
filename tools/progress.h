#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace quel::tools {

/// One line on a terminal that tells how far the work is. Any number of threads may call.
class Progress {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  /// out    null where nothing is to be shown
  /// width  of the terminal in characters
  explicit Progress(std::ostream* out, std::size_t width = 80,
                    Clock clock = std::chrono::steady_clock::now);

  /// Before the work: its files, each with its size in any one unit, 0 where unknown.
  void plan(const std::vector<std::uint64_t>& sizes);

  void start(std::size_t file, const std::string& name);
  /// seconds  of sound done in this file
  /// share    of the file, 0..1
  void update(std::size_t file, double seconds, std::optional<double> share);
  /// Done or failed.
  void finish(std::size_t file);

  /// Wipes the line, so that a message can be written.
  void clear();

 private:
  struct File {
    std::uint64_t size = 0;
    double seconds = 0.0;
    std::optional<double> share = 0.0;
    bool done = false;
  };
  void show(const std::string& name, const File& file);
  std::string line(const std::string& name, const File& file, double elapsed) const;

  std::ostream* out_;
  std::size_t width_;
  Clock clock_;
  std::chrono::steady_clock::time_point start_, shown_;
  std::mutex mutex_;
  std::vector<File> files_;
  std::vector<std::string> names_;
  std::size_t done_ = 0;
  double seconds_ = 0.0;     // of sound, all files
  double done_size_ = 0.0;   // of what is done, in bytes
  double whole_size_ = 0.0;  // of all files, as far as known
  bool visible_ = false;
};

/// Standard error where it is a terminal and `quiet` is false, else null.
std::ostream* progress_stream(bool quiet);
std::size_t terminal_width();

/// 59 -> "0:59", 3600 -> "1:00:00".
std::string clock_text(double seconds);

}  // namespace quel::tools
