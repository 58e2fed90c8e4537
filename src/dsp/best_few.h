#pragma once

namespace quel {

/// Keeps the best few of many, best first; of equals the one that came first.
///
/// best    [0..places-1], of which `count` are there; `now` goes in where it belongs
/// places  how many to keep, >= 1
/// before  before(a, b): whether a is better than b. What it puts before nothing, as a merit that
///         is no number, is kept only while there are free places
///
/// Returns how many are there now.
template <typename Entry, typename Before>
int keep_best(Entry* best, int count, int places, const Entry& now, Before before) {
  if (count == places && !before(now, best[count - 1])) return count;
  int rank = count < places ? count++ : count - 1;
  for (; rank > 0 && before(now, best[rank - 1]); --rank) best[rank] = best[rank - 1];
  best[rank] = now;
  return count;
}

}  // namespace quel
