#include "soak/coder_pair.h"

#include <malloc.h>
#include <time.h>

#include <cstring>
#include <new>
#include <stdexcept>

#include "conformance/random.h"
#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace quel::soak {
namespace {

double thread_ns() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return 1e9 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec);
}

// Whether an operand was denormal since the last call; never, where the processor does not tell.
bool met_denormal() {
#if defined(__SSE2__)
  constexpr unsigned denormal = 1u << 1, flags = 0x3f;
  const unsigned status = _mm_getcsr();
  _mm_setcsr(status & ~flags);
  return (status & denormal) != 0;
#else
  return false;
#endif
}

// A stream is one block of memory without pointers.
void copy_block(void* to, void* from) {
  const std::size_t size = malloc_usable_size(from);
  if (malloc_usable_size(to) != size) throw std::runtime_error("streams of different sizes");
  std::memcpy(to, from, size);
}

}  // namespace

CoderPair::CoderPair(int flavor)
    : samples_(static_cast<std::size_t>(quel_samples_per_unit(flavor))),
      bytes_(static_cast<std::size_t>(quel_bytes_per_unit(flavor))),
      units_(bytes_ * 1000),
      heard_(samples_ * 1000) {
  const quel_encoder_options encoder_options = QUEL_ENCODER_OPTIONS(flavor);
  const quel_decoder_options decoder_options = QUEL_DECODER_OPTIONS(flavor);
  quel_encoder* encoder = nullptr;
  quel_decoder* decoder = nullptr;
  const int first = quel_encoder_create(&encoder_options, &encoder);
  encoder_.reset(encoder);
  const int second = quel_decoder_create(&decoder_options, &decoder);
  decoder_.reset(decoder);
  if (first != QUEL_OK || second != QUEL_OK) throw std::bad_alloc();
}

Cost CoderPair::code(std::span<const std::int16_t> pcm, std::span<const std::uint32_t> received,
                     std::span<const std::uint8_t> instead) {
  Cost cost;
  cost.units = pcm.size() / samples_;
  if (cost.units * bytes_ > units_.size()) throw std::runtime_error("too much in one call");
  met_denormal();
  double start = thread_ns();
  for (std::size_t k = 0; k < cost.units; ++k) {
    const int n =
        quel_encode(encoder_.get(), &pcm[k * samples_], samples_, &units_[k * bytes_], bytes_);
    if (n != static_cast<int>(bytes_)) throw std::runtime_error("an encoder fails");
    cost.encode_denormals += met_denormal() ? 1 : 0;
  }
  cost.encode_ns = (thread_ns() - start) / static_cast<double>(cost.units);

  cost.digest = conformance::digest(units_.data(), cost.units * bytes_);
  if (cost.units * samples_ > heard_.size()) throw std::runtime_error("too much in one call");
  const std::uint8_t* const units = instead.empty() ? units_.data() : instead.data();
  if (!instead.empty() && instead.size() != cost.units * bytes_) {
    throw std::runtime_error("not as many hostile units");
  }
  met_denormal();
  start = thread_ns();
  for (std::size_t k = 0; k < cost.units; ++k) {
    const int n = quel_decode(decoder_.get(), units + k * bytes_, bytes_, received[k],
                              &heard_[k * samples_], samples_);
    if (n != static_cast<int>(samples_)) throw std::runtime_error("a decoder fails");
    cost.decode_denormals += met_denormal() ? 1 : 0;
  }
  cost.decode_ns = (thread_ns() - start) / static_cast<double>(cost.units);
  cost.digest =
      conformance::digest(heard_.data(), cost.units * samples_ * sizeof heard_[0], cost.digest);
  return cost;
}

void CoderPair::reset() {
  if (quel_encoder_reset(encoder_.get()) != QUEL_OK ||
      quel_decoder_reset(decoder_.get()) != QUEL_OK) {
    throw std::runtime_error("a reset fails");
  }
}

void CoderPair::become(const CoderPair& other) {
  copy_block(encoder_.get(), other.encoder_.get());
  copy_block(decoder_.get(), other.decoder_.get());
}

}  // namespace quel::soak
