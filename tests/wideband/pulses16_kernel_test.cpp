#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "support/kernels.h"
#include "wideband/cod45_85.h"
#include "wideband/pulses16.h"

namespace quel::wideband {
namespace {

using test::Signal;

TEST(PulsesKernel, MatrixIsThePlainOne) {
  test::for_every_case({1}, [](int, Signal kind, unsigned seed) {
    const auto h = test::signal(kind, 80, seed);
    std::vector<float> got(6400), wanted(6400);
    response_matrix(h.data(), got.data());
    plain::response_matrix(h.data(), wanted.data());
    test::expect_same(got, wanted);
  });
}

// Also where all merits are nearly equal, or equal, and where energies are negative, which no
// response gives.
TEST(PulsesKernel, SearchFindsWhatThePlainOneFinds) {
  test::for_every_case({1, 3, 5}, [](int rotations, Signal kind, unsigned seed) {
    for (unsigned more = 0; more < 30; ++more) {
      SCOPED_TRACE(more);
      auto h = test::noise(80, seed + more, 0.3);
      auto dn = test::signal(kind, 80, 100 * seed + more);
      auto wn = test::noise(80, more + 1, 0.3), cn = test::noise(80, more + 2);
      if (more % 5 == 1) h = test::signal(kind, 80, more);
      if (more % 5 == 2) wn = test::signal(kind, 80, more);
      if (more % 5 == 3) {
        for (auto* values : {&h, &dn, &wn, &cn}) {
          for (float& v : *values) v = std::round(v);
        }
      }
      std::vector<float> phi(6400);
      plain::response_matrix(h.data(), phi.data());
      if (more % 5 == 4) phi = test::signal(kind, 6400, more);
      AcelpWork work;
      PulseQuestion question;
      question.rotations = rotations;
      ask_for_pulses(work, dn.data(), wn.data(), cn.data(), question);
      Pulses got, wanted;
      find_pulses(question, phi.data(), got);
      plain::find_pulses(question, phi.data(), wanted);
      for (int k = 0; k < 10; ++k) {
        ASSERT_EQ(got.place[k], wanted.place[k]) << k;
        ASSERT_EQ(got.sign[k], wanted.sign[k]) << k;
      }
    }
  });
}

}  // namespace
}  // namespace quel::wideband
