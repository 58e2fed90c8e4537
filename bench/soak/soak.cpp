// Hours of sound through one encoder and one decoder, as fast as it goes; scripts/soak calls it.
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <string>
#include <vector>

#include "soak/coder_pair.h"
#include "soak/soak_signal.h"
#include "support/signals.h"

namespace quel::soak {
namespace {

// Value in KiB of a line of this process's status.
long status_kib(const char* key) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.starts_with(key)) return std::strtol(line.c_str() + std::strlen(key), nullptr, 10);
  }
  return 0;
}

// From now on, VmHWM is the peak since.
void forget_peak() {
  std::ofstream("/proc/self/clear_refs") << 5;
}

std::size_t heap_in_use() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

std::vector<std::int16_t> read_pool(const char* name) {
  std::ifstream file(name, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::vector<std::int16_t> pcm(bytes.size() / 2);
  std::memcpy(pcm.data(), bytes.data(), pcm.size() * 2);
  return pcm;
}

// Seconds of one kind of sound.
struct Tally {
  long seconds = 0;
  double encode_ns = 0, decode_ns = 0;  // sums of times per unit
};

class Soak {
 public:
  Soak(int flavor, std::vector<std::int16_t> pool)
      : flavor_(flavor),
        rate_(quel_sampling_rate(flavor)),
        signal_(std::move(pool), rate_, static_cast<std::uint64_t>(flavor) + 1),
        losses_(static_cast<std::uint64_t>(flavor) + 11),
        hostile_(flavor, static_cast<std::uint64_t>(flavor) + 21),
        pair_(flavor),
        before_(flavor),
        again_(flavor) {
    waiting_.reserve(static_cast<std::size_t>(2 * rate_));
  }

  void run(long seconds) {
    constexpr long warm_up = 60;
    for (long s = 0; s < seconds; ++s) {
      if (s == warm_up) {
        forget_peak();
        rss_start_ = status_kib("VmRSS:");
        heap_start_ = heap_in_use();
      }
      second();
      if (s % 3600 == 3599) {
        std::fprintf(stderr, "flavor %d: %ld h, %ld KiB\n", flavor_, s / 3600 + 1,
                     status_kib("VmRSS:"));
      }
    }
    rss_end_ = status_kib("VmRSS:");
    heap_end_ = heap_in_use();
  }

  // Whether the streams, reset, are as good as new ones.
  bool as_new() {
    const auto pcm = test::speech_like_pcm(10 * quel_samples_per_unit(flavor_), 1, rate_);
    const std::array<std::uint32_t, 10> received{3, 3, 0, 1, 3, 2, 3, 3, 0, 3};
    CoderPair fresh(flavor_);
    pair_.reset();
    return pair_.code(pcm, received).digest == fresh.code(pcm, received).digest;
  }

  // One line per figure: name, tab, value.
  void print() const {
    const double coded = static_cast<double>(units_) * quel_samples_per_unit(flavor_) / rate_;
    std::printf("flavor\t%d\nhours\t%.2f\nsamples\t%lld\n", flavor_, coded / 3600,
                units_ * quel_samples_per_unit(flavor_));
    std::printf("realtime\t%.0f\n", coded / (total_ns_ * 1e-9));
    std::printf("lost_percent\t%.1f\n",
                100.0 * static_cast<double>(lost_) / static_cast<double>(frames_));
    std::printf("encode_slowest_ns\t%.0f\nencode_fastest_ns\t%.0f\n", encode_slow_, encode_fast_);
    std::printf("decode_slowest_ns\t%.0f\ndecode_fastest_ns\t%.0f\n", decode_slow_, decode_fast_);
    std::printf("encode_ratio\t%.2f\ndecode_ratio\t%.2f\n", encode_slow_ / encode_fast_,
                decode_slow_ / decode_fast_);
    std::printf("encode_slowest_kind\t%s\ndecode_slowest_kind\t%s\n", name_of(encode_slow_kind_),
                name_of(decode_slow_kind_));
    const auto units = static_cast<double>(units_);
    std::printf("encode_denormal_percent\t%.2f\n", 100.0 * encode_denormals_ / units);
    std::printf("decode_denormal_percent\t%.2f\n", 100.0 * decode_denormals_ / units);
    std::printf("rss_start_kib\t%ld\nrss_peak_kib\t%ld\nrss_end_kib\t%ld\n", rss_start_,
                status_kib("VmHWM:"), rss_end_);
    std::printf("heap_start\t%zu\nheap_end\t%zu\n", heap_start_, heap_end_);
    for (std::size_t k = 0; k < tallies_.size(); ++k) {
      const Tally& t = tallies_[k];
      const auto n = static_cast<double>(std::max(t.seconds, 1L));
      std::printf("%s_seconds\t%ld\n%s_encode_mean_ns\t%.0f\n%s_decode_mean_ns\t%.0f\n",
                  name_of(static_cast<Kind>(k)), t.seconds, name_of(static_cast<Kind>(k)),
                  t.encode_ns / n, name_of(static_cast<Kind>(k)), t.decode_ns / n);
    }
  }

  bool drifts() const { return rss_end_ > rss_start_ + 256 || heap_end_ != heap_start_; }
  double worst_ratio() const {
    return std::max(encode_slow_ / encode_fast_, decode_slow_ / decode_fast_);
  }

 private:
  void second() {
    const std::size_t had = waiting_.size();
    waiting_.resize(had + static_cast<std::size_t>(rate_));
    const Kind kind = signal_.next_second(std::span(waiting_).subspan(had));
    const auto unit = static_cast<std::size_t>(quel_samples_per_unit(flavor_));
    const std::size_t samples = waiting_.size() / unit * unit;
    masks_.clear();
    for (std::size_t k = 0; k < samples / unit; ++k) masks_.push_back(mask());
    const std::span<const std::int16_t> pcm(waiting_.data(), samples);
    const std::span<const std::uint8_t> instead = hostile_.next(kind, masks_.size());
    before_.become(pair_);
    Cost cost = pair_.code(pcm, masks_, instead);
    total_ns_ += (cost.encode_ns + cost.decode_ns) * static_cast<double>(cost.units);
    repeat(cost, pcm, instead);
    count(cost, kind);
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(samples));
  }

  std::uint32_t mask() {
    std::uint32_t received = 0;
    for (int frame = 0; frame < quel_frames_per_unit(flavor_); ++frame) {
      const bool lost = losses_.lost();
      received |= (lost ? 0u : 1u) << frame;
      lost_ += lost ? 1 : 0;
      ++frames_;
    }
    return received;
  }

  // A second that seems slower than any before is coded again from the same state and counts with
  // its least time: what else the machine does comes and goes, what the signal does stays.
  void repeat(Cost& cost, std::span<const std::int16_t> pcm,
              std::span<const std::uint8_t> instead) {
    constexpr int most = 20;
    for (int k = 0; k < most; ++k) {
      if (cost.encode_ns <= encode_slow_ && cost.decode_ns <= decode_slow_) return;
      if (k > 4) usleep(10000);
      again_.become(before_);
      const Cost once_more = again_.code(pcm, masks_, instead);
      if (once_more.digest != cost.digest) throw std::runtime_error("not the same a second time");
      cost.encode_ns = std::min(cost.encode_ns, once_more.encode_ns);
      cost.decode_ns = std::min(cost.decode_ns, once_more.decode_ns);
    }
  }

  void count(const Cost& cost, Kind kind) {
    if (cost.encode_ns > encode_slow_) encode_slow_kind_ = kind;
    if (cost.decode_ns > decode_slow_) decode_slow_kind_ = kind;
    encode_slow_ = std::max(encode_slow_, cost.encode_ns);
    decode_slow_ = std::max(decode_slow_, cost.decode_ns);
    encode_fast_ = std::min(encode_fast_, cost.encode_ns);
    decode_fast_ = std::min(decode_fast_, cost.decode_ns);
    units_ += static_cast<long long>(cost.units);
    encode_denormals_ += static_cast<double>(cost.encode_denormals);
    decode_denormals_ += static_cast<double>(cost.decode_denormals);
    Tally& tally = tallies_[static_cast<std::size_t>(kind)];
    ++tally.seconds;
    tally.encode_ns += cost.encode_ns;
    tally.decode_ns += cost.decode_ns;
  }

  int flavor_, rate_;
  Signal signal_;
  Losses losses_;
  HostileUnits hostile_;
  CoderPair pair_, before_, again_;
  std::vector<std::int16_t> waiting_;
  std::vector<std::uint32_t> masks_;
  long long units_ = 0, frames_ = 0, lost_ = 0;
  double total_ns_ = 0, encode_denormals_ = 0, decode_denormals_ = 0;
  double encode_slow_ = 0, decode_slow_ = 0, encode_fast_ = 1e18, decode_fast_ = 1e18;
  Kind encode_slow_kind_ = Kind::speech, decode_slow_kind_ = Kind::speech;
  std::array<Tally, static_cast<std::size_t>(Kind::count)> tallies_{};
  long rss_start_ = 0, rss_end_ = 0;
  std::size_t heap_start_ = 0, heap_end_ = 0;
};

int run(int flavor, double hours, const char* pool_file) {
  const int rate = quel_sampling_rate(flavor);
  auto pool =
      pool_file != nullptr ? read_pool(pool_file) : test::speech_like_pcm(120 * rate, 7, rate);
  if (rate < 0 || hours <= 0 || pool.size() < static_cast<std::size_t>(10 * rate)) {
    std::fprintf(stderr, "quel_soak FLAVOR HOURS [POOL of 10 s or more, 16 bit, native order]\n");
    return 2;
  }
  Soak soak(flavor, std::move(pool));
  soak.run(static_cast<long>(hours * 3600));
  soak.print();
  const bool as_new = soak.as_new();
  std::printf("as_new_after_reset\t%s\n", as_new ? "yes" : "no");
  if (soak.drifts()) std::fprintf(stderr, "flavor %d: memory drifts\n", flavor);
  if (!as_new) std::fprintf(stderr, "flavor %d: not as new after a reset\n", flavor);
  if (soak.worst_ratio() > 2) std::fprintf(stderr, "flavor %d: a slow second\n", flavor);
  return soak.drifts() || !as_new || soak.worst_ratio() > 2 ? 1 : 0;
}

}  // namespace
}  // namespace quel::soak

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "quel_soak FLAVOR HOURS [POOL]\n");
    return 2;
  }
  try {
    return quel::soak::run(std::atoi(argv[1]), std::atof(argv[2]), argc > 3 ? argv[3] : nullptr);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quel_soak: %s\n", error.what());
    return 1;
  }
}
