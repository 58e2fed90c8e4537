#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// The search for the pair of largest num / den by guess and proof. In order, row by row, it takes
/// a pair e where den_now * num_e - num_now * den_e > 0, starting from num -1 and den 1. So it ends
/// with w if w would be taken after the start and after every pair before it, and no pair behind it
/// would be taken after w. The guess is the largest quotient; the proof tries both for all pairs.
///
/// V  a register of T, whose lanes lie across columns
template <typename V, typename T, int max_rows, int columns>
struct PairSearch {
  static constexpr int width = static_cast<int>(sizeof(V) / sizeof(T));
  static constexpr int parts = columns / width;
  static_assert(parts * width == columns);

  T num[max_rows][columns];
  T den[max_rows][columns];
  V best_num[parts], best_den[parts], best_row[parts];  // of each column
  int rows = 0;
  int row = 0, column = 0;  // the pair found

  __attribute__((always_inline)) PairSearch() {
    for (int p = 0; p < parts; ++p) {
      best_num[p] = splat<V>(T{-1});
      best_den[p] = splat<V>(T{1});
      best_row[p] = V{};
    }
  }

  /// Columns p * width and following of the row in work.
  __attribute__((always_inline)) void put(int p, V n, V d) {
    store(num[rows] + p * width, n);
    store(den[rows] + p * width, d);
    const auto taken = best_den[p] * n - best_num[p] * d > V{};
    best_num[p] = taken ? n : best_num[p];
    best_den[p] = taken ? d : best_den[p];
    best_row[p] = taken ? splat<V>(static_cast<T>(rows)) : best_row[p];
  }

  /// False where the guess does not prove right.
  __attribute__((always_inline)) bool find() {
    if (rows == 0) return false;
    guess();
    if (search_spoiled()) column = (column + 5) % columns;
    return is_proved();
  }

  __attribute__((always_inline)) void guess() {
    T quotient[columns], in_row[columns];
    for (int p = 0; p < parts; ++p) {
      store(quotient + p * width, best_num[p] / best_den[p]);
      store(in_row + p * width, best_row[p]);
    }
    T largest = quotient[0], first = in_row[0];
    column = 0;
    for (int j = 1; j < columns; ++j) {
      // Of equal quotients the first row's counts.
      const bool better = (quotient[j] > largest) |
                          (static_cast<int>(quotient[j] == largest) & (in_row[j] < first));
      largest = better ? quotient[j] : largest;
      first = better ? in_row[j] : first;
      column = better ? j : column;
    }
    row = static_cast<int>(first);
  }

  __attribute__((always_inline)) bool is_proved() const {
    const T num_w = num[row][column], den_w = den[row][column];
    if (!(num_w + den_w > T{0})) return false;
    const V n_w = splat<V>(num_w), d_w = splat<V>(den_w);
    T order[columns];
    for (int j = 0; j < columns; ++j) order[j] = static_cast<T>(j);
    decltype(V{} < V{}) wrong{};
    for (int p = 0; p < parts; ++p) {
      const auto not_after = [&](int r) __attribute__((always_inline)) {
        return ~(load<V>(den[r] + p * width) * n_w - load<V>(num[r] + p * width) * d_w > V{});
      };
      const auto beats = [&](int r) __attribute__((always_inline)) {
        return d_w * load<V>(num[r] + p * width) - n_w * load<V>(den[r] + p * width) > V{};
      };
      for (int r = 0; r < row; ++r) wrong |= not_after(r);
      const V place = load<V>(order + p * width);
      const V own = splat<V>(static_cast<T>(column));
      wrong |= (not_after(row) & (place < own)) | (beats(row) & (place > own));
      for (int r = row + 1; r < rows; ++r) wrong |= beats(r);
    }
    bool any = false;
    for (int l = 0; l < width; ++l) any = any || wrong[l] != 0;
    return !any;
  }
};

}  // namespace quel::QUEL_SET
