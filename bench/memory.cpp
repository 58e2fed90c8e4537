// What streams take of memory, for those who have little; scripts/memory calls it. One line per
// flavor: bytes of memory of an encoder and a decoder, then bytes of stack of creating them, of an
// encoder's calls and of a decoder's.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "conformance/conformance.h"
#include "conformance/random.h"
#include "quelcodec/quelcodec.h"
#include "support/stack_use.h"

namespace quel {
namespace {

using Pcm = std::vector<std::int16_t>;
using Bytes = std::vector<std::uint8_t>;

// Stack of `work` once it has run.
template <typename Work>
std::size_t use_of(Work work) {
  work();
  return test::stack_use(work);
}

void print(int flavor) {
  const quel_encoder_options enc = QUEL_ENCODER_OPTIONS(flavor);
  quel_decoder_options dec = QUEL_DECODER_OPTIONS(flavor);
  quel_encoder* encoder = nullptr;
  quel_decoder* decoder = nullptr;
  const int encoder_bytes = quel_encoder_size(&enc), decoder_bytes = quel_decoder_size(&dec);
  const std::size_t create = use_of([&] {
    quel_encoder_destroy(encoder);
    quel_decoder_destroy(decoder);
    quel_encoder_create(&enc, &encoder);
    quel_decoder_create(&dec, &decoder);
    quel_encoder_reset(encoder);
    quel_decoder_reset(decoder);
  });

  const auto samples = static_cast<std::size_t>(quel_samples_per_unit(flavor));
  const auto size = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
  const Pcm pcm = conformance::conformance_signal(quel_sampling_rate(flavor));
  const std::size_t units = pcm.size() / samples;
  Bytes coded(units * size);
  const std::size_t encode = use_of([&] {
    for (std::size_t k = 0; k < units; ++k) {
      quel_encode(encoder, &pcm[k * samples], samples, &coded[k * size], size);
    }
  });

  // The signal's units and random ones, everything received, then losses.
  conformance::Random random(1);
  for (int k = 0; k < 20000; ++k) coded.push_back(static_cast<std::uint8_t>(random.bits()));
  std::array<std::int16_t, QUEL_MAX_SAMPLES> out{};
  std::size_t decode = 0;
  for (const int concealment : {QUEL_CONCEAL_IMMEDIATE, QUEL_CONCEAL_DEFERRED}) {
    quel_decoder_destroy(decoder);
    dec.concealment = concealment;
    quel_decoder_create(&dec, &decoder);
    const std::size_t use = use_of([&] {
      for (std::size_t at = 0; at + size <= coded.size(); at += size) {
        const std::uint32_t received = random.integer(0, 4) == 0 ? random.bits() : 3u;
        quel_decode(decoder, &coded[at], size, received, out.data(), out.size());
      }
    });
    decode = std::max(decode, use);
  }
  quel_encoder_destroy(encoder);
  quel_decoder_destroy(decoder);
  std::printf("%d\t%d\t%d\t%zu\t%zu\t%zu\n", flavor, encoder_bytes, decoder_bytes, create, encode,
              decode);
}

}  // namespace
}  // namespace quel

int main() {
  // The C and C++ libraries' first allocations in a second thread take 3 KiB of stack, which is not
  // ours.
  quel::test::stack_use([] {
    std::free(std::malloc(1000000));
    std::free(std::malloc(100));
    const quel_encoder_options options = QUEL_ENCODER_OPTIONS(QUEL_FLAVOR_6K5);
    quel_encoder* encoder = nullptr;
    quel_encoder_create(&options, &encoder);
    quel_encoder_destroy(encoder);
  });
  for (int flavor = 0; flavor < 4; ++flavor) quel::print(flavor);
  return 0;
}
