// How soon a decoder that starts in the middle of speech gives what one gives that came from the
// start, and whether what is sought in a file is the sound of the whole file: scripts/seek-table.
// Prints one line of a table per flavor:
//   quel_seek FOLDER MINUTES PLACES
// FOLDER holds the speech. Exit status 1 where a place does not meet the rest within the preroll.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "conformance/random.h"
#include "settling.h"
#include "speech.h"
#include "tools/ogg_decoder.h"
#include "tools/ogg_writer.h"

namespace quel::bench {
namespace {

using Pcm = std::vector<std::int16_t>;

constexpr int watched_seconds = 20;  // from each place on

/// Speech that was coded, and what a decoder makes of it from the start.
struct Coded {
  Coded(int number, const Pcm& pcm);
  std::span<const std::uint8_t> unit(std::size_t k) const {
    return std::span(units).subspan(k * bytes, bytes);
  }

  int flavor, rate;
  std::size_t samples, bytes, count;  // samples and bytes of a unit, and units
  std::vector<std::uint8_t> units;    // back to back
  Pcm heard;
};

Coded::Coded(int number, const Pcm& pcm)
    : flavor(number),
      rate(check(quel_sampling_rate(number))),
      samples(static_cast<std::size_t>(check(quel_samples_per_unit(number)))),
      bytes(static_cast<std::size_t>(check(quel_bytes_per_unit(number)))),
      count(pcm.size() / samples),
      units(count * bytes),
      heard(count * samples) {
  Encoder encoder(flavor);
  Decoder decoder(flavor);
  for (std::size_t k = 0; k < count; ++k) {
    encoder.encode(std::span(pcm).subspan(k * samples, samples),
                   std::span(units).subspan(k * bytes, bytes));
    decoder.decode(unit(k), QUEL_ALL_RECEIVED, std::span(heard).subspan(k * samples, samples));
  }
}

/// Samples after which a new decoder meets the one from the start, at each of so many random units
/// that have all that is watched after them.
std::vector<std::size_t> settling_times(const Coded& coded, int places,
                                        conformance::Random& random) {
  const std::size_t watched =
      static_cast<std::size_t>(watched_seconds * coded.rate) / coded.samples;
  if (coded.count <= 2 * watched) throw std::runtime_error("too little speech");
  Pcm heard(watched * coded.samples);
  std::vector<std::size_t> times;
  for (int i = 0; i < places; ++i) {
    const auto from =
        static_cast<std::size_t>(random.integer(1, static_cast<int>(coded.count - watched)));
    Decoder decoder(coded.flavor);
    for (std::size_t k = 0; k < watched; ++k) {
      decoder.decode(coded.unit(from + k), QUEL_ALL_RECEIVED,
                     std::span(heard).subspan(k * coded.samples, coded.samples));
    }
    times.push_back(settled_after(std::span(coded.heard).subspan(from * coded.samples), heard));
  }
  return times;
}

std::vector<std::uint8_t> file_of(const Coded& coded) {
  std::vector<std::uint8_t> file;
  const tools::OggHead head = tools::make_head(coded.flavor, 0);
  tools::OggWriter writer([&file](auto page) { file.insert(file.end(), page.begin(), page.end()); },
                          head, tools::make_tags());
  for (std::size_t k = 0; k < coded.count; ++k) writer.write(coded.unit(k));
  writer.finish(coded.heard.size() - head.pre_skip);
  return file;
}

/// Places that were sought in a file, by how the 5 s from there on compare to the whole file's.
struct Sought {
  int identical = 0, within_one = 0;  // the latter include the former
};

Sought seek_places(const Coded& coded, int places, conformance::Random& random) {
  const std::vector<std::uint8_t> file = file_of(coded);
  tools::MemorySource source(file);
  tools::OggReader reader(source, "speech");
  tools::OggDecoder decoder(reader);
  const auto whole = std::span(coded.heard).subspan(reader.head().pre_skip);
  const auto wanted = static_cast<std::size_t>(5 * coded.rate);
  Sought sought;
  for (int i = 0; i < places; ++i) {
    const auto from =
        static_cast<std::size_t>(random.integer(0, static_cast<int>(whole.size() - wanted)));
    decoder.seek(from);
    Pcm heard;
    while (heard.size() < wanted) {
      const auto chunk = decoder.next();
      if (chunk.empty()) break;
      heard.insert(heard.end(), chunk.begin(), chunk.end());
    }
    heard.resize(std::min(heard.size(), wanted));
    const auto there = whole.subspan(from, wanted);
    if (std::equal(heard.begin(), heard.end(), there.begin(), there.end())) ++sought.identical;
    if (heard.size() == wanted && settled_after(heard, there) == 0) ++sought.within_one;
  }
  return sought;
}

bool measure(int flavor, const Speech& speech, int places) {
  if (speech.repeated) throw std::runtime_error("the folder holds less speech than asked for");
  const Coded coded(flavor, speech.pcm);
  conformance::Random random(1);
  const std::vector<std::size_t> times = settling_times(coded, places, random);
  const int seeks = std::max(1, places / 5);
  const Sought sought = seek_places(coded, seeks, random);
  std::printf("| %d | %d |", flavor, places);
  for (const double share : {0.5, 0.9, 0.99, 0.999, 1.0}) {
    std::printf(" %.3f s |", static_cast<double>(not_exceeded(times, share)) / coded.rate);
  }
  const auto preroll = static_cast<std::size_t>(tools::ogg_preroll(flavor));
  std::printf(" %g s | %d of %d |\n", static_cast<double>(preroll) / coded.rate, sought.identical,
              seeks);
  std::fflush(stdout);
  return not_exceeded(times, 1.0) <= preroll && sought.within_one == seeks;
}

}  // namespace
}  // namespace quel::bench

int main(int argc, char** argv) try {
  using namespace quel::bench;
  const double minutes = argc == 4 ? std::atof(argv[2]) : 0.0;
  const int places = argc == 4 ? std::atoi(argv[3]) : 0;
  if (!(minutes >= 1.0 && minutes <= 1000.0) || places < 1) {
    std::fprintf(stderr, "quel_seek FOLDER MINUTES PLACES\n");
    return 2;
  }
  const Speech narrowband = read_speech(argv[1], 8000, 60.0 * minutes);
  const Speech wideband = read_speech(argv[1], 16000, 60.0 * minutes);
  bool all = true;
  for (const int flavor : {0, 1, 2, 3}) {
    all &= measure(flavor, flavor == 3 ? wideband : narrowband, places);
  }
  return all ? 0 : 1;
} catch (const std::exception& error) {
  std::fprintf(stderr, "quel_seek: %s\n", error.what());
  return 1;
}
