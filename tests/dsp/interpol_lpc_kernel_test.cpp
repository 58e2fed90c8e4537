#include <gtest/gtest.h>

#include <vector>

#include "dsp/interpol_lpc.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::Signal;
using test::signal;

TEST(InterpolLpcKernel, GivesThePlainFilters) {
  test::for_every_case({0, 1, 2, 3, 4, 5, 8, 9, 17}, [](int count, Signal kind, unsigned seed) {
    for (const float scale : {1e-3f, 1.0f}) {  // cosines, and what is none
      auto before = signal(kind, 10, seed), now = signal(kind, 10, seed + 1);
      for (float& v : before) v *= scale;
      for (float& v : now) v *= scale;
      std::vector<float> got(test::size(11 * count + 1), 7.0f), wanted = got;
      interpol_lpc(now.data(), before.data(), got.data(), count);
      plain::interpol_lpc(now.data(), before.data(), wanted.data(), count);
      test::expect_same(got, wanted);
    }
  });
}

}  // namespace
}  // namespace quel
