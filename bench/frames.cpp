// Codes and decodes the conformance signals of every flavor for callgrind, which writes one file
// per flavor and direction: scripts/instructions. Units at the start are left out, with all that
// happens once.
#include <valgrind/callgrind.h>

#include <cstdio>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <string>
#include <vector>

#include "conformance/conformance.h"

namespace {

constexpr double warm_up_seconds = 0.25;

// Units counted so far are forgotten, those of the `work` count under `name`.
template <class Work>
void count(const std::string& name, std::size_t units, std::size_t warm_up, Work work) {
  for (std::size_t k = 0; k < warm_up; ++k) work(k);
  CALLGRIND_START_INSTRUMENTATION;
  CALLGRIND_ZERO_STATS;
  for (std::size_t k = warm_up; k < units; ++k) work(k);
  CALLGRIND_DUMP_STATS_AT(name.c_str());
  CALLGRIND_STOP_INSTRUMENTATION;
}

void code(int flavor, double seconds) {
  quel::Encoder encoder(flavor);
  quel::Decoder decoder(flavor);
  const int rate = quel::check(quel_sampling_rate(flavor));
  const std::size_t samples = encoder.samples_per_unit(), bytes = encoder.bytes_per_unit();
  const auto units_in = [&](double s) {
    return static_cast<std::size_t>(s * rate / static_cast<double>(samples));
  };
  const std::vector<std::int16_t> pcm = quel::conformance::conformance_signal(rate);
  const std::size_t units = units_in(seconds), warm_up = units_in(warm_up_seconds) + 1;
  std::vector<std::uint8_t> coded(units * bytes);
  std::vector<std::int16_t> heard(decoder.max_samples());
  const std::string name = "flavor " + std::to_string(flavor);
  count("encode " + name, units, warm_up, [&](std::size_t k) {
    encoder.encode(std::span(pcm).subspan(k * samples, samples),
                   std::span(coded).subspan(k * bytes, bytes));
  });
  count("decode " + name, units, warm_up, [&](std::size_t k) {
    decoder.decode(std::span(coded).subspan(k * bytes, bytes), QUEL_ALL_RECEIVED, heard);
  });
  const auto frames = (units - warm_up) * static_cast<std::size_t>(quel_frames_per_unit(flavor));
  std::printf("%d\t%zu\n", flavor, frames);
}

}  // namespace

// One line per flavor: frames that were counted.
int main() {
  for (int flavor = 0; flavor < 4; ++flavor) code(flavor, 9.0);
  return 0;
}
