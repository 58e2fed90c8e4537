// How fast this library codes and decodes beside coders that Debian packages; scripts/bench calls
// it. Prints one line per figure, its parts separated by tabs.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "peers/contest.h"
#include "speech.h"

namespace quel::bench {
namespace {

struct Options {
  std::string folder;
  double seconds = 60.0;
  int rounds = 11;
  double least_timing = 0.1;
};

void print_times(const char* direction, const Contestant& contestant,
                 const std::vector<double>& seconds) {
  std::vector<double> speeds;
  for (const double s : seconds) speeds.push_back(1.0 / s);
  const auto [lower, median, upper] = quartiles(speeds);
  std::printf("speed\t%s\t%s\t%.1f\t%.1f\t%.1f\n", direction, contestant.coder().name.c_str(),
              median, lower, upper);
}

void print_ratio(const char* direction, const Contestant& own, const Contestant& peer,
                 const Quartiles& q) {
  std::printf("ratio\t%s\t%d\t%s\t%.3f\t%.3f\t%.3f\n", direction, own.coder().flavor,
              peer.coder().name.c_str(), q.median, q.lower, q.upper);
}

// All that code sound of one sampling rate.
void run(const Options& options, int rate, const std::vector<Coder>& coders) {
  const Speech speech = read_speech(options.folder, rate, options.seconds);
  std::printf("speech\t%d\t%.0f\t%zu\t%s\n", rate, options.seconds, speech.files,
              speech.repeated ? "repeated" : "once");
  std::vector<Contestant> contestants;
  for (const Coder& coder : coders) {
    contestants.emplace_back(coder, speech.pcm, options.least_timing);
  }
  run_rounds(contestants, options.rounds);
  for (const Contestant& c : contestants) {
    std::printf("coder\t%s\t%d\t%.2f\t%.3f\n", c.coder().name.c_str(), rate, c.kbit_per_second(),
                c.likeness());
    print_times("encode", c, c.encoding());
    print_times("decode", c, c.decoding());
  }
  for (const Contestant& own : contestants) {
    if (own.coder().flavor < 0) continue;
    for (const Contestant& peer : contestants) {
      if (peer.coder().flavor >= 0) continue;
      print_ratio("encode", own, peer, ratio(own.encoding(), peer.encoding()));
      print_ratio("decode", own, peer, ratio(own.decoding(), peer.decoding()));
    }
  }
}

void run_all(const Options& options) {
  const Peers found = peers();
  for (const std::string& package : found.missing) {
    std::printf("missing\t%s\n", package.c_str());
    std::fprintf(stderr, "Built without %s\n", package.c_str());
  }
  const char* const cpu = std::getenv("QUELCODEC_CPU");
  std::printf("set\t%s\nrounds\t%d\n", cpu != nullptr ? cpu : "chosen", options.rounds);
  for (const int rate : {8000, 16000}) {
    std::vector<Coder> coders;
    for (int flavor = 0; flavor < 4; ++flavor) coders.push_back(own_coder(flavor));
    coders.insert(coders.end(), found.coders.begin(), found.coders.end());
    std::erase_if(coders, [rate](const Coder& coder) { return coder.rate != rate; });
    run(options, rate, coders);
  }
}

}  // namespace
}  // namespace quel::bench

int main(int argc, char** argv) {
  CLI::App app{"Speed of the codec beside other coders"};
  app.name("quel_peers");
  quel::bench::Options options;
  app.add_option("folder", options.folder, "recorded speech, .wav and .flac")->required();
  app.add_option("--seconds", options.seconds, "of speech")
      ->check(CLI::Range(1.0, 3600.0))
      ->capture_default_str();
  app.add_option("--rounds", options.rounds, "in which each coder has its turn")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--least-timing", options.least_timing,
                 "seconds of processor time of a measurement, for which a fast coder codes the "
                 "speech several times")
      ->check(CLI::Range(0.0, 10.0))
      ->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  try {
    quel::bench::run_all(options);
  } catch (const std::exception& error) {
    std::cerr << "quel_peers: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
