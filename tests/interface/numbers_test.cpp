#include <gtest/gtest.h>
#include <quelcodec/quelcodec.hpp>

namespace quel {
namespace {

TEST(Numbers, TheVersionIsTheHeaders) {
  EXPECT_EQ(quel_version(), QUEL_VERSION);
}

// Whoever raises it has made units mean something else; docs/compatibility.md says what that takes.
TEST(Numbers, TheBitstreamIsTheKeptOne) {
  EXPECT_EQ(quel_bitstream(), 2);
}

// It rises often; digests say when.
TEST(Numbers, TheBehaviourOnlyRises) {
  EXPECT_GE(quel_behaviour(), 2);
}

TEST(Numbers, CPlusPlusSaysTheSame) {
  EXPECT_EQ(version(), quel_version());
  EXPECT_EQ(bitstream(), quel_bitstream());
  EXPECT_EQ(behaviour(), quel_behaviour());
}

}  // namespace
}  // namespace quel
