#include "fuzz/corpus.h"

#include <fstream>
#include <quelcodec/quelcodec.hpp>
#include <stdexcept>

#include "conformance/conformance.h"

namespace quel::fuzz {

void Corpus::add(const std::string& target, const Bytes& input, int outcome) {
  // scripts/fuzz says as much to the fuzzers, which cut longer inputs without a word.
  constexpr std::size_t longest = 4096;
  const std::filesystem::path folder = folder_ / target;
  const int number = counts_[target]++;
  if (input.size() > longest) {
    throw std::runtime_error(folder.string() + ": too long: number " + std::to_string(number));
  }
  std::filesystem::create_directories(folder);
  std::ofstream file(folder / (std::to_string(number) + "-" + std::to_string(outcome)),
                     std::ios::binary);
  file.write(reinterpret_cast<const char*>(input.data()),
             static_cast<std::streamsize>(input.size()));
  file.close();
  if (!file) throw std::runtime_error(folder.string() + ": cannot be written");
}

void append(Bytes& to, std::span<const std::uint8_t> bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

void append(Bytes& to, const std::string& text) {
  to.insert(to.end(), text.begin(), text.end());
}

void append(Bytes& to, std::span<const std::int16_t> pcm) {
  for (const std::int16_t x : pcm) {
    to.push_back(static_cast<std::uint8_t>(x & 0xff));
    to.push_back(static_cast<std::uint8_t>(x >> 8 & 0xff));
  }
}

void append(Bytes& to, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) to.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

Pcm signal(int flavor, std::size_t from, std::size_t samples) {
  const Pcm whole = conformance::conformance_signal(check(quel_sampling_rate(flavor)));
  const auto at = whole.begin() + static_cast<std::ptrdiff_t>(from % (whole.size() - samples));
  return {at, at + static_cast<std::ptrdiff_t>(samples)};
}

std::vector<Bytes> coded(int flavor, std::size_t from, std::size_t units) {
  Encoder encoder(flavor);
  const Pcm pcm = signal(flavor, from, units * encoder.samples_per_unit());
  std::vector<Bytes> out;
  for (std::size_t u = 0; u < units; ++u) {
    Bytes unit(encoder.bytes_per_unit());
    encoder.encode(
        std::span(pcm).subspan(u * encoder.samples_per_unit(), encoder.samples_per_unit()), unit);
    out.push_back(unit);
  }
  return out;
}

}  // namespace quel::fuzz
