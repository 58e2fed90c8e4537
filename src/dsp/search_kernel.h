#pragma once

#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// The search for the pair of largest num / den by guess and proof. In order, row by row, it takes
/// a pair e where den_now * num_e - num_now * den_e > 0, starting from num -1 and den 1. So it ends
/// with w if w would be taken after the start and after every pair before it, and no pair behind it
/// would be taken after w. The guess is the largest quotient; the proof tries both for all pairs.
///
/// V  a register of T, whose lanes lie across columns
///
/// A search first lists its rows, without branches, which would go either way at random.
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

  // Of equal quotients the first row's counts, then the first column's.
  __attribute__((always_inline)) void guess() {
    T place[columns];
    for (int j = 0; j < columns; ++j) place[j] = static_cast<T>(j);
    V q = best_num[0] / best_den[0], in_row = best_row[0], in_column = load<V>(place);
    for (int p = 1; p < parts; ++p) {
      const V other = best_num[p] / best_den[p];
      const auto better = (other > q) | ((other == q) & (best_row[p] < in_row));
      q = better ? other : q;
      in_row = better ? best_row[p] : in_row;
      in_column = better ? load<V>(place + p * width) : in_column;
    }
    T largest = q[0], first = in_row[0] * columns + in_column[0];
    for (int l = 1; l < width; ++l) {
      const T at = in_row[l] * columns + in_column[l];
      const bool better = (q[l] > largest) | (static_cast<int>(q[l] == largest) & (at < first));
      largest = better ? q[l] : largest;
      first = better ? at : first;
    }
    row = static_cast<int>(first) / columns;
    column = static_cast<int>(first) % columns;
  }

  __attribute__((always_inline)) bool is_proved() const {
    const T num_w = num[row][column], den_w = den[row][column];
    if (!(num_w + den_w > T{0})) return false;
    const V n_w = splat<V>(num_w), d_w = splat<V>(den_w);
    T order[columns];
    for (int j = 0; j < columns; ++j) order[j] = static_cast<T>(j - column);
    decltype(V{} < V{}) wrong{};
    // Both tests for every pair and a choice by its place: branches would guess wrong more slowly.
    T row_place = static_cast<T>(-row * columns);
    for (int r = 0; r < rows; ++r) {
      for (int p = 0; p < parts; ++p) {
        const V n = load<V>(num[r] + p * width), d = load<V>(den[r] + p * width);
        const V place = load<V>(order + p * width) + splat<V>(row_place);
        wrong |= (~(d * n_w - n * d_w > V{}) & (place < V{})) |
                 ((d_w * n - n_w * d > V{}) & (place > V{}));
      }
      row_place += static_cast<T>(columns);
    }
    long long any = 0;
    for (int l = 0; l < width; ++l) any |= wrong[l];
    return any == 0;
  }
};

}  // namespace quel::QUEL_SET
