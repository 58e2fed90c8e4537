// Codes or decodes the conformance signal over and over, for scripts/time-shares to look at.
//
//   quel_steady FLAVOR encode|decode SECONDS   prints frames a second and the clock in GHz
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <vector>

#include "conformance/conformance.h"

namespace {

double processor_seconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

// Additions that wait for each other take a cycle each.
double gigahertz() {
  constexpr int additions = 200'000'000;
  unsigned sum = 1;
  const double begin = processor_seconds();
  for (int i = 0; i < additions / 8; ++i) {
    for (int k = 0; k < 8; ++k) {
      sum += 3;
      asm volatile("" : "+r"(sum));
    }
  }
  return additions / (processor_seconds() - begin) * 1e-9;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const int flavor = std::atoi(argv[1]);
  const bool encode = std::strcmp(argv[2], "encode") == 0;
  const double seconds = std::atof(argv[3]);
  quel::Encoder encoder(flavor);
  quel::Decoder decoder(flavor);
  const std::size_t samples = encoder.samples_per_unit(), bytes = encoder.bytes_per_unit();
  const auto pcm = quel::conformance::conformance_signal(quel::check(quel_sampling_rate(flavor)));
  const std::size_t units = pcm.size() / samples;
  std::vector<std::uint8_t> coded(units * bytes);
  std::vector<std::int16_t> heard(decoder.max_samples());
  const auto code = [&](bool now_encode) {
    for (std::size_t k = 0; k < units; ++k) {
      const auto unit = std::span(coded).subspan(k * bytes, bytes);
      if (now_encode) {
        encoder.encode(std::span(pcm).subspan(k * samples, samples), unit);
      } else {
        decoder.decode(unit, QUEL_ALL_RECEIVED, heard);
      }
    }
  };
  code(true);
  std::size_t done = 0;
  const double begin = processor_seconds();
  double took = 0.0;
  for (; took < seconds; took = processor_seconds() - begin) {
    code(encode);
    done += units;
  }
  const auto frames = static_cast<double>(done) * quel_frames_per_unit(flavor);
  std::printf("%.0f\t%.2f\n", frames / took, gigahertz());
  return 0;
}
