#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "narrowband/pulse_search.h"
#include "support/kernels.h"

namespace quel::narrowband {
namespace {

using test::expect_same;
using test::Random;
using test::Signal;
using test::signal;

TEST(PulseKernel, CorrelationsOfPulsesAreThePlainOnes) {
  test::for_every_case({0}, [](int, Signal kind, unsigned seed) {
    const auto h = signal(kind, 48, seed);
    std::vector<float> got(48 * 48), wanted(48 * 48);
    correlate_pulses(h.data(), got.data());
    plain::correlate_pulses(h.data(), wanted.data());
    expect_same(got, wanted);
  });
}

TEST(PulseKernel, WhatAFreePitchGainTakesAwayIsThePlainPart) {
  test::for_every_case({0}, [](int, Signal kind, unsigned seed) {
    const auto dn1 = signal(kind, 48, seed);
    auto got = signal(seed % 2 == 0 ? kind : Signal::noise, 48 * 48, seed + 1), wanted = got;
    free_pitch_gain(dn1.data(), 0.37f, got.data());
    plain::free_pitch_gain(dn1.data(), 0.37f, wanted.data());
    expect_same(got, wanted);
  });
}

// With 0 to 6 pulses there and places barred; merits that differ in a rounding, and equal ones.
TEST(PulseKernel, TheBestPulseIsThePlainOne) {
  test::for_every_case({0, 1, 2}, [](int track, Signal kind, unsigned seed) {
    Random random(seed + 7);
    for (int round = 0; round < 12; ++round) {
      const auto phi = signal(round % 2 == 0 ? kind : Signal::noise, 48 * 48, seed + 1);
      auto dn = signal(kind, 48, seed + 2), energy = signal(Signal::noise, 48, seed + 3);
      for (float& v : energy) v = 50.0f + v;
      if (round % 3 == 1) dn.assign(48, 2.0f), energy.assign(48, 3.0f);
      int place[6];
      float sign[6];
      for (int k = 0; k < 6; ++k) {
        place[k] = 16 * (k / 2) + random.integer(0, 15);
        sign[k] = round % 3 == 1 || k >= round / 2 ? 0.0f
                  : random.integer(0, 1) == 0      ? 1.0f
                                                   : -1.0f;
      }
      const int barred[3] = {random.integer(-1, 31), random.integer(-1, 31), -1};
      const SixPulseTarget target = {dn.data(), phi.data(), energy.data(), 1.5f, 2.5f};
      float got = 0.0f, wanted = 0.0f;
      EXPECT_EQ(best_pulse(target, place, sign, track, barred, &got),
                plain::best_pulse(target, place, sign, track, barred, &wanted));
      EXPECT_TRUE(test::same(got, wanted)) << got << ", not " << wanted;
    }
  });
}

TEST(PulseKernel, WhereNoPlaceServesTheFirstIsGivenWithoutMerit) {
  test::in_every_instruction_set([] {
    const std::vector<float> zeros(48), phi(48 * 48);
    const int place[6] = {}, barred[3] = {-1, -1, -1};
    const float sign[6] = {};
    float merit = 5.0f;
    EXPECT_EQ(best_pulse({zeros.data(), phi.data(), zeros.data(), 0.0f, 0.0f}, place, sign, 1,
                         barred, &merit),
              0);
    EXPECT_EQ(merit, -1.0f);
  });
}

}  // namespace
}  // namespace quel::narrowband
