// What a receiver makes of networks of every kind: scripts/receiver-table. Prints one line of a
// table per network and flavor:
//   quel_receiver_calls MINUTES
// Calls are made up, on a clock of their own; the same minutes give the same figures. Exit status 1
// where a receiver counts other losses than the network made.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "quelcodec/quelcodec.h"
#include "support/call.h"

namespace quel::bench {
namespace {

using test::Call;
using test::Network;
using test::Speech;

struct Row {
  const char* name;
  Network network;
};

Network network(double lost, double run, double jitter_ms, double reordered, double drift_ppm) {
  Network made;
  made.lost = lost;
  made.run = run;
  made.jitter_ms = jitter_ms;
  made.reordered = reordered;
  made.drift_ppm = drift_ppm;
  return made;
}

Network standing(double percent, double ms) {
  Network made = network(0, 1, 5, 0, 0);
  made.stalls = percent;
  made.stall_ms = ms;
  return made;
}

struct Destroy {
  void operator()(quel_receiver* receiver) const { quel_receiver_destroy(receiver); }
};

double percent(std::uint64_t part, double whole) {
  return 100.0 * static_cast<double>(part) / whole;
}

// One call. False where the counts are not the network's.
bool print_row(const Speech& speech, const Row& row, int in_packet, double minutes) {
  const quel_receiver_options options = QUEL_RECEIVER_OPTIONS(speech.flavor());
  quel_receiver* made = nullptr;
  if (quel_receiver_create(&options, &made) != QUEL_OK) return false;
  const std::unique_ptr<quel_receiver, Destroy> receiver(made);
  Network network = row.network;
  network.units = in_packet;
  network.block = speech.rate() / 50;
  Call call(speech, network, made);
  double delays = 0, blocks = 0;
  call.run(60 * minutes, [&](const auto&) {
    delays += static_cast<double>(test::counts_of(made).delay);
    ++blocks;
  });
  const std::uint64_t lost = call.lost();
  const quel_receiver_counts counts = test::counts_of(made);
  const double to_ms = 1000.0 / speech.rate();
  const double units = static_cast<double>(call.sent()) * in_packet;
  const double seconds = 60 * minutes;
  std::printf("| %d | %s | %.0f ms | %.2f %% | %.2f %% | %.2f %% | %.2f %% | %.1f ms/s |\n",
              speech.flavor(), row.name, delays / blocks * to_ms,
              percent(lost, static_cast<double>(call.sent())), percent(counts.concealed, units),
              percent(counts.late, static_cast<double>(call.sent())),
              percent(counts.dropped, units),
              static_cast<double>(counts.inserted + counts.removed) * to_ms / seconds);
  // The last packets may be under way.
  return counts.lost <= lost && counts.lost + 3 >= lost && counts.stray == 0;
}

}  // namespace
}  // namespace quel::bench

int main(int argc, char** argv) {
  using namespace quel::bench;
  const double minutes = argc == 2 ? std::atof(argv[1]) : 0;
  if (!(minutes > 0)) {
    std::fprintf(stderr, "quel_receiver_calls MINUTES\n");
    return 2;
  }
  const Row rows[] = {
      {"nothing odd", network(0, 1, 0, 0, 0)},
      {"5 % lost", network(5, 1, 0, 0, 0)},
      {"5 % lost, three in a row", network(5, 3, 0, 0, 0)},
      {"jitter of 5 ms", network(0, 1, 5, 0, 0)},
      {"jitter of 20 ms", network(0, 1, 20, 0, 0)},
      {"jitter of 60 ms", network(0, 1, 60, 0, 0)},
      {"5 % overtaken", network(0, 1, 0, 5, 0)},
      {"card 200 ppm fast", network(0, 1, 0, 0, 200)},
      {"card 200 ppm slow", network(0, 1, 0, 0, -200)},
      {"stands still for 300 ms every 500 packets", standing(0.2, 300)},
      {"5 % lost in twos, jitter of 20 ms, 2 % overtaken, 200 ppm", network(5, 2, 20, 2, 200)},
  };
  bool right = true;
  for (const int flavor : {QUEL_FLAVOR_8K5, QUEL_FLAVOR_16K}) {
    const Speech speech(flavor);
    const int in_packet = flavor == QUEL_FLAVOR_16K ? 2 : 1;  // packets of some 20 ms
    for (const Row& row : rows) {
      if (print_row(speech, row, in_packet, minutes)) continue;
      std::fprintf(stderr, "flavor %d, %s: other losses counted\n", flavor, row.name);
      right = false;
    }
  }
  return right ? 0 : 1;
}
