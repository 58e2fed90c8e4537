#include <gtest/gtest.h>

#include <vector>

#include "narrowband/acb_common.h"
#include "support/kernels.h"

namespace quel {
namespace {

using test::Signal;
using test::signal;

TEST(PulsesKernel, PlacesThePlainPulses) {
  test::for_every_case({1, 2, 3, 6}, [](int count, Signal kind, unsigned seed) {
    test::Random random(seed);
    for (int round = 0; round < 50; ++round) {
      test::Misaligned filt(signal(kind, 48, seed), round % 7);
      std::vector<int> position(test::size(count));
      std::vector<float> sign(position.size());
      for (int& p : position) p = static_cast<int>(random.integer(0, 47));
      for (float& s : sign) s = random.integer(0, 1) != 0 ? 1.0f : -1.0f;
      if (round == 0) position[0] = 0;
      if (round == 1) position[0] = 47;
      std::vector<float> got(48, 7.0f), wanted(48, 8.0f);
      narrowband::place_pulses(position.data(), sign.data(), count, filt.data(), got.data());
      narrowband::plain::place_pulses(position.data(), sign.data(), count, filt.data(),
                                      wanted.data());
      test::expect_same(got, wanted);
    }
  });
}

}  // namespace
}  // namespace quel
