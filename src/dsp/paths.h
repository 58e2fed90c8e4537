#pragma once

#include <array>
#include <cstddef>
#include <limits>
#include <type_traits>

namespace quel {

/// A search that keeps several ways through a frame open and decides at the frame's end: the choice
/// that is best for one subframe is not always the best for those after it.
///
/// Path    what a way leaves behind it: the coder's state as far as subframes change it, and the
///         words chosen
/// Choice  one way over the next subframe, with what it takes to follow it
/// most    paths that may be open at a time
///
/// Costs add up over the frame. Paths are ordered by cost, and of equal ones that comes first which
/// was offered first, so that every build keeps the same ones. A cost that is no number counts as
/// infinite: such a path is followed only where there is no other.
template <typename Path, typename Choice, int most>
class PathSearch {
  static_assert(std::is_trivially_copyable_v<Path> && std::is_trivially_copyable_v<Choice>,
                "a stream's bytes may be copied");
  static_assert(most > 0);

 public:
  /// Begins a frame with one path, which the caller fills in.
  Path& start() {
    side_ = 0;
    count_ = 1;
    costs_[0] = 0.0;
    return path(0);
  }

  /// Goes over one subframe: offers every path's choices and follows the best of them all.
  ///
  /// survivors  paths to keep, 1..most
  /// expand     expand(path, offer): calls offer(cost, choice) for each way on, `cost` being that
  ///            of the subframe alone; may use the path's memory beyond its state. Over all paths
  ///            at least one is offered
  /// follow     follow(path, choice): moves a copy of the path on
  template <typename Expand, typename Follow>
  void step(int survivors, Expand expand, Follow follow) {
    kept_ = 0;
    for (int from = 0; from < count_; ++from) {
      expand(path(from), [&](double cost, const Choice& choice) {
        take(survivors, costs_[at(from)] + cost, from, choice);
      });
    }
    for (int rank = 0; rank < kept_; ++rank) {
      const Candidate& candidate = candidates_[at(order_[at(rank)])];
      Path& next = paths_[at(1 - side_)][at(rank)];
      next = path(candidate.from);
      follow(next, candidate.choice);
    }
    for (int rank = 0; rank < kept_; ++rank) {
      costs_[at(rank)] = candidates_[at(order_[at(rank)])].cost;
    }
    count_ = kept_;
    side_ = 1 - side_;
  }

  /// Open paths, the best first.
  int count() const { return count_; }
  const Path& operator[](int rank) const { return paths_[at(side_)][at(rank)]; }
  double cost(int rank) const { return costs_[at(rank)]; }
  const Path& best() const { return (*this)[0]; }

 private:
  struct Candidate {
    double cost;
    int from;
    Choice choice;
  };

  static constexpr std::size_t at(int i) { return static_cast<std::size_t>(i); }
  Path& path(int rank) { return paths_[at(side_)][at(rank)]; }

  void take(int survivors, double cost, int from, const Choice& choice) {
    if (!(cost < std::numeric_limits<double>::infinity())) {
      cost = std::numeric_limits<double>::infinity();
    }
    const bool full = kept_ == survivors;
    if (full && !(cost < candidates_[at(order_[at(kept_ - 1)])].cost)) return;
    const int slot = full ? order_[at(kept_ - 1)] : kept_++;
    candidates_[at(slot)] = {cost, from, choice};
    int rank = kept_ - 1;
    for (; rank > 0 && cost < candidates_[at(order_[at(rank - 1)])].cost; --rank) {
      order_[at(rank)] = order_[at(rank - 1)];
    }
    order_[at(rank)] = slot;
  }

  std::array<std::array<Path, most>, 2> paths_{};
  std::array<Candidate, most> candidates_{};
  std::array<double, most> costs_{};
  std::array<int, most> order_{};  // slots of `candidates_`, the best first
  int kept_ = 0;
  int count_ = 0;
  int side_ = 0;
};

}  // namespace quel
