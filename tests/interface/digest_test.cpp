#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>

#include "conformance/conformance.h"
#include "conformance/digests.h"

namespace quel::conformance {
namespace {

TEST(Digests, ConformanceSignalGivesTheProjectsBits) {
  const auto digests = conformance_digests();
  ASSERT_EQ(digests.size(), std::size(pinned_digests));
  for (std::size_t i = 0; i < digests.size(); ++i) {
    EXPECT_EQ(digests[i].name, pinned_digests[i].name);
    EXPECT_EQ(digests[i].value, pinned_digests[i].value) << digests[i].name;
  }
}

}  // namespace
}  // namespace quel::conformance
