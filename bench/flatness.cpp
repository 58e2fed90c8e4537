// Whether the codec's cost is flat: whatever the length of the sound, the number of streams and
// threads, the kind of sound; and how much the slowest unit takes. scripts/bench calls it. Prints
// one line per figure, its parts separated by tabs.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "conformance/random.h"
#include "measure.h"
#include "speech.h"

namespace quel::bench {
namespace {

using Pcm = std::vector<std::int16_t>;

struct Options {
  std::string folder;
  double seconds = 60.0;
  double longest = 3600.0;
  int rounds = 3;
};

/// Processor time, seconds.
struct Cost {
  double encoding = 0.0, decoding = 0.0;
};

struct Flavor {
  explicit Flavor(int number)
      : number(number),
        rate(check(quel_sampling_rate(number))),
        samples(static_cast<std::size_t>(check(quel_samples_per_unit(number)))),
        bytes(static_cast<std::size_t>(check(quel_bytes_per_unit(number)))) {}
  int number, rate;
  std::size_t samples, bytes;  // of a unit
};

/// Streams in turn, unit by unit: all code `units` units altogether, each from a place of its own
/// on in the sound, which starts again where it ends; then all decode them.
Cost code(const Flavor& flavor, const Pcm& pcm, std::size_t units, std::size_t streams) {
  const std::size_t there = pcm.size() / flavor.samples;
  std::vector<std::uint8_t> coded(units * flavor.bytes);
  std::vector<std::int16_t> heard(flavor.samples);
  const auto place = [&](std::size_t k) {
    return (k % streams * there / streams + k / streams) % there;
  };
  Cost cost;
  double start = processor_seconds();
  {
    std::vector<Encoder> encoders;
    for (std::size_t s = 0; s < streams; ++s) encoders.emplace_back(flavor.number);
    for (std::size_t k = 0; k < units; ++k) {
      encoders[k % streams].encode(
          std::span(pcm).subspan(place(k) * flavor.samples, flavor.samples),
          std::span(coded).subspan(k * flavor.bytes, flavor.bytes));
    }
  }
  cost.encoding = processor_seconds() - start;
  start = processor_seconds();
  {
    std::vector<Decoder> decoders;
    for (std::size_t s = 0; s < streams; ++s) decoders.emplace_back(flavor.number);
    for (std::size_t k = 0; k < units; ++k) {
      decoders[k % streams].decode(std::span(coded).subspan(k * flavor.bytes, flavor.bytes),
                                   QUEL_ALL_RECEIVED, heard);
    }
  }
  cost.decoding = processor_seconds() - start;
  return cost;
}

/// Times real time over rounds.
class Speeds {
 public:
  explicit Speeds(double seconds_of_sound) : sound_(seconds_of_sound) {}
  void add(const Cost& cost) {
    encoding_.push_back(sound_ / cost.encoding);
    decoding_.push_back(sound_ / cost.decoding);
  }
  /// "WHAT FLAVOR CASE ENCODING DECODING": medians.
  void print(const char* what, const Flavor& flavor, const std::string& name) const {
    std::printf("%s\t%d\t%s\t%.1f\t%.1f\n", what, flavor.number, name.c_str(),
                quartiles(encoding_).median, quartiles(decoding_).median);
    std::fflush(stdout);
  }

 private:
  double sound_;
  std::vector<double> encoding_, decoding_;
};

std::size_t units_of(const Flavor& flavor, double seconds) {
  return static_cast<std::size_t>(seconds * flavor.rate / static_cast<double>(flavor.samples));
}

double seconds_of(const Flavor& flavor, std::size_t units) {
  return static_cast<double>(units * flavor.samples) / flavor.rate;
}

// Short sound is coded again and again, with new streams, until it is as much as a minute.
void by_length(const Options& options, const Flavor& flavor, const Pcm& pcm) {
  for (const double length : {1.0, 10.0, 60.0, 600.0, 3600.0}) {
    if (length > options.longest) break;
    const std::size_t units = units_of(flavor, length);
    const int times = std::max(1, static_cast<int>(60.0 / length));
    Speeds speeds(times * seconds_of(flavor, units));
    for (int round = 0; round < (length > 60.0 ? 1 : options.rounds); ++round) {
      Cost sum;
      for (int k = 0; k < times; ++k) {
        const Cost cost = code(flavor, pcm, units, 1);
        sum.encoding += cost.encoding;
        sum.decoding += cost.decoding;
      }
      speeds.add(sum);
    }
    speeds.print("length", flavor, std::to_string(static_cast<int>(length)));
  }
}

void by_streams(const Options& options, const Flavor& flavor, const Pcm& pcm) {
  for (const std::size_t streams : {1u, 10u, 100u, 1000u}) {
    const std::size_t units = std::max<std::size_t>(units_of(flavor, 60.0), 20 * streams);
    Speeds speeds(seconds_of(flavor, units));
    for (int round = 0; round < options.rounds; ++round) {
      speeds.add(code(flavor, pcm, units, streams));
    }
    speeds.print("streams", flavor, std::to_string(streams));
  }
}

// Each thread has a stream of its own; the time is the mean of theirs.
void by_threads(const Options& options, const Flavor& flavor, const Pcm& pcm) {
  const std::size_t units = units_of(flavor, 60.0);
  for (const std::size_t count : {1u, 2u}) {
    Speeds speeds(static_cast<double>(count) * seconds_of(flavor, units));
    for (int round = 0; round < options.rounds; ++round) {
      std::vector<Cost> costs(count);
      std::vector<std::thread> threads;
      for (Cost& cost : costs) threads.emplace_back([&] { cost = code(flavor, pcm, units, 1); });
      for (std::thread& thread : threads) thread.join();
      Cost sum;
      for (const Cost& cost : costs) {
        sum.encoding += cost.encoding;
        sum.decoding += cost.decoding;
      }
      speeds.add(sum);
    }
    speeds.print("threads", flavor, std::to_string(count));
  }
}

// Speech of two seconds and silence of eight, in which all that filters remember dies away, down to
// where numbers lose their precision.
Pcm fading(const Pcm& speech, int rate) {
  Pcm pcm = speech;
  const auto part = static_cast<std::size_t>(rate);
  for (std::size_t n = 0; n < pcm.size(); ++n) {
    if (n % (10 * part) >= 2 * part) pcm[n] = 0;
  }
  return pcm;
}

Pcm noise(std::size_t count, int peak) {
  conformance::Random random(1);
  Pcm pcm(count);
  for (std::int16_t& x : pcm) x = static_cast<std::int16_t>(random.integer(-peak, peak));
  return pcm;
}

void by_kind(const Options& options, const Flavor& flavor, const Pcm& speech) {
  const std::pair<const char*, Pcm> kinds[] = {
      {"speech", speech},
      {"silence", Pcm(speech.size())},
      {"speech that fades to silence", fading(speech, flavor.rate)},
      {"noise of one step", noise(speech.size(), 1)},
      {"noise at full scale", noise(speech.size(), 32767)},
  };
  const std::size_t units = units_of(flavor, 60.0);
  std::vector<Speeds> speeds(std::size(kinds), Speeds(seconds_of(flavor, units)));
  for (int round = 0; round < options.rounds; ++round) {
    for (std::size_t k = 0; k < std::size(kinds); ++k) {
      speeds[k].add(code(flavor, kinds[k].second, units, 1));
    }
  }
  for (std::size_t k = 0; k < std::size(kinds); ++k) {
    speeds[k].print("kind", flavor, kinds[k].first);
  }
}

/// The least time of each unit over passes that are all the same: what the machine does beside
/// comes and goes.
class LeastTimes {
 public:
  explicit LeastTimes(std::size_t units) : least_(units, 1.0) {}
  template <class Work>
  void measure(std::size_t unit, Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    least_[unit] = std::min(least_[unit], time.count());
  }
  double slowest_to_mean() const {
    double sum = 0.0;
    for (const double time : least_) sum += time;
    return *std::max_element(least_.begin(), least_.end()) * static_cast<double>(least_.size()) /
           sum;
  }

 private:
  std::vector<double> least_;
};

void slowest_unit(const Options& options, const Flavor& flavor, const Pcm& pcm) {
  const std::size_t units = std::min(units_of(flavor, 30.0), pcm.size() / flavor.samples);
  LeastTimes encoding(units), decoding(units);
  std::vector<std::uint8_t> unit(flavor.bytes);
  std::vector<std::int16_t> heard(flavor.samples);
  for (int pass = 0; pass < 5 * options.rounds; ++pass) {
    Encoder encoder(flavor.number);
    Decoder decoder(flavor.number);
    for (std::size_t k = 0; k < units; ++k) {
      const auto samples = std::span(pcm).subspan(k * flavor.samples, flavor.samples);
      encoding.measure(k, [&] { encoder.encode(samples, unit); });
      decoding.measure(k, [&] { decoder.decode(unit, QUEL_ALL_RECEIVED, heard); });
    }
  }
  std::printf("slowest\t%d\t\t%.2f\t%.2f\n", flavor.number, encoding.slowest_to_mean(),
              decoding.slowest_to_mean());
}

void run(const Options& options) {
  for (int number = 0; number < 4; ++number) {
    const Flavor flavor(number);
    const Pcm pcm = read_speech(options.folder, flavor.rate, options.seconds).pcm;
    by_length(options, flavor, pcm);
    by_streams(options, flavor, pcm);
    by_threads(options, flavor, pcm);
    by_kind(options, flavor, pcm);
    slowest_unit(options, flavor, pcm);
  }
}

}  // namespace
}  // namespace quel::bench

int main(int argc, char** argv) {
  CLI::App app{"Whether the codec's cost is flat"};
  app.name("quel_flatness");
  quel::bench::Options options;
  app.add_option("folder", options.folder, "recorded speech, .wav and .flac")->required();
  app.add_option("--longest", options.longest, "seconds of the longest sound")
      ->check(CLI::Range(60.0, 3600.0))
      ->capture_default_str();
  app.add_option("--rounds", options.rounds, "of each measurement")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  try {
    quel::bench::run(options);
  } catch (const std::exception& error) {
    std::cerr << "quel_flatness: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
