// The three numbers that this library goes by. Nobody else states them: whoever needs one asks.
#include "quelcodec/quelcodec.h"

namespace {

/// What the bits of a coded unit mean: fields, tables, and the samples that come of them where
/// nothing is lost. It rises when that changes, and from 2 on no later version forgets a number.
///
/// 1  the first trained tables; version 0.1.0 alone reads them
/// 2  the final tables, kept for good
constexpr int bitstream = 2;

/// Which exact bits come out: coded units, decoded and concealed samples. It rises whenever a
/// digest of conformance/digests.h moves, and a line here says why.
///
/// 1  the first trained tables; later digests of growing excitation, long losses, extreme signals
///    and more losses concealed later were added to the set, and none moved
/// 2  final tables: spectral codebooks trained by gradient descent in closed loop, and code-gain
///    corrections of up to 8 instead of 4; all digests moved
/// 3  immediate concealment leads on from the past and estimates the predictors' memories behind a
///    loss; the digests of losses concealed at once and of long ones moved, all others stayed
constexpr int behaviour = 3;

}  // namespace

int quel_version() {
  return QUEL_VERSION;
}

int quel_bitstream() {
  return bitstream;
}

int quel_behaviour() {
  return behaviour;
}
