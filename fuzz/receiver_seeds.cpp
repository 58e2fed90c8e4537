#include <cstddef>
#include <cstdint>

#include "conformance/random.h"
#include "fuzz/corpus.h"
#include "quelcodec/quelcodec.h"

namespace quel::fuzz {
namespace {

using conformance::Random;

// Steps of receiver_fuzz, with all that each reads.
class ReceiverSeed {
 public:
  ReceiverSeed(int flavor, int least, int most)
      : units_(coded(flavor, 17000 * static_cast<std::size_t>(most % 3), 24)),
        samples_(quel_samples_per_unit(flavor)),
        random_(static_cast<std::uint64_t>(1000 * flavor + most)) {
    append(input_, static_cast<std::uint64_t>(flavor), 1);
    append(input_, static_cast<std::uint64_t>(least), 2);
    append(input_, static_cast<std::uint64_t>(most), 2);
  }

  void next(int units = 1) {
    step(0, units - 1);
    unit();
  }
  void any_numbers(std::uint32_t sequence, std::uint32_t timestamp) {
    step(2, 0);
    append(input_, sequence, 4);
    append(input_, timestamp, 4);
    append(input_, random_.bits(), 8);
    unit();
  }
  // Packets and units to go on or back by.
  void elsewhere(int packets, int units) {
    step(3, 0);
    append(input_, static_cast<std::uint64_t>(packets + 128), 1);
    append(input_, static_cast<std::uint64_t>(units * samples_) & 0xffff, 2);
    unit();
  }
  void pull(int samples) {
    step(4, 0);
    append(input_, static_cast<std::uint64_t>(samples), 2);
  }
  void pull_unit() { pull(samples_); }
  void move() { step(5, 0); }
  void reset() { step(6, 0); }
  void wrong_calls() {
    for (int kind = 0; kind < 4; ++kind) {
      step(7, kind);
      if (kind == 1) append(input_, 30, 2);
      if (kind == 3) append(input_, random_.bits(), 5);
    }
  }
  void any_step() {
    switch (random_.integer(0, 11)) {
      case 0:
        return any_numbers(random_.bits(), random_.bits());
      case 1:
        return elsewhere(random_.integer(-3, 3), random_.integer(-3, 3));
      case 2:
        return pull(random_.integer(0, 700));
      case 3:
        return move();
      case 4:
        return next(random_.integer(1, 4));
      case 5:
      case 6:
      case 7:
        return pull_unit();
      default:
        return next();
    }
  }
  void add_to(Corpus& corpus) const { corpus.add("receiver_fuzz", input_, steps_); }

 private:
  void step(int kind, int count) {
    append(input_, static_cast<std::uint64_t>(kind | count << 3), 1);
    ++steps_;
  }
  void unit() { append(input_, units_[static_cast<std::size_t>(taken_++) % units_.size()]); }

  std::vector<Bytes> units_;
  int samples_;
  Random random_;
  Bytes input_;
  int steps_ = 0, taken_ = 0;
};

}  // namespace

void receiver_seeds(Corpus& corpus) {
  for (int flavor = 0; flavor < 4; ++flavor) {
    ReceiverSeed call(flavor, 0, 400);
    for (int k = 0; k < 40; ++k) {
      call.next();
      call.pull_unit();
    }
    call.add_to(corpus);

    ReceiverSeed odd(flavor, 20, 200);
    odd.wrong_calls();
    odd.any_numbers(0xfffffffe, 0xfffffff0);
    for (int k = 0; k < 8; ++k) odd.next();
    odd.pull(1500);
    odd.elsewhere(1, 1);    // one lost
    odd.elsewhere(-2, -2);  // it comes after all
    odd.elsewhere(-1, -1);  // twice
    odd.elsewhere(1, 1);
    odd.pull(1999);
    odd.pull(1999);
    odd.next(3);           // late
    odd.elsewhere(0, 20);  // not sent
    odd.pull(700);
    odd.any_numbers(77, 1u << 31);  // a restart
    odd.next();
    odd.next();
    odd.move();
    odd.pull(1000);
    odd.reset();
    odd.next();
    odd.pull(0);
    odd.pull(1);
    odd.add_to(corpus);

    for (int most = 0; most <= 1000; most += 250) {
      ReceiverSeed any(flavor, most / 2, most);
      for (int k = 0; k < 60; ++k) any.any_step();
      any.add_to(corpus);
    }
  }
}

}  // namespace quel::fuzz
