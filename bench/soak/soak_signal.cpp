#include "soak/soak_signal.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "bitstream/serial.h"
#include "quelcodec/quelcodec.h"
#include "support/growing_fields.h"

namespace quel::soak {

const char* name_of(Kind kind) {
  constexpr const char* names[] = {"speech", "clipped", "silence", "tail",
                                   "hiss",   "loud",    "bits",    "growth"};
  static_assert(std::size(names) == static_cast<std::size_t>(Kind::count));
  return names[static_cast<std::size_t>(kind)];
}

Signal::Signal(std::vector<std::int16_t> pool, int rate, std::uint64_t seed)
    : pool_(std::move(pool)), rate_(rate), random_(seed) {}

void Signal::start_segment() {
  const int lot = random_.integer(0, 99);
  kind_ = lot < 52   ? Kind::speech
          : lot < 60 ? Kind::clipped
          : lot < 70 ? Kind::silence
          : lot < 82 ? Kind::tail
          : lot < 87 ? Kind::hiss
          : lot < 92 ? Kind::loud
          : lot < 96 ? Kind::bits
                     : Kind::growth;
  seconds_ = random_.integer(2, 20);
  if (kind_ == Kind::silence && random_.integer(0, 9) == 0) seconds_ = random_.integer(60, 600);
  place_ = static_cast<std::size_t>(random_.integer(0, static_cast<int>(pool_.size()) - 1));
  gain_ = std::pow(10.0, random_.uniform(-2.5, 0.3));
  if (kind_ == Kind::clipped) gain_ = random_.uniform(8, 40);
  decay_ = 1;
  // From full scale to below one step within half a second to four.
  if (kind_ == Kind::tail) decay_ = std::exp(-12.0 / (random_.uniform(0.5, 4.0) * rate_));
  half_period_ = random_.integer(0, 2) == 0 ? 0 : random_.integer(2, 200);
  n_ = 0;
}

double Signal::sample() {
  switch (kind_) {
    case Kind::silence:
      return 0;
    case Kind::hiss:
      return random_.integer(-2, 2);
    case Kind::loud:
      if (half_period_ == 0) return random_.uniform(-40000, 40000);
      return n_ / static_cast<std::uint64_t>(half_period_) % 2 == 0 ? 32767 : -32768;
    default:
      break;
  }
  const int dither = static_cast<int>(random_.bits() >> 30);
  const double x = gain_ * (pool_[place_] + dither - 1.5);
  if (++place_ == pool_.size()) place_ = 0;
  gain_ *= decay_;
  return x;
}

Kind Signal::next_second(std::span<std::int16_t> pcm) {
  if (seconds_-- <= 0) {
    start_segment();
    --seconds_;
  }
  for (std::int16_t& out : pcm) {
    out = static_cast<std::int16_t>(std::clamp(sample(), -32768.0, 32767.0));
    ++n_;
  }
  return kind_;
}

HostileUnits::HostileUnits(int flavor, std::uint64_t seed) : flavor_(flavor), random_(seed) {
  // A second's units, and one for what the second before left.
  const int units = quel_sampling_rate(flavor) / quel_samples_per_unit(flavor) + 2;
  units_.reserve(static_cast<std::size_t>(units * quel_bytes_per_unit(flavor)));
}

std::span<const std::uint8_t> HostileUnits::next(Kind kind, std::size_t units) {
  if (kind != Kind::bits && kind != Kind::growth) return {};
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor_));
  const auto frames = static_cast<std::size_t>(quel_frames_per_unit(flavor_));
  const auto frame_bits = static_cast<std::int32_t>(8 * bytes / frames);
  units_.resize(units * bytes);
  if (kind == Kind::bits) {
    for (std::uint8_t& byte : units_) byte = static_cast<std::uint8_t>(random_.bits() >> 24);
    return units_;
  }
  const bool largest = random_.integer(0, 1) == 0;
  for (std::size_t frame = 0; frame < units * frames; ++frame) {
    test::Fields words = test::growing_fields(flavor_, largest, random_);
    if (TestBigEndian() != 0) SwapIntBytes(words.data(), test::fields);
    std::array<std::uint8_t, QUEL_MAX_BYTES> packed{};
    prm2binary(words.data(), packed.data(), flavor_);
    bitcopy(&units_[frame / frames * bytes], packed.data(),
            static_cast<std::int32_t>(frame % frames) * frame_bits, 0, frame_bits);
  }
  return units_;
}

bool Losses::lost() {
  if (frames_-- <= 0) {
    constexpr double rates[] = {0, 0, 0.01, 0.03, 0.1, 0.2, 1};
    rate_ = rates[random_.integer(0, 6)];
    frames_ = rate_ < 1 ? random_.integer(50, 5000) : random_.integer(5, 500);
  }
  if (burst_ > 0) {
    --burst_;
    return true;
  }
  if (random_.uniform(0, 1) >= rate_) return false;
  if (random_.integer(0, 9) == 0) burst_ = random_.integer(1, 30);
  return true;
}

}  // namespace quel::soak
