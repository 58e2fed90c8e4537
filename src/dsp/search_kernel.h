#pragma once

#include "dsp/across_lanes.h"
#include "dsp/lanes.h"

namespace quel::QUEL_SET {

/// Of n / d and other_n / other_d the larger one, lane by lane, where the denominators are
/// positive.
template <typename V>
QUEL_INLINE void take_larger(V& n, V& d, V other_n, V other_d) {
  const V with = d * other_n, without = n * other_d;
  n = with > without ? other_n : n;
  d = with > without ? other_d : d;
}

/// The largest n / d of all lanes, in lane 0.
template <typename V, typename T>
QUEL_INLINE void take_largest(V n, V d, T& largest_n, T& largest_d) {
  if constexpr (sizeof(V) > 16) {
    auto low_n = low_half(n), low_d = low_half(d);
    take_larger(low_n, low_d, high_half(n), high_half(d));
    take_largest(low_n, low_d, largest_n, largest_d);
  } else {
    take_larger(n, d, swapped_halves(n), swapped_halves(d));
    if constexpr (width_of<V> == 4) {
      take_larger(n, d, swapped_neighbours(n), swapped_neighbours(d));
    }
    largest_n = n[0];
    largest_d = d[0];
  }
}

/// The search for the pair of largest num / den by guess and proof. In order, row by row, it takes
/// a pair e where den_now * num_e - num_now * den_e > 0, starting from num -1 and den 1. So it ends
/// with w if w would be taken after the start and after every pair before it, and no pair behind it
/// would be taken after w. A difference is above 0 where its first term is the larger, so the terms
/// are compared: e beats w where num_e * den_w > den_e * num_w, and w beats e the other way round.
/// The guess is the largest quotient, whichever way the lanes come to it. No pair may beat it; then
/// the search ends with the first pair that it does not beat, if that is one of the same num and
/// den, itself or its equal.
///
/// V  a register of T, whose lanes lie across columns
///
/// A search first lists its rows, without branches, which would go either way at random.
template <typename V, typename T, int max_rows, int columns>
struct PairSearch {
  static constexpr int width = width_of<V>;
  static constexpr int parts = columns / width;
  static_assert(parts * width == columns && columns < 32);

  T num[max_rows][columns];
  T den[max_rows][columns];
  V most_num, most_den;  // the largest of the lanes' columns
  T num_w, den_w;        // the guess
  int row, column;       // the pair found

  /// All of it: false where there is no row or no guess proves right. Several searches side by side
  /// take the steps by turns, since each waits for itself.
  ///
  /// pair  (row, part, n, d) gives the columns part * width and following of a row
  template <typename Pair>
  QUEL_MEMBER bool find(int rows, bool spoil, Pair pair) {
    if (rows == 0) return false;
    list(rows, pair);
    guess(spoil);
    return prove(rows);
  }

  /// Lists rows 0..rows-1.
  template <typename Pair>
  QUEL_MEMBER void list(int rows, Pair pair) {
    for (int p = 0; p < parts; ++p) {
      V n = splat<V>(T{-1}), d = splat<V>(T{1});
      for (int r = 0; r < rows; ++r) {
        V row_n, row_d;
        pair(r, p, row_n, row_d);
        store(num[r] + p * width, row_n);
        store(den[r] + p * width, row_d);
        take_larger(n, d, row_n, row_d);
      }
      if (p > 0) take_larger(n, d, most_num, most_den);
      most_num = n;
      most_den = d;
    }
  }

  QUEL_MEMBER void guess(bool spoil) {
    take_largest(most_num, most_den, num_w, den_w);
    if (!spoil) return;
    num_w = num[0][5];
    den_w = den[0][5];
  }

  /// Where others equal the guess, the first of them may be another: then that one is tried. No
  /// loop over the tries may be unrolled; the proof is long.
  QUEL_MEMBER bool prove(int rows) {
    for (bool again = false;; again = true) {
      if (is_proved(rows)) return true;
      if (again) return false;
      num_w = num[row][column];
      den_w = den[row][column];
    }
  }

  /// Sets row and column to the first pair that w does not beat.
  QUEL_MEMBER bool is_proved(int rows) {
    const V n_w = splat<V>(num_w), d_w = splat<V>(den_w);
    unsigned beaten = 0, first = 0;
    for (int r = rows - 1; r >= 0; --r) {
      unsigned lost = 0;
      for (int p = 0; p < parts; ++p) {
        const V of_w = load<V>(den[r] + p * width) * n_w, of_e = load<V>(num[r] + p * width) * d_w;
        beaten |= greater(of_e, of_w);
        lost |= greater(of_w, of_e) << (p * width);
      }
      const unsigned even = ~lost & ((1u << columns) - 1);
      const unsigned place = static_cast<unsigned>(r * columns + __builtin_ctz(even | 1u << 31));
      first = even != 0 ? place : first;
    }
    row = static_cast<int>(first / columns);
    column = static_cast<int>(first % columns);
    return beaten == 0 && num[row][column] == num_w && den[row][column] == den_w &&
           num_w + den_w > T{0};
  }
};

}  // namespace quel::QUEL_SET
