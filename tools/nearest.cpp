#include "tools/nearest.h"

#include <algorithm>

namespace quel::tools {

std::size_t edit_distance(const std::string& a, const std::string& b) {
  const std::size_t columns = b.size() + 1;
  std::vector<std::size_t> table((a.size() + 1) * columns);
  const auto at = [&](std::size_t i, std::size_t j) -> std::size_t& {
    return table[i * columns + j];
  };
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        at(i, j) = i + j;
        continue;
      }
      const std::size_t replaced = at(i - 1, j - 1) + (a[i - 1] == b[j - 1] ? 0 : 1);
      at(i, j) = std::min({at(i - 1, j) + 1, at(i, j - 1) + 1, replaced});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) at(i, j) = std::min(at(i, j), at(i - 2, j - 2) + 1);
    }
  }
  return at(a.size(), b.size());
}

std::string nearest(const std::string& typed, const std::vector<std::string>& words) {
  std::string best;
  std::size_t least = 0;
  for (const std::string& word : words) {
    const std::size_t distance = edit_distance(typed, word);
    if (distance > std::max<std::size_t>(1, word.size() / 3)) continue;
    if (!best.empty() && distance >= least) continue;
    best = word;
    least = distance;
  }
  return best;
}

}  // namespace quel::tools
