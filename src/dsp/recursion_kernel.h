#pragma once

#include "dsp/lanes.h"

// Parts of which the kernels of recursive filters are made. Such a filter mostly waits for its last
// output, so a part guesses four outputs at a time, and what else there is to do happens meanwhile.
// It proves sixteen at a time: all again in the written order, side by side, from the guessed past.
// Equal bits from the first output on mean, by induction, that the guess is what the plain
// recursion gives.
namespace quel::QUEL_SET {

namespace recursion {

constexpr int block = 4;   // outputs guessed in a row
constexpr int group = 16;  // outputs proved side by side
constexpr int parts = group / lanes;

/// One double in a register of two, whose other half nobody looks at. There integers can be
/// computed with its bits.
using One = Lanes<2>::Double;
typedef long long OneBits __attribute__((vector_size(16)));

/// Four doubles, and four ones.
#if QUEL_LANES == 2
struct Block {
  One low, high;
};
QUEL_INLINE Block load_block(const float* x) {
  return {widen(load<Half>(x)), widen(load<Half>(x + 2))};
}
QUEL_INLINE Block load_block(const double* x) {
  return {load<One>(x), load<One>(x + 2)};
}
QUEL_INLINE void store_block(double* x, Block b) {
  store(x, b.low);
  store(x + 2, b.high);
}
QUEL_INLINE Block block_of(One low, One high) {
  return {low, high};
}
QUEL_INLINE One low_of(Block b) {
  return b.low;
}
QUEL_INLINE One high_of(Block b) {
  return b.high;
}
QUEL_INLINE Block add_to_block(Block sum, Block x, double y) {
  return {add_exact(sum.low, x.low, splat<One>(y)), add_exact(sum.high, x.high, splat<One>(y))};
}
QUEL_INLINE Block operator-(Block b) {
  return {-b.low, -b.high};
}
/// The last `late` of a, then the first of b.
template <int late>
QUEL_INLINE Block joined(Block a, Block b) {
  if constexpr (late == 2) return {a.high, b.low};
  return {__builtin_shufflevector(a.high, b.low, 1, 2),
          __builtin_shufflevector(b.low, b.high, 1, 2)};
}
#else
using Block = Lanes<4>::Double;
QUEL_INLINE Block load_block(const float* x) {
#if defined(__AVX__)
  return _mm256_cvtps_pd(load<Lanes<4>::Float>(x));
#else
  return __builtin_convertvector(load<Lanes<4>::Float>(x), Block);
#endif
}
QUEL_INLINE Block load_block(const double* x) {
  return load<Block>(x);
}
QUEL_INLINE void store_block(double* x, Block b) {
  store(x, b);
}
QUEL_INLINE Block block_of(One low, One high) {
  return __builtin_shufflevector(low, high, 0, 1, 2, 3);
}
QUEL_INLINE One low_of(Block b) {
  return __builtin_shufflevector(b, b, 0, 1);
}
QUEL_INLINE One high_of(Block b) {
  return __builtin_shufflevector(b, b, 2, 3);
}
QUEL_INLINE Block add_to_block(Block sum, Block x, double y) {
  return add_exact(sum, x, splat<Block>(y));
}
template <int late>
QUEL_INLINE Block joined(Block a, Block b) {
  return __builtin_shufflevector(a, b, 4 - late, 5 - late, 6 - late, 7 - late);
}
#endif

struct Ones {
  One x[block];
};

QUEL_INLINE Ones taken_apart(Block b) {
  const One low = low_of(b), high = high_of(b);
  return {{low, __builtin_shufflevector(low, low, 1, 1), high,
           __builtin_shufflevector(high, high, 1, 1)}};
}

QUEL_INLINE Block put_together(const Ones& y) {
  return block_of(__builtin_shufflevector(y.x[0], y.x[1], 0, 2),
                  __builtin_shufflevector(y.x[2], y.x[3], 0, 2));
}

/// x rounded to float. `careful` is always right. The other way is the shortest there is, an
/// addition and a mask of its bits, and wrong for some ties and for what is no normal float.
template <bool careful>
QUEL_INLINE One rounded_one(One x) {
  if constexpr (careful) {
    return __builtin_convertvector(__builtin_convertvector(x, Lanes<2>::Float), One);
  } else {
    constexpr long long dropped = (1LL << 29) - 1;  // of 52 bits behind the point 23 stay
    const OneBits bits = __builtin_bit_cast(OneBits, x) + (dropped + 1) / 2;
    return __builtin_bit_cast(One, bits & ~dropped);
  }
}

/// Bits in which x, rounded to float, differs from y.
QUEL_INLINE Mask different_bits(Double x, Double y) {
  return __builtin_bit_cast(Mask, rounded(x)) ^ __builtin_bit_cast(Mask, y);
}

/// All-pole filter of order m. Where its input is another part's output, that has it as doubles.
template <int m>
class AllPole {
 public:
  /// a [0..m]; past [0..m-1] outputs before, oldest first.
  QUEL_MEMBER void start(const float* a, const float* past) {
    for (int k = 1; k + block - 1 <= m; ++k) store_block(minus_a_[k], -load_block(a + k));
    constexpr int whole = m - block + 1;  // behind a[m] stand zeros
    double tail[2 * block] = {};
    store_block(tail, -load_block(a + whole));
    for (int k = whole + 1; k <= m; ++k) store_block(minus_a_[k], load_block(tail + k - whole));
    int i = 0;
    for (; i + block <= m; i += block) store_block(past_and_y_ + i, load_block(past + i));
    if (i < m) store_block(past_and_y_ + m - block, load_block(past + m - block));
  }

  /// The last four outputs before the first.
  QUEL_MEMBER Ones last() const {
    return taken_apart(load_block(past_and_y_ + m - block));
  }

  /// Outputs n to n + 3, where `last` are those before. From one to the next there is a product, a
  /// sum and the rounding, no more: products with older outputs are added up before, and those from
  /// before the block for all four at once.
  template <bool careful>
  QUEL_MEMBER Ones guess(int n, Block x, const Ones& last) {
    double* y = outputs() + n;
    for (int k = m; k >= 4; --k) x = add_to_block(x, load_block(minus_a_[k]), y[-k]);
    for (int k = 3; k >= 2; --k) {
      x = add_to_block(x, load_block(minus_a_[k]), last.x[block - k][0]);
    }
    Ones sum = taken_apart(x);
    for (int j = 0; j < block; ++j) {
      for (int i = j + 1; i >= 1; --i) {
        const One before = i > j ? last.x[block - 1] : sum.x[j - i];
        sum.x[j] = add_exact(sum.x[j], load<One>(minus_a_[i]), before);
      }
      sum.x[j] = rounded_one<careful>(sum.x[j]);
      y[j] = sum.x[j][0];
    }
    return sum;
  }

  /// Bits that the guess of outputs n to n + 15 has wrong; x(i) is the input from i on.
  template <typename Input>
  QUEL_MEMBER Mask differences(int n, Input x) const {
    const double* y = outputs() + n;
    Double sum[parts];
    for (int p = 0; p < parts; ++p) sum[p] = x(n + p * lanes);
    for (int i = 1; i <= m; ++i) {
      const Double minus_a = splat<Double>(minus_a_[i][0]);
      for (int p = 0; p < parts; ++p) {
        sum[p] = add_exact(sum[p], minus_a, load<Double>(y - i + p * lanes));
      }
    }
    Mask different{};
    for (int p = 0; p < parts; ++p) {
      different |= different_bits(sum[p], load<Double>(y + p * lanes));
    }
    return different;
  }

  QUEL_MEMBER double* outputs() { return past_and_y_ + m; }
  QUEL_MEMBER const double* outputs() const { return past_and_y_ + m; }

 private:
  double minus_a_[m + 1][block];  // [k] -a[k] to -a[k + 3]
  double past_and_y_[m + stretch_max];
};

}  // namespace recursion

}  // namespace quel::QUEL_SET
