#include "tools/resampler.h"

#include <soxr.h>

#include <stdexcept>
#include <string>

namespace quel::tools {

struct Resampler::Impl {
  Impl(int from, int to) {
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    soxr_error_t error = nullptr;
    state = soxr_create(from, to, 1, &error, &io, &quality, nullptr);
    if (error != nullptr) throw std::runtime_error(std::string("resampling: ") + error);
  }
  ~Impl() { soxr_delete(state); }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  soxr_t state = nullptr;
};

std::uint64_t resampled_length(std::uint64_t samples, int from, int to) {
  const auto in = static_cast<std::uint64_t>(from), out = static_cast<std::uint64_t>(to);
  // In two parts, so that no product overflows.
  return samples / in * out + (2 * (samples % in) * out + in) / (2 * in);
}

Resampler::Resampler(int from, int to) : from_(from), to_(to) {
  if (from != to) impl_ = std::make_unique<Impl>(from, to);
}

Resampler::~Resampler() = default;

void Resampler::process(std::span<const float> in, std::vector<float>& out) {
  taken_ += in.size();
  if (in.empty()) return;  // to the library, this would be the end
  if (impl_) {
    run(in.data(), in.size(), out);
  } else {
    out.insert(out.end(), in.begin(), in.end());
    given_ += in.size();
  }
}

void Resampler::finish(std::vector<float>& out) {
  if (impl_ && taken_ > 0) run(nullptr, 0, out);
  // The library rounds by a rule of its own.
  const std::uint64_t wanted = resampled_length(taken_, from_, to_);
  const auto size = static_cast<std::int64_t>(out.size());
  const std::int64_t more = static_cast<std::int64_t>(wanted) - static_cast<std::int64_t>(given_);
  out.resize(static_cast<std::size_t>(size + more < 0 ? 0 : size + more));
  given_ = wanted;
}

void Resampler::run(const float* in, std::size_t count, std::vector<float>& out) {
  const std::size_t room =
      static_cast<std::size_t>(resampled_length(count == 0 ? 4096 : count, from_, to_)) + 64;
  std::size_t consumed = 0, produced = 0;
  do {
    const std::size_t old_size = out.size();
    out.resize(old_size + room);
    std::size_t taken = 0;
    const soxr_error_t error =
        soxr_process(impl_->state, in == nullptr ? nullptr : in + consumed, count - consumed,
                     &taken, out.data() + old_size, room, &produced);
    out.resize(old_size + produced);
    if (error != nullptr) throw std::runtime_error(std::string("resampling: ") + error);
    given_ += produced;
    consumed += taken;
  } while (consumed < count || produced == room || (in == nullptr && produced > 0));
}

}  // namespace quel::tools
