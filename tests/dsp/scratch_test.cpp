#include "dsp/scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <thread>

namespace quel {
namespace {

TEST(Scratch, IsCarvedDownwardsAndGivenBack) {
  std::byte* const top = i_heap;
  {
    Scratch x(10);
    EXPECT_EQ(i_heap, top - 40);
    EXPECT_EQ(static_cast<void*>(x.data()), static_cast<void*>(i_heap));
    Scratch<std::int32_t> y(3);
    EXPECT_EQ(i_heap, top - 52);
    EXPECT_EQ(static_cast<void*>(y.data()), static_cast<void*>(i_heap));
  }
  EXPECT_EQ(i_heap, top);
}

TEST(Scratch, NestedArraysDoNotOverlap) {
  Scratch outer(5);
  for (int i = 0; i < 5; ++i) outer[i] = static_cast<float>(i);
  {
    Scratch<std::int32_t> inner(5);
    for (int i = 0; i < 5; ++i) inner[i] = -1;
  }
  for (int i = 0; i < 5; ++i) EXPECT_EQ(outer[i], static_cast<float>(i));
}

TEST(Scratch, StructIsCarvedInOnePieceAndGivenBack) {
  struct Arrays {
    float x[3];
    std::int32_t n;
    float y[4];
  };
  std::byte* const top = i_heap;
  {
    ScratchStruct<Arrays> arrays;
    EXPECT_EQ(i_heap, top - 32);
    EXPECT_EQ(static_cast<void*>(arrays->x), static_cast<void*>(i_heap));
    EXPECT_EQ(static_cast<void*>((*arrays).y + 4), static_cast<void*>(top));
  }
  EXPECT_EQ(i_heap, top);
}

TEST(Scratch, EmptyArrayTakesNothing) {
  std::byte* const top = i_heap;
  Scratch x(0);
  EXPECT_EQ(i_heap, top);
}

TEST(Scratch, WholeAreaCanBeUsed) {
  ScratchArea area;
  const ScratchSwitch use(area);
  Scratch x(static_cast<int>(scratch_bytes / 4));
  EXPECT_EQ(static_cast<void*>(x.data()), static_cast<void*>(area.bytes));
  x[0] = 1.0f;
  x[2046] = 2.0f;
  EXPECT_EQ(x[0], 1.0f);
  EXPECT_EQ(scratch_bytes, 8188u);
}

TEST(Scratch, TopIsAlignedForFloats) {
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(i_heap) % alignof(float), 0u);
  ScratchArea area;
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(area.top()) % alignof(float), 0u);
}

TEST(ScratchSwitch, PointsAtAnotherAreaForTheScope) {
  std::byte* const before = i_heap;
  ScratchArea area;
  {
    const ScratchSwitch use(area);
    EXPECT_EQ(i_heap, area.bytes + scratch_bytes);
  }
  EXPECT_EQ(i_heap, before);
}

TEST(Scratch, EachThreadHasAnAreaOfItsOwn) {
  std::byte* const mine = i_heap;
  Scratch x(100);
  x[0] = 7.0f;
  std::byte* other = nullptr;
  std::thread thread([&other] {
    other = i_heap;
    Scratch y(static_cast<int>(scratch_bytes / 4));
    for (int i = 0; i < 2047; ++i) y[i] = 1.0f;
  });
  thread.join();
  EXPECT_NE(other, nullptr);
  EXPECT_NE(other, mine);
  EXPECT_EQ(x[0], 7.0f);
}

TEST(CountScratch, StopsTheProgramPastTheLimit) {
  count_scratch(static_cast<std::ptrdiff_t>(scratch_bytes));
  EXPECT_DEATH(count_scratch(1), "");
  count_scratch(-static_cast<std::ptrdiff_t>(scratch_bytes));
}

#ifndef NDEBUG
TEST(Scratch, OverflowIsCaughtInDebugBuilds) {
  EXPECT_DEATH(Scratch x(static_cast<int>(scratch_bytes / 4) + 1), "");
}
#endif

}  // namespace
}  // namespace quel
