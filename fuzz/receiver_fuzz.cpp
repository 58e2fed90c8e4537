// One receiver through many calls: packets that follow, packets with any numbers, pulls of any
// size, resets, calls that are wrong. Beside it a second one on the heap that is pulled in pieces
// and as floats; both must give the same, and counts must add up.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "quelcodec/quelcodec.h"

namespace quel::fuzz {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

// More would take too long under the sanitizers.
constexpr std::uint64_t most_samples = 60000;

struct Destroy {
  void operator()(quel_receiver* receiver) const { quel_receiver_destroy(receiver); }
};

class Session {
 public:
  Session(FuzzInput& input, const quel_receiver_options& options);
  bool over() const { return input_.empty() || pulled_ >= most_samples; }
  void step();

 private:
  void push(std::uint64_t came, int units);
  void pull(std::size_t samples);
  void move();
  void call_wrongly(int kind);
  quel_receiver_counts counts() const;

  FuzzInput& input_;
  quel_receiver_options options_;
  std::size_t unit_bytes_, most_units_;
  Bytes memory_;  // just large enough; operator new aligns it
  quel_receiver* receiver_ = nullptr;
  std::unique_ptr<quel_receiver, Destroy> beside_;
  std::uint32_t sequence_ = 0, timestamp_ = 0;
  std::uint64_t came_ = 0, packets_ = 0, pulled_ = 0;
};

Session::Session(FuzzInput& input, const quel_receiver_options& options)
    : input_(input),
      options_(options),
      unit_bytes_(static_cast<std::size_t>(quel_bytes_per_unit(options.flavor))),
      most_units_(static_cast<std::size_t>(quel_sampling_rate(options.flavor) /
                                           quel_samples_per_unit(options.flavor))),
      memory_(static_cast<std::size_t>(quel_receiver_size(&options))) {
  require(quel_receiver_init(memory_.data(), memory_.size(), &options, &receiver_) == QUEL_OK);
  quel_receiver* made = nullptr;
  require(quel_receiver_create(&options, &made) == QUEL_OK);
  beside_.reset(made);
}

quel_receiver_counts Session::counts() const {
  quel_receiver_counts counts = QUEL_RECEIVER_COUNTS, beside = QUEL_RECEIVER_COUNTS;
  require(quel_receiver_statistics(receiver_, &counts) == QUEL_OK);
  require(quel_receiver_statistics(beside_.get(), &beside) == QUEL_OK);
  require(std::memcmp(&counts, &beside, sizeof counts) == 0);
  require(counts.received + counts.duplicated + counts.stray == packets_);
  require(counts.late <= counts.received);
  const auto rate = static_cast<std::uint64_t>(quel_sampling_rate(options_.flavor));
  require(counts.target * 1000 <= static_cast<std::uint64_t>(options_.most_delay) * rate);
  require(counts.jitter <= 10 * rate);
  return counts;
}

// The input has the bytes of one unit, which all of the packet are.
void Session::push(std::uint64_t came, int units) {
  const Bytes unit = input_.bytes(unit_bytes_);
  Bytes bytes;
  for (int k = 0; k < units; ++k) bytes.insert(bytes.end(), unit.begin(), unit.end());
  require(quel_receiver_push(receiver_, sequence_, timestamp_, came, bytes.data(), bytes.size()) ==
          QUEL_OK);
  require(quel_receiver_push(beside_.get(), sequence_, timestamp_, came, bytes.data(),
                             bytes.size()) == QUEL_OK);
  ++packets_;
  ++sequence_;
  timestamp_ += static_cast<std::uint32_t>(units * quel_samples_per_unit(options_.flavor));
}

void Session::pull(std::size_t samples) {
  pulled_ += samples;
  Pcm pcm(samples);
  require(quel_receiver_pull(receiver_, pcm.data(), samples) == QUEL_OK);
  const std::size_t first = samples / 3;
  Pcm pieces(first);
  require(quel_receiver_pull(beside_.get(), pieces.data(), first) == QUEL_OK);
  std::vector<float> rest(samples - first);
  require(quel_receiver_pull_float(beside_.get(), rest.data(), rest.size()) == QUEL_OK);
  for (const float sample : rest) pieces.push_back(static_cast<std::int16_t>(sample * 32768.0f));
  require(pieces == pcm);
}

// Elsewhere the same bytes are the same receiver.
void Session::move() {
  Bytes elsewhere = memory_;
  memory_.swap(elsewhere);
  receiver_ = reinterpret_cast<quel_receiver*>(memory_.data());
}

// None of these changes anything.
void Session::call_wrongly(int kind) {
  const quel_receiver_counts before = counts();
  const Bytes bytes((most_units_ + 1) * unit_bytes_);
  const auto push_bytes = [&](std::size_t n) {
    return quel_receiver_push(receiver_, sequence_, timestamp_, came_, bytes.data(), n);
  };
  std::int16_t sample = 0;
  switch (kind) {
    case 0:
      require(push_bytes(0) == QUEL_ERROR_LENGTH);
      require(push_bytes(bytes.size()) == QUEL_ERROR_LENGTH);
      break;
    case 1: {
      const std::size_t n = input_.number<std::uint16_t>() % bytes.size();
      if (n % unit_bytes_ != 0) require(push_bytes(n) == QUEL_ERROR_LENGTH);
      break;
    }
    case 2:
      require(quel_receiver_push(receiver_, 0, 0, 0, nullptr, unit_bytes_) == QUEL_ERROR_ARGUMENT);
      require(quel_receiver_push(nullptr, 0, 0, 0, bytes.data(), unit_bytes_) ==
              QUEL_ERROR_ARGUMENT);
      require(quel_receiver_pull(receiver_, nullptr, 1) == QUEL_ERROR_ARGUMENT);
      require(quel_receiver_pull(nullptr, &sample, 1) == QUEL_ERROR_ARGUMENT);
      break;
    default: {
      quel_receiver_options options = QUEL_RECEIVER_OPTIONS(input_.byte());
      options.least_delay = input_.number<std::int16_t>();
      options.most_delay = input_.number<std::int16_t>();
      quel_receiver* made = nullptr;
      const int result = quel_receiver_create(&options, &made);
      const bool delays = 0 <= options.least_delay && options.least_delay <= options.most_delay &&
                          options.most_delay <= 1000;
      const int wanted = options.flavor > 3 ? QUEL_ERROR_FLAVOR
                         : delays           ? QUEL_OK
                                            : QUEL_ERROR_OPTIONS;
      require(result == wanted && (made != nullptr) == (result == QUEL_OK));
      quel_receiver_destroy(made);
    }
  }
  const quel_receiver_counts after = counts();
  require(std::memcmp(&before, &after, sizeof before) == 0);
}

void Session::step() {
  const int what = input_.step();
  const int count = what >> 3;
  switch (what & 7) {
    case 0:
    case 1:
      came_ += 10000u * static_cast<unsigned>(count);
      push(came_, 1 + count % 4);
      break;
    case 2:
      sequence_ = input_.number<std::uint32_t>();
      timestamp_ = input_.number<std::uint32_t>();
      push(input_.number<std::uint64_t>(), 1 + count % static_cast<int>(most_units_));
      break;
    case 3:
      sequence_ += static_cast<std::uint32_t>(input_.range(0, 255) - 128);
      timestamp_ += static_cast<std::uint32_t>(input_.number<std::int16_t>());
      push(came_, 1);
      break;
    case 4:
      pull(input_.number<std::uint16_t>() % 2000u);
      break;
    case 5:
      move();
      break;
    case 6:
      require(quel_receiver_reset(receiver_) == QUEL_OK);
      require(quel_receiver_reset(beside_.get()) == QUEL_OK);
      packets_ = 0;
      break;
    default:
      call_wrongly(count % 4);
  }
  counts();
}

}  // namespace
}  // namespace quel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quel::fuzz;
  FuzzInput input(data, size);
  quel_receiver_options options = QUEL_RECEIVER_OPTIONS(input.byte() & 3);
  options.least_delay = input.range(0, 1000);
  options.most_delay = std::max(options.least_delay, input.range(0, 1000));
  Session session(input, options);
  while (!session.over()) session.step();
  check_seed(input);
  return 0;
}
