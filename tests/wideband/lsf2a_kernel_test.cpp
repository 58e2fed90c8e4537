#include <gtest/gtest.h>

#include <vector>

#include "support/kernels.h"
#include "wideband/lsf2a.h"

namespace quel {
namespace {

using test::Signal;
using test::signal;

TEST(IntLpcKernel, GivesThePlainFilters) {
  test::for_every_case({16}, [](int m, Signal kind, unsigned seed) {
    for (const float scale : {1e-3f, 1.0f}) {  // cosines, and what is none
      auto before = signal(kind, m, seed), now = signal(kind, m, seed + 1);
      for (float& v : before) v *= scale;
      for (float& v : now) v *= scale;
      std::vector<float> got(34), wanted(34);
      int_lpc(before.data(), now.data(), got.data(), m);
      wideband::plain::int_lpc(before.data(), now.data(), wanted.data(), m);
      test::expect_same(got, wanted);
    }
  });
}

}  // namespace
}  // namespace quel
