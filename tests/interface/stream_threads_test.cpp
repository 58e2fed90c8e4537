#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "quelcodec/quelcodec.h"
#include "support/signals.h"

namespace quel {
namespace {

using Pcm = std::vector<std::int16_t>;
using Bytes = std::vector<std::uint8_t>;

constexpr int streams = 256;
constexpr int threads = 16;
constexpr int units = 12;
// Streams of one part do the same things; there are parts of every flavor and concealment.
constexpr int parts = 16;

int flavor_of(int part) {
  return part % 4;
}

std::uint32_t mask_of(int part, int unit) {
  return (unit + part) % 5 == 3 ? 0u : (unit + part) % 7 == 2 ? 2u : ~0u;
}

Pcm input_of(int part) {
  return test::speech_like_pcm(units * quel_samples_per_unit(flavor_of(part)),
                               static_cast<std::uint64_t>(part),
                               quel_sampling_rate(flavor_of(part)));
}

// One encoder and one decoder, moved on by one unit per call, and all that they gave since they
// were made or reset.
class Pair {
 public:
  Pair(int part, const Pcm& input) : part_(part), input_(input) {
    const quel_encoder_options enc = QUEL_ENCODER_OPTIONS(flavor_of(part));
    quel_decoder_options dec = QUEL_DECODER_OPTIONS(flavor_of(part));
    dec.concealment = part % 8 < 4 ? QUEL_CONCEAL_IMMEDIATE : QUEL_CONCEAL_DEFERRED;
    quel_encoder_create(&enc, &encoder_);
    quel_decoder_create(&dec, &decoder_);
  }
  ~Pair() {
    quel_encoder_destroy(encoder_);
    quel_decoder_destroy(decoder_);
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  bool done() const { return unit_ == units; }
  void step() {
    const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor_of(part_)));
    const std::size_t at = static_cast<std::size_t>(unit_) * samples;
    std::uint8_t coded[QUEL_MAX_BYTES];
    std::int16_t pcm[QUEL_MAX_SAMPLES];
    const int bytes = quel_encode(encoder_, &input_[at], samples, coded, sizeof coded);
    const int n = quel_decode(decoder_, coded, static_cast<std::size_t>(bytes),
                              mask_of(part_, unit_), pcm, QUEL_MAX_SAMPLES);
    units_.insert(units_.end(), coded, coded + bytes);
    output_.insert(output_.end(), pcm, pcm + n);
    ++unit_;
  }
  void reset() {
    quel_encoder_reset(encoder_);
    quel_decoder_reset(decoder_);
    units_.clear();
    output_.clear();
    unit_ = 0;
  }
  // Whether it gave so far what `alone` gave first.
  bool agrees(const Pair& alone) const {
    return starts(alone.units_, units_) && starts(alone.output_, output_);
  }

 private:
  template <typename Sequence>
  static bool starts(const Sequence& whole, const Sequence& part) {
    return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
  }

  int part_;
  int unit_ = 0;
  const Pcm& input_;
  quel_encoder* encoder_ = nullptr;
  quel_decoder* decoder_ = nullptr;
  Bytes units_;
  Pcm output_;
};

// A place that holds a stream pair or not; whoever works on it holds the lock.
struct Slot {
  std::mutex lock;
  std::unique_ptr<Pair> pair;
};

class Crowd {
 public:
  Crowd() {
    for (int part = 0; part < parts; ++part) {
      inputs_.push_back(input_of(part));
    }
    for (int part = 0; part < parts; ++part) {
      alone_.push_back(make(part));
      while (!alone_.back()->done()) alone_.back()->step();
    }
  }

  // What one thread does: makes its share of the streams, then does this and that to any of them.
  void work(int thread) {
    for (int s = thread; s < streams; s += threads) {
      Slot& slot = slots_[static_cast<std::size_t>(s)];
      const std::lock_guard guard(slot.lock);
      slot.pair = make(s % parts);
    }
    ++ready_;
    while (ready_ < threads) std::this_thread::yield();
    test::Random random(static_cast<std::uint64_t>(thread) + 1);
    for (int k = 0; k < 100; ++k) meddle(random.integer(0, streams - 1), random);
  }

  void check_all() {
    for (int s = 0; s < streams; ++s) check(s);
  }
  int wrong() const { return wrong_; }
  int done() const { return done_; }
  int destroyed() const { return destroyed_; }
  int resets() const { return resets_; }

 private:
  std::unique_ptr<Pair> make(int part) const {
    return std::make_unique<Pair>(part, inputs_[static_cast<std::size_t>(part)]);
  }

  void check(int s) {
    const Slot& slot = slots_[static_cast<std::size_t>(s)];
    const Pair& alone = *alone_[static_cast<std::size_t>(s % parts)];
    if (slot.pair != nullptr && !slot.pair->agrees(alone)) ++wrong_;
  }

  void meddle(int s, test::Random& random) {
    Slot& slot = slots_[static_cast<std::size_t>(s)];
    const std::lock_guard guard(slot.lock);
    if (slot.pair == nullptr) slot.pair = make(s % parts);
    const int lot = random.integer(0, 9);
    if (lot < 8) {
      for (int n = random.integer(1, 4); n > 0 && !slot.pair->done(); --n) slot.pair->step();
    }
    if (slot.pair->done()) ++done_;
    check(s);
    if (lot == 8 || slot.pair->done()) {
      slot.pair->reset();
      ++resets_;
    }
    if (lot == 9) {
      slot.pair.reset();
      ++destroyed_;
    }
  }

  std::vector<Pcm> inputs_;
  std::vector<std::unique_ptr<Pair>> alone_;
  std::array<Slot, streams> slots_;
  std::atomic<int> ready_{0}, wrong_{0}, done_{0}, destroyed_{0}, resets_{0};
};

// Encoded by a stream of its own, for the plug-in to compare with.
Bytes coded_alone(int flavor, const Pcm& pcm) {
  const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
  quel_encoder* encoder = nullptr;
  quel_encoder_create(&options, &encoder);
  const auto n = static_cast<std::size_t>(quel_samples_per_unit(flavor));
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
  const std::size_t count = quel_frames_per_unit(flavor) == 1 ? 16 : 8;
  Bytes coded(count * bytes);
  for (std::size_t k = 0; k < count; ++k) {
    quel_encode(encoder, &pcm[k * n], n, &coded[k * bytes], bytes);
  }
  quel_encoder_destroy(encoder);
  return coded;
}

// A host of the plug-in, until told to stop. (Flavor 3 keeps predictors through the inits, so that
// only the others repeat themselves.)
class Host {
 public:
  Host() {
    // From the second time on, flavor 2's first frame is made up from the last of the time before.
    for (int round = 0; round < 2; ++round) {
      for (std::uint16_t flavor = 0; flavor < 4; ++flavor) alone_[flavor] = call(flavor);
    }
  }

  void work(const std::atomic<bool>& stop) {
    for (; !stop; ++rounds_) {
      for (std::uint16_t flavor = 0; flavor < 4; ++flavor) {
        const Result result = call(flavor);
        if (flavor < 3 && result != alone_[flavor]) ++wrong_;
        if (flavor < 3 && result.first != coded_[flavor]) ++wrong_;
        if (result.second.size() != alone_[flavor].second.size()) ++wrong_;
      }
    }
  }

  int rounds() const { return rounds_; }
  int wrong() const { return wrong_; }

 private:
  using Result = std::pair<Bytes, Pcm>;

  Result call(std::uint16_t flavor) const {
    std::uint32_t samples = 0, size = 0;
    std::uint16_t length = 0;
    SetFlavor(flavor);
    InitEncoder(8000, 2, &samples, &size);
    InitDecoder();
    Result result{Bytes(size), Pcm(37 * 240)};
    auto& [bytes, heard] = result;
    Encode(pcm_.data(), bytes.data());
    Decode(bytes.data(), static_cast<std::uint16_t>(size), heard.data(), &length, 0xfffffdf3u);
    heard.resize(length / 2u);
    GetFlavorProperty(flavor, 4, &length);
    return result;
  }

  Pcm pcm_ = test::speech_like_pcm(3840, 1);
  std::array<Bytes, 3> coded_{coded_alone(0, pcm_), coded_alone(1, pcm_), coded_alone(2, pcm_)};
  std::array<Result, 4> alone_;
  int rounds_ = 0, wrong_ = 0;
};

// Streams move from thread to thread, while the plug-in codec works in a thread of its own.
TEST(StreamThreads, EachOf256StreamsOn16ThreadsIsAsIfAlone) {
  Crowd crowd;
  std::atomic<bool> stop{false};
  Host host;
  std::thread plug_in([&] { host.work(stop); });
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t) workers.emplace_back([&crowd, t] { crowd.work(t); });
  for (auto& worker : workers) worker.join();
  stop = true;
  plug_in.join();
  crowd.check_all();
  EXPECT_EQ(crowd.wrong(), 0);
  EXPECT_EQ(host.wrong(), 0);
  EXPECT_GT(host.rounds(), 0);
  EXPECT_GT(crowd.done(), 10);
  EXPECT_GT(crowd.destroyed(), 100);
  EXPECT_GT(crowd.resets(), 100);
}

}  // namespace
}  // namespace quel
