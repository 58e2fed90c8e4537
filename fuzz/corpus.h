#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <span>
#include <string>
#include <vector>

/// What the fuzzers start from; each seed has to be what its target reads. See check_seed in
/// fuzz_input.h.
namespace quel::fuzz {

using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

/// FOLDER/TARGET/NUMBER-OUTCOME for each seed.
class Corpus {
 public:
  explicit Corpus(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// outcome  what the target gives to check_seed: the steps that it reads, or a number of its own
  ///
  /// Throws std::runtime_error where a seed is too long for the fuzzers or cannot be written.
  void add(const std::string& target, const Bytes& input, int outcome);

 private:
  std::filesystem::path folder_;
  std::map<std::string, int> counts_;
};

void append(Bytes& to, std::span<const std::uint8_t> bytes);
void append(Bytes& to, const std::string& text);
/// Low bytes first.
void append(Bytes& to, std::span<const std::int16_t> pcm);
void append(Bytes& to, std::uint64_t value, int bytes);

/// A piece of the flavor's conformance signal.
Pcm signal(int flavor, std::size_t from, std::size_t samples);

/// Coded units of such a piece.
std::vector<Bytes> coded(int flavor, std::size_t from, std::size_t units);

void decoder_seeds(Corpus& corpus);
void encoder_seeds(Corpus& corpus);
void receiver_seeds(Corpus& corpus);
void plugin_seeds(Corpus& corpus);
void bits_seeds(Corpus& corpus);
void ogg_seeds(Corpus& corpus);
void command_seeds(Corpus& corpus);

}  // namespace quel::fuzz
