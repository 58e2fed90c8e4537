#include "interface/unit_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using ::testing::ElementsAre;

struct Queue {
  explicit Queue(int capacity)
      : memory(static_cast<std::size_t>(capacity)), queue(memory.data(), capacity, count) {}
  int add(std::int64_t timestamp) {
    const auto byte = static_cast<std::uint8_t>(timestamp & 0xff);
    const std::vector<std::uint8_t> bytes(20, byte);
    return queue.add(timestamp, timestamp / 10, bytes.data(), 20);
  }
  std::vector<std::int64_t> timestamps() const {
    std::vector<std::int64_t> all;
    for (int k = 0; k < queue.size(); ++k) {
      all.push_back(queue[k].timestamp);
      EXPECT_EQ(queue[k].sequence, queue[k].timestamp / 10);
      EXPECT_TRUE(std::all_of(queue[k].bytes.begin(), queue[k].bytes.begin() + 20,
                              [&](int byte) { return byte == (queue[k].timestamp & 0xff); }));
    }
    return all;
  }
  std::vector<WaitingUnit> memory;
  int count = 0;
  UnitQueue queue;
};

TEST(UnitQueue, KeepsUnitsInOrder) {
  Queue queue(4);
  EXPECT_TRUE(queue.queue.empty());
  for (const int timestamp : {50, 30, 40, -7}) EXPECT_EQ(queue.add(timestamp), 0);
  EXPECT_THAT(queue.timestamps(), ElementsAre(-7, 30, 40, 50));
  queue.queue.drop(2);
  EXPECT_THAT(queue.timestamps(), ElementsAre(40, 50));
  EXPECT_EQ(queue.queue.front().timestamp, 40);
}

TEST(UnitQueue, TheFirstOfTwoOfOneTimeStays) {
  Queue queue(4);
  EXPECT_EQ(queue.add(30), 0);
  EXPECT_EQ(queue.add(30), 1);
  EXPECT_THAT(queue.timestamps(), ElementsAre(30));
}

TEST(UnitQueue, WhereItIsFullTheEarliestGoes) {
  Queue queue(3);
  for (const int timestamp : {10, 20, 30}) queue.add(timestamp);
  EXPECT_EQ(queue.add(25), 1);
  EXPECT_THAT(queue.timestamps(), ElementsAre(20, 25, 30));
  EXPECT_EQ(queue.add(5), 1);
  EXPECT_THAT(queue.timestamps(), ElementsAre(20, 25, 30));
  EXPECT_EQ(queue.add(40), 1);
  EXPECT_THAT(queue.timestamps(), ElementsAre(25, 30, 40));
}

TEST(UnitQueue, IsASortedMapOfTheLatest) {
  test::Random random(12);
  Queue queue(20);
  std::map<std::int64_t, int> plain;
  for (int k = 0; k < 20000; ++k) {
    if (random.integer(0, 3) == 0 && !queue.queue.empty()) {
      const int n = random.integer(1, queue.queue.size());
      queue.queue.drop(n);
      plain.erase(plain.begin(), std::next(plain.begin(), n));
    } else {
      const std::int64_t timestamp = k + random.integer(-30, 30);
      queue.add(timestamp);
      plain[timestamp] = 1;
      if (plain.size() > 20) plain.erase(plain.begin());
    }
    std::vector<std::int64_t> wanted;
    for (const auto& [timestamp, one] : plain) wanted.push_back(timestamp);
    ASSERT_EQ(queue.timestamps(), wanted);
  }
}

}  // namespace
}  // namespace quel
