#pragma once

#include "dsp/kernels.h"
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
QUEL_INLINE Block operator*(Block a, Block b) {
  return {a.low * b.low, a.high * b.high};
}
QUEL_INLINE Block operator+(Block a, Block b) {
  return {a.low + b.low, a.high + b.high};
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

QUEL_INLINE Block rounded_block(Block x) {
#if QUEL_LANES == 2
  return {rounded(x.low), rounded(x.high)};
#elif QUEL_LANES == 4
  return rounded(x);
#else
  return __builtin_convertvector(__builtin_convertvector(x, Lanes<4>::Float), Block);
#endif
}

/// Bits in which x, rounded to float, differs from y.
QUEL_INLINE Mask different_bits(Double x, Double y) {
  return __builtin_bit_cast(Mask, rounded(x)) ^ __builtin_bit_cast(Mask, y);
}

/// The input of a part as its proof reads it: a register of it from place i on. Of floats, and of
/// another part's outputs.
struct FloatInput {
  const float* x;
  QUEL_MEMBER Double operator()(int i) const { return widen(load<Half>(x + i)); }
};
struct DoubleInput {
  const double* x;
  QUEL_MEMBER Double operator()(int i) const { return load<Double>(x + i); }
};

/// `AllPole`'s differences. A function of its own: a call a group costs nothing beside it, and many
/// kernels have it.
template <int m, typename Input>
__attribute__((noinline)) Mask all_pole_differences(const double* minus_a, const double* outputs,
                                                    int n, Input x) {
  const double* y = outputs + n;
  Double sum[parts];
  for (int p = 0; p < parts; ++p) sum[p] = x(n + p * lanes);
  for (int i = 1; i <= m; ++i) {
    const Double factor = splat<Double>(minus_a[i * block]);
    for (int p = 0; p < parts; ++p) {
      sum[p] = add_exact(sum[p], factor, load<Double>(y - i + p * lanes));
    }
  }
  Mask different{};
  for (int p = 0; p < parts; ++p) different |= different_bits(sum[p], load<Double>(y + p * lanes));
  return different;
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
    for (int k = whole + 1; k <= m; ++k) store_block(minus_a_[k], load_block(tail + (k - whole)));
    int i = 0;
    for (; i + block <= m; i += block) store_block(past_and_y_ + i, load_block(past + i));
    if (i < m) store_block(past_and_y_ + m - block, load_block(past + m - block));
  }

  /// The last four outputs before the first.
  QUEL_MEMBER Ones last() const { return taken_apart(load_block(past_and_y_ + m - block)); }

  /// Outputs n to n + 3, where `last` are those before. From one to the next there is a product, a
  /// sum and the rounding, no more: products with older outputs are added up before, and those from
  /// before the block for all four at once.
  template <bool careful>
  QUEL_MEMBER Ones guess(int n, Block x, const Ones& last) {
    double* y = outputs() + n;
    // The input may have come just now: it need not wait for the others, nor they for it.
    constexpr int chains = lanes == 2 ? 1 : 2;  // registers are few there
    Block older[chains] = {};
    for (int k = m; k >= 4; --k) {
      older[k % chains] = add_to_block(older[k % chains], load_block(minus_a_[k]), y[-k]);
    }
    for (const Block& sum : older) x = x + sum;
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
    return all_pole_differences<m>(minus_a_[0], outputs(), n, x);
  }

  QUEL_MEMBER double* outputs() { return past_and_y_ + m; }
  QUEL_MEMBER const double* outputs() const { return past_and_y_ + m; }

 private:
  double minus_a_[m + 1][block];  // [k] -a[k] to -a[k + 3]
  double past_and_y_[m + stretch_max];
};

/// The filter of hp_2nd, whose input are floats in all but type.
class SecondOrder {
 public:
  /// a, b [0..2]; memx, memy [0..1] as hp_2nd has them.
  QUEL_MEMBER void start(const float* a, const float* b, const float* memx, const float* memy) {
    for (int i = 0; i < 3; ++i) a_[i] = a[i];
    a_[3] = 0.0;
    for (int i = 0; i < 3; ++i) b_[i] = b[i];
    for (int i = 0; i < 2; ++i) past_and_x_[block - 1 - i] = memx[i];
    for (int i = 0; i < 2; ++i) past_and_y_[1 - i] = memy[i];
    past_and_x_[0] = past_and_x_[1] = 0.0;
  }

  /// The last four inputs and outputs before the first; of the outputs only two count.
  QUEL_MEMBER Block last_input() const { return load_block(past_and_x_); }
  QUEL_MEMBER Ones last() const {
    const One y = load<One>(past_and_y_);
    return {{y, y, y, __builtin_shufflevector(y, y, 1, 1)}};
  }

  /// Outputs n to n + 3 of inputs x, where last_x and last are those before.
  QUEL_MEMBER Ones guess(int n, Block x, Block last_x, const Ones& last) {
    store_block(past_and_x_ + block + n, x);
    Block sums = add_to_block(add_to_block(Block{}, x, b_[0]), joined<1>(last_x, x), b_[1]);
    Ones y = taken_apart(add_to_block(sums, joined<2>(last_x, x), b_[2]));
    const One a1 = load<One>(a_ + 1), a2 = load<One>(a_ + 2);
    for (int j = 0; j < block; ++j) {
      y.x[j] = add_exact(y.x[j], a2, j < 2 ? last.x[2 + j] : y.x[j - 2]);
      y.x[j] = add_exact(y.x[j], a1, j < 1 ? last.x[3] : y.x[j - 1]);
      y.x[j] = rounded_one<false>(y.x[j]);
      outputs()[n + j] = y.x[j][0];
    }
    return y;
  }

  /// Bits that the guess of outputs n to n + 15 has wrong.
  QUEL_MEMBER Mask differences(int n) const {
    const double* x = past_and_x_ + block + n;
    const double* y = past_and_y_ + 2 + n;
    Mask different{};
    for (int p = 0; p < group; p += lanes) {
      Double sum = splat<Double>(b_[0]) * load<Double>(x + p);
      sum = add_exact(sum, splat<Double>(b_[1]), load<Double>(x + p - 1));
      sum = add_exact(sum, splat<Double>(b_[2]), load<Double>(x + p - 2));
      sum = add_exact(sum, splat<Double>(a_[1]), load<Double>(y + p - 1));
      sum = add_exact(sum, splat<Double>(a_[2]), load<Double>(y + p - 2));
      different |= different_bits(sum, load<Double>(y + p));
    }
    return different;
  }

  QUEL_MEMBER const double* inputs() const { return past_and_x_ + block; }
  QUEL_MEMBER double* outputs() { return past_and_y_ + 2; }

  /// The memories behind lg outputs.
  QUEL_MEMBER void remember(int lg, float* memx, float* memy) const {
    for (int i = 0; i < 2; ++i) memx[i] = static_cast<float>(past_and_x_[block + lg - 1 - i]);
    for (int i = 0; i < 2; ++i) memy[i] = static_cast<float>(past_and_y_[2 + lg - 1 - i]);
  }

 private:
  double a_[4];  // the last one pads
  double b_[3];
  double past_and_x_[block + stretch_max];
  double past_and_y_[2 + stretch_max];
};

/// y [0..n-1] = x [0..n-1]; n a multiple of a register.
QUEL_INLINE void store_floats(float* y, const double* x, int n) {
  for (int i = 0; i < n; i += lanes) store(y + i, narrow(load<Double>(x + i)));
}

/// Whether x [0..n-1] are all within +-1e9, as is_sane wants it; n a multiple of a register.
QUEL_INLINE bool all_sane(const double* x, int n) {
  Mask outside{};
  for (int i = 0; i < n; i += lanes) {
    const Double v = load<Double>(x + i);
    outside |= ~((v >= splat<Double>(-1e9)) & (v <= splat<Double>(1e9)));
  }
  return !any(outside);
}

}  // namespace recursion

}  // namespace quel::QUEL_SET
