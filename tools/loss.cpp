#include "tools/loss.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include "tools/file_error.h"

namespace quel::tools {

LossPattern LossPattern::bursts(double percent, double run, std::uint64_t seed) {
  LossPattern pattern(percent, seed);
  pattern.run_ = run;
  return pattern;
}

LossPattern LossPattern::listed(std::vector<bool> lost) {
  LossPattern pattern;
  pattern.listed_ = std::move(lost);
  return pattern;
}

bool LossPattern::lost() {
  if (!listed_.empty()) {
    const bool lost = listed_[next_];
    next_ = (next_ + 1) % listed_.size();
    return lost;
  }
  const double drawn = uniform();
  if (run_ == 0.0 || !started_ || share_ >= 1.0) {
    started_ = true;
    in_run_ = drawn < share_;
  } else if (in_run_) {
    in_run_ = drawn >= 1.0 / run_;
  } else {
    in_run_ = drawn < share_ / (run_ * (1.0 - share_));
  }
  return in_run_;
}

// Sebastiano Vigna's SplitMix64 (2015): every seed serves, 0 included.
double LossPattern::uniform() {
  state_ += 0x9e3779b97f4a7c15u;
  std::uint64_t z = state_;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  z ^= z >> 31;
  return 0x1p-53 * static_cast<double>(z >> 11);
}

double shortest_run(double percent) {
  if (percent >= 100.0) return 1.0;
  return std::max(1.0, percent / (100.0 - percent));
}

std::vector<bool> read_losses(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw FileError(path, std::strerror(errno));
  std::vector<bool> lost;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    for (const char c : line.substr(0, line.find('#'))) {
      if (c == '0' || c == '1') {
        lost.push_back(c == '1');
      } else if (c != ' ' && c != '\t' && c != '\r') {
        throw FileError(path, "line " + std::to_string(number) + " has '" + c +
                                  "' where 0 (received) or 1 (lost) is due");
      }
    }
  }
  if (file.bad()) throw FileError(path, std::strerror(errno));
  if (lost.empty()) throw FileError(path, "tells of no frame");
  return lost;
}

}  // namespace quel::tools
