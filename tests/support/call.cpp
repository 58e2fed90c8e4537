#include "support/call.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace quel::test {
namespace {

// Tests look at results; here a failure would be the support's own.
void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

Speech::Speech(int flavor, int seconds)
    : flavor_(flavor),
      rate_(quel_sampling_rate(flavor)),
      unit_(quel_samples_per_unit(flavor)),
      bytes_(static_cast<std::size_t>(quel_bytes_per_unit(flavor))) {
  const auto count = static_cast<std::size_t>(seconds * rate_ / unit_);
  const auto pcm = speech_like_pcm(static_cast<int>(count) * unit_, 7, rate_);
  const quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor);
  quel_encoder* encoder = nullptr;
  require(quel_encoder_create(&options, &encoder) == QUEL_OK);
  coded_.resize(count * bytes_);
  require(quel_encode_units(encoder, pcm.data(), pcm.size(), coded_.data(), coded_.size()) ==
          static_cast<std::int64_t>(coded_.size()));
  quel_encoder_destroy(encoder);
}

std::vector<std::uint8_t> Speech::coded(std::size_t k, int count) const {
  std::vector<std::uint8_t> out;
  for (int n = 0; n < count; ++n, ++k) {
    const auto* const at = &coded_[k % units() * bytes_];
    out.insert(out.end(), at, at + bytes_);
  }
  return out;
}

std::vector<std::int16_t> Speech::decoded(std::size_t count) const {
  const quel_decoder_options options = QUEL_DECODER_OPTIONS(flavor_);
  quel_decoder* decoder = nullptr;
  require(quel_decoder_create(&options, &decoder) == QUEL_OK);
  const auto bytes = coded(0, static_cast<int>(count));
  std::vector<std::int16_t> pcm(count * static_cast<std::size_t>(unit_));
  require(quel_decode_units(decoder, bytes.data(), bytes.size(), nullptr, pcm.data(), pcm.size()) ==
          static_cast<std::int64_t>(pcm.size()));
  quel_decoder_destroy(decoder);
  return pcm;
}

quel_receiver_counts counts_of(const quel_receiver* receiver) {
  quel_receiver_counts counts = QUEL_RECEIVER_COUNTS;
  require(quel_receiver_statistics(receiver, &counts) == QUEL_OK);
  return counts;
}

Call::Call(const Speech& speech, const Network& network, quel_receiver* receiver)
    : speech_(speech),
      network_(network),
      receiver_(receiver),
      random_(network.seed),
      sequence_(random_.bits()),
      timestamp_(random_.bits()) {}

bool Call::is_lost() {
  // Two states: the mean run is 1 / the chance to leave it, and the share of lost ones is as asked.
  const double leave = 1.0 / network_.run;
  const double share = network_.lost / 100.0;
  const double enter = share < 1.0 ? leave * share / (1.0 - share) : 1.0;
  losing_ = random_.uniform(0, 1) < (losing_ ? 1.0 - leave : enter);
  return losing_;
}

void Call::send() {
  Packet packet{sequence_, timestamp_, 0, speech_.coded(unit_, network_.units)};
  double way = network_.delay_ms;
  if (network_.jitter_ms > 0) {
    way -= network_.jitter_ms * std::log(1.0 - random_.uniform(0, 1) * 0.9999);
  }
  if (random_.uniform(0, 100) < network_.stalls) way += network_.stall_ms;
  const double length = 1e6 * network_.units * speech_.unit() / speech_.rate();
  const double came = std::max(send_us_ + 1000.0 * way, last_came_us_);
  const bool overtaken = random_.uniform(0, 100) < network_.reordered;
  if (!overtaken) last_came_us_ = came;
  packet.came = static_cast<std::int64_t>(came + (overtaken ? 1.5 * length : 0.0));
  if (is_lost()) {
    ++lost_;
  } else {
    under_way_.push_back(packet);
    if (random_.uniform(0, 100) < network_.doubled) {
      ++doubled_;
      packet.came += 3000;
      under_way_.push_back(packet);
    }
  }
  ++sent_;
  ++sequence_;
  unit_ += static_cast<std::size_t>(network_.units);
  timestamp_ += static_cast<std::uint32_t>(network_.units * speech_.unit());
  send_us_ += length;
}

void Call::deliver(std::int64_t until) {
  const auto there = std::stable_partition(under_way_.begin(), under_way_.end(),
                                           [&](const Packet& p) { return p.came <= until; });
  std::stable_sort(under_way_.begin(), there,
                   [](const Packet& a, const Packet& b) { return a.came < b.came; });
  for (auto p = under_way_.begin(); p != there; ++p) {
    require(quel_receiver_push(receiver_, p->sequence, p->timestamp,
                               static_cast<std::uint64_t>(p->came), p->units.data(),
                               p->units.size()) == QUEL_OK);
  }
  under_way_.erase(under_way_.begin(), there);
}

void Call::run_to_block(const std::function<void()>& pull) {
  while (send_us_ <= now_us_) send();
  deliver(static_cast<std::int64_t>(now_us_));
  pull();
  now_us_ += 1e6 * network_.block / (speech_.rate() * (1.0 + network_.drift_ppm * 1e-6));
}

void Call::run(double seconds, const std::function<void(const std::vector<std::int16_t>&)>& each) {
  std::vector<std::int16_t> pcm(static_cast<std::size_t>(network_.block));
  const double end = now_us_ + 1e6 * seconds;
  while (now_us_ < end) {
    run_to_block([&] {
      require(quel_receiver_pull(receiver_, pcm.data(), pcm.size()) == QUEL_OK);
      if (each) each(pcm);
    });
  }
}

void Call::restart_sender(std::uint32_t sequence, std::uint32_t timestamp) {
  sequence_ = sequence;
  timestamp_ = timestamp;
  unit_ = 0;
}

void Call::change(const Network& network) {
  const int block = network_.block;
  network_ = network;
  network_.block = block;
}

}  // namespace quel::test
