#pragma once

#include <cstdint>

namespace quel {

/// Where one piece of sound goes on best in another.
struct Splice {
  int offset;    ///< into the other piece
  double match;  ///< c * |c| of the normalised correlation c: -1..1, 0 where either is silent
};

/// Finds the offset at which `b` is most like `a`: the one of the greatest normalised correlation,
/// the first of equals.
///
/// a         [0..length-1]
/// b         [from..to+length-1]; may overlap a
/// from, to  offsets to try, from <= to
/// length    > 0; below 2^16, so that sums are exact
Splice find_splice(const std::int16_t* a, const std::int16_t* b, int from, int to, int length);

/// Fades from `a` to `b`: both weights linear, their sum 1.
///
/// a, b, out  [0..length-1]; out may be a or b
/// length     > 0; below 2^15
void cross_fade(const std::int16_t* a, const std::int16_t* b, std::int16_t* out, int length);

/// Sum of squares of x [0..length-1]; length below 2^32.
std::int64_t energy_of(const std::int16_t* x, int length);

}  // namespace quel
