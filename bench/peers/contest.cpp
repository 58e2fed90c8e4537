#include "peers/contest.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace quel::bench {
namespace {

/// Speech and what a coder makes of it are alike by more than 0.5 even behind high-pass filters
/// that turn phases; sounds that have nothing to do with each other by less than 0.2, over 20 s.
constexpr double least_likeness = 0.3;
/// The longest delay of a coder here is 45 ms.
constexpr double most_delay_seconds = 0.06;
/// Enough to compare; every delay costs all of it.
constexpr double compared_seconds = 20.0;

int repetitions(double seconds, double least) {
  return std::max(1, static_cast<int>(std::ceil(least / std::max(seconds, 1e-4))));
}

}  // namespace

Contestant::Contestant(Coder coder, std::span<const std::int16_t> pcm, double least_timing)
    : coder_(std::move(coder)), pcm_(pcm.first(pcm.size() / coder_.samples * coder_.samples)) {
  const std::size_t units = pcm_.size() / coder_.samples;
  bytes_.resize(units * coder_.most_bytes);
  sizes_.resize(units);
  heard_.resize(pcm_.size());
  double start = processor_seconds();
  encode();
  encodings_ = repetitions(processor_seconds() - start, least_timing);
  start = processor_seconds();
  decode();
  decodings_ = repetitions(processor_seconds() - start, least_timing);
  const std::span<const std::int16_t> heard = heard_;
  const auto most = static_cast<std::size_t>(compared_seconds * coder_.rate);
  likeness_ = bench::likeness(pcm_.first(std::min(most, pcm_.size())),
                              heard.first(std::min(most, heard.size())),
                              static_cast<int>(most_delay_seconds * coder_.rate));
  if (likeness_ < least_likeness) {
    throw std::runtime_error(coder_.name + " does not give back what it was given");
  }
}

void Contestant::encode() {
  const std::unique_ptr<UnitEncoder> encoder = coder_.make_encoder();
  for (std::size_t k = 0; k < sizes_.size(); ++k) {
    sizes_[k] = encoder->encode(&pcm_[k * coder_.samples], &bytes_[k * coder_.most_bytes]);
  }
}

void Contestant::decode() {
  const std::unique_ptr<UnitDecoder> decoder = coder_.make_decoder();
  for (std::size_t k = 0; k < sizes_.size(); ++k) {
    decoder->decode(&bytes_[k * coder_.most_bytes], sizes_[k], &heard_[k * coder_.samples]);
  }
}

double Contestant::seconds_of_sound() const {
  return static_cast<double>(pcm_.size()) / coder_.rate;
}

double Contestant::kbit_per_second() const {
  std::size_t bytes = 0;
  for (const std::size_t size : sizes_) bytes += size;
  return 8e-3 * static_cast<double>(bytes) / seconds_of_sound();
}

double Contestant::time_encoding() {
  const double start = processor_seconds();
  for (int k = 0; k < encodings_; ++k) encode();
  encoding_.push_back((processor_seconds() - start) / (encodings_ * seconds_of_sound()));
  return encoding_.back();
}

double Contestant::time_decoding() {
  const double start = processor_seconds();
  for (int k = 0; k < decodings_; ++k) decode();
  decoding_.push_back((processor_seconds() - start) / (decodings_ * seconds_of_sound()));
  return decoding_.back();
}

void run_rounds(std::vector<Contestant>& contestants, int rounds) {
  const std::size_t count = contestants.size();
  for (int round = 0; round < rounds; ++round) {
    const std::size_t first = static_cast<std::size_t>(round) % count;
    for (std::size_t k = 0; k < count; ++k) contestants[(first + k) % count].time_encoding();
    for (std::size_t k = 0; k < count; ++k) contestants[(first + k) % count].time_decoding();
  }
}

Quartiles ratio(const std::vector<double>& seconds, const std::vector<double>& peer_seconds) {
  if (seconds.size() != peer_seconds.size()) throw std::invalid_argument("rounds without a pair");
  std::vector<double> ratios;
  for (std::size_t k = 0; k < seconds.size(); ++k) ratios.push_back(peer_seconds[k] / seconds[k]);
  return quartiles(std::move(ratios));
}

}  // namespace quel::bench
