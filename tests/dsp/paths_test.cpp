#include "dsp/paths.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using test::Random;

constexpr int most = 8;
constexpr int steps = 5;
constexpr int ways = 3;

// A toy coder: what a choice costs depends on the way before it.
struct Path {
  int length;
  int chosen[steps];
};
struct Choice {
  int way;
};
using Search = PathSearch<Path, Choice, most>;

class Toy {
 public:
  explicit Toy(std::uint64_t seed) {
    Random random(seed);
    for (double& cost : costs_) cost = random.uniform(0.0, 1.0);
  }
  // Of `way` behind the last choice and the one before it.
  double cost(const Path& path, int way) const {
    const int last = path.length > 0 ? path.chosen[path.length - 1] : 0;
    const int before = path.length > 1 ? path.chosen[path.length - 2] : 0;
    return costs_[static_cast<std::size_t>(((path.length * ways + last) * ways + before) * ways +
                                           way)];
  }
  void step(Search& search, int survivors) const {
    search.step(
        survivors,
        [&](const Path& path, auto offer) {
          for (int way = 0; way < ways; ++way) offer(cost(path, way), Choice{way});
        },
        [](Path& path, const Choice& choice) { path.chosen[path.length++] = choice.way; });
  }
  double found(Search& search, int survivors) const {
    search.start() = {};
    for (int k = 0; k < steps; ++k) step(search, survivors);
    return search.cost(0);
  }
  double greedy() const {
    Path path{};
    double sum = 0.0;
    for (int k = 0; k < steps; ++k) {
      int best = 0;
      for (int way = 1; way < ways; ++way) {
        if (cost(path, way) < cost(path, best)) best = way;
      }
      sum += cost(path, best);
      path.chosen[path.length++] = best;
    }
    return sum;
  }
  double least(const Path& path) const {
    if (path.length == steps) return 0.0;
    double best = std::numeric_limits<double>::infinity();
    for (int way = 0; way < ways; ++way) {
      Path next = path;
      next.chosen[next.length++] = way;
      best = std::min(best, cost(path, way) + least(next));
    }
    return best;
  }

 private:
  std::vector<double> costs_ = std::vector<double>(steps * ways * ways * ways);
};

TEST(PathSearch, OnePathIsTheGreedySearch) {
  Search search;
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    const Toy toy(seed);
    EXPECT_EQ(toy.found(search, 1), toy.greedy()) << seed;
    EXPECT_EQ(search.count(), 1);
  }
}

// Any one frame can do worse with more paths, since which are dropped changes; on the mean it must
// not, and none can be below the best there is.
TEST(PathSearch, MorePathsComeNearerToTheBestOfAll) {
  Search search;
  double mean[most + 1] = {}, best = 0.0;
  constexpr int frames = 300;
  for (std::uint64_t seed = 0; seed < frames; ++seed) {
    const Toy toy(seed);
    const double least = toy.least(Path{});
    best += least;
    for (int survivors = 1; survivors <= most; ++survivors) {
      const double found = toy.found(search, survivors);
      EXPECT_GE(found, least - 1e-12);  // sums in another order
      mean[survivors] += found;
    }
  }
  for (int survivors = 2; survivors <= most; ++survivors) {
    EXPECT_LT(mean[survivors], mean[survivors - 1]) << survivors;
  }
  EXPECT_LT(mean[most] - best, 0.05 * (mean[1] - best));
}

// Two steps that all ways through fit into are searched whole.
TEST(PathSearch, WithRoomForEveryWayItFindsTheLeastOfAll) {
  PathSearch<Path, Choice, 243> search;
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    const Toy toy(seed);
    search.start() = {};
    for (int k = 0; k < steps; ++k) {
      search.step(
          243,
          [&](const Path& path, auto offer) {
            for (int way = 0; way < ways; ++way) offer(toy.cost(path, way), Choice{way});
          },
          [](Path& path, const Choice& choice) { path.chosen[path.length++] = choice.way; });
    }
    EXPECT_EQ(search.count(), 243);
    EXPECT_NEAR(search.cost(0), toy.least(Path{}), 1e-12);  // sums in another order
    for (int rank = 1; rank < search.count(); ++rank) {
      EXPECT_LE(search.cost(rank - 1), search.cost(rank));
    }
  }
}

TEST(PathSearch, CostsAreThoseOfTheWayThatWasTaken) {
  Search search;
  const Toy toy(7);
  toy.found(search, 5);
  for (int rank = 0; rank < search.count(); ++rank) {
    Path path{};
    double sum = 0.0;
    for (const int way : search[rank].chosen) {
      sum += toy.cost(path, way);
      path.chosen[path.length++] = way;
    }
    EXPECT_EQ(search.cost(rank), sum);
  }
  EXPECT_EQ(std::memcmp(&search.best(), &search[0], sizeof(Path)), 0);
}

TEST(PathSearch, OfEqualCostsTheFirstOfferedStays) {
  Search search;
  search.start() = {};
  const auto all_equal = [&](int survivors) {
    search.step(
        survivors,
        [](const Path&, auto offer) {
          for (int way = 0; way < ways; ++way) offer(1.0, Choice{way});
        },
        [](Path& path, const Choice& choice) { path.chosen[path.length++] = choice.way; });
  };
  all_equal(2);
  EXPECT_EQ(search[0].chosen[0], 0);
  EXPECT_EQ(search[1].chosen[0], 1);
  all_equal(4);
  const int wanted[4][2] = {{0, 0}, {0, 1}, {0, 2}, {1, 0}};
  for (int rank = 0; rank < 4; ++rank) {
    EXPECT_EQ(search[rank].chosen[0], wanted[rank][0]);
    EXPECT_EQ(search[rank].chosen[1], wanted[rank][1]);
  }
}

TEST(PathSearch, ACostThatIsNoNumberComesLast) {
  const double nan = std::nan("");
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double bad : {nan, -nan, infinity}) {
    Search search;
    search.start() = {};
    const auto step = [&](std::vector<double> costs, int survivors) {
      search.step(
          survivors,
          [&](const Path&, auto offer) {
            for (std::size_t k = 0; k < costs.size(); ++k) offer(costs[k], Choice{int(k)});
          },
          [](Path& path, const Choice& choice) { path.chosen[path.length++] = choice.way; });
    };
    step({bad, 3.0, bad, 1.0}, 3);
    ASSERT_EQ(search.count(), 3);
    EXPECT_EQ(search[0].chosen[0], 3);
    EXPECT_EQ(search[1].chosen[0], 1);
    EXPECT_EQ(search[2].chosen[0], 0);
    EXPECT_EQ(search.cost(2), infinity);
    // Where nothing else is left the search still goes on, with the first.
    step({bad, bad}, 2);
    EXPECT_EQ(search[0].chosen[0], 3);
    EXPECT_EQ(search[0].chosen[1], 0);
    EXPECT_EQ(search.cost(0), infinity);
  }
}

TEST(PathSearch, BytesCopiedInTheMiddleGoOnAlike) {
  const Toy toy(11);
  Search search;
  search.start() = {};
  for (int k = 0; k < 2; ++k) toy.step(search, 4);
  Search copy;
  std::memcpy(static_cast<void*>(&copy), &search, sizeof search);
  for (int k = 2; k < steps; ++k) toy.step(search, 4);
  for (int k = 2; k < steps; ++k) toy.step(copy, 4);
  for (int rank = 0; rank < 4; ++rank) {
    EXPECT_EQ(copy.cost(rank), search.cost(rank));
    EXPECT_EQ(std::memcmp(&copy[rank], &search[rank], sizeof(Path)), 0);
  }
}

}  // namespace
}  // namespace quel
