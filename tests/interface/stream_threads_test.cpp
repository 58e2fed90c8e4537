#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "quelcodec/quelcodec.h"
#include "support/signals.h"

namespace quel {
namespace {

using Pcm = std::vector<std::int16_t>;

constexpr int streams = 64;
constexpr int threads = 8;
constexpr int units = 12;

int flavor_of(int stream) {
  return stream % 4;
}

std::uint32_t mask_of(int stream, int unit) {
  return (unit + stream) % 5 == 3 ? 0u : (unit + stream) % 7 == 2 ? 2u : ~0u;
}

// One encoder and one decoder, moved on by one unit per call.
class Pair {
 public:
  explicit Pair(int stream) : stream_(stream) {
    const quel_encoder_options enc = QUEL_ENCODER_OPTIONS(flavor_of(stream));
    quel_decoder_options dec = QUEL_DECODER_OPTIONS(flavor_of(stream));
    dec.concealment = stream % 8 < 4 ? QUEL_CONCEAL_IMMEDIATE : QUEL_CONCEAL_DEFERRED;
    quel_encoder_create(&enc, &encoder_);
    quel_decoder_create(&dec, &decoder_);
    input_ = test::speech_like_pcm(units * quel_samples_per_unit(flavor_of(stream)),
                                   static_cast<std::uint64_t>(stream),
                                   quel_sampling_rate(flavor_of(stream)));
  }
  ~Pair() {
    quel_encoder_destroy(encoder_);
    quel_decoder_destroy(decoder_);
  }
  Pair(const Pair&) = delete;
  Pair& operator=(const Pair&) = delete;

  void step() {
    const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor_of(stream_)));
    const std::size_t at = static_cast<std::size_t>(unit_) * samples;
    std::uint8_t coded[QUEL_MAX_BYTES];
    std::int16_t pcm[QUEL_MAX_SAMPLES];
    const int bytes = quel_encode(encoder_, &input_[at], samples, coded, sizeof coded);
    const int n = quel_decode(decoder_, coded, static_cast<std::size_t>(bytes),
                              mask_of(stream_, unit_), pcm, QUEL_MAX_SAMPLES);
    for (int i = 0; i < n; ++i) output_.push_back(pcm[i]);
    ++unit_;
  }
  const Pcm& output() const { return output_; }

 private:
  int stream_;
  int unit_ = 0;
  quel_encoder* encoder_ = nullptr;
  quel_decoder* decoder_ = nullptr;
  Pcm input_, output_;
};

Pcm alone(int stream) {
  Pair pair(stream);
  for (int k = 0; k < units; ++k) pair.step();
  return pair.output();
}

// Streams move from thread to thread, one unit at a time, while the plug-in codec works in a
// thread of its own.
TEST(StreamThreads, EachOf64StreamsOn8ThreadsIsAsIfAlone) {
  std::vector<Pcm> expected;
  for (int s = 0; s < streams; ++s) expected.push_back(alone(s));

  std::vector<std::unique_ptr<Pair>> pairs;
  for (int s = 0; s < streams; ++s) pairs.push_back(std::make_unique<Pair>(s));
  std::atomic<bool> stop{false};
  std::thread host([&stop] {
    const Pcm pcm = test::speech_like_pcm(3840, 1);
    std::uint8_t bytes[400];
    std::vector<std::int16_t> out(37 * 240);
    std::uint32_t samples = 0, size = 0;
    for (std::uint16_t flavor = 0; !stop; flavor = static_cast<std::uint16_t>((flavor + 1) % 4)) {
      std::uint16_t length = 0;
      SetFlavor(flavor);
      InitEncoder(8000, 2, &samples, &size);
      InitDecoder();
      Encode(pcm.data(), bytes);
      Decode(bytes, static_cast<std::uint16_t>(size), out.data(), &length, 0xfffffdf3u);
    }
  });
  for (int k = 0; k < units; ++k) {
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
      workers.emplace_back([&pairs, t, k] {
        // Another thread's share each time.
        for (int s = (t + k) % threads; s < streams; s += threads) {
          pairs[static_cast<std::size_t>(s)]->step();
        }
      });
    }
    for (auto& worker : workers) worker.join();
  }
  stop = true;
  host.join();
  for (int s = 0; s < streams; ++s) {
    EXPECT_EQ(pairs[static_cast<std::size_t>(s)]->output(), expected[static_cast<std::size_t>(s)])
        << "stream " << s;
  }
}

}  // namespace
}  // namespace quel
