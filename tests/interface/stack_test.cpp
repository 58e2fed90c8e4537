#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "conformance/conformance.h"
#include "quelcodec/quelcodec.h"
#include "support/sanitizers.h"
#include "support/signals.h"
#include "support/stack_use.h"

namespace quel {
namespace {

// Promised in docs/robustness.md; docs/measured/memory.md says how little of it is used.
constexpr std::size_t bound = 8 * 1024;

using Pcm = std::vector<std::int16_t>;

class Stack : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
#if QUEL_SANITIZED
    GTEST_SKIP() << "sanitizers put things of their own on the stack";
#endif
  }
  int flavor() const {
    return GetParam();
  }
  Pcm signal() const {
    Pcm pcm = conformance::conformance_signal(quel_sampling_rate(flavor()));
    pcm.resize(pcm.size() / 4);
    return pcm;
  }
};
INSTANTIATE_TEST_SUITE_P(All, Stack, ::testing::Range(0, 4));

TEST(StackUse, SeesAnArray) {
#if QUEL_SANITIZED
  GTEST_SKIP() << "sanitizers put things of their own on the stack";
#endif
  const auto use = [](auto bytes) {
    return test::stack_use([] {
      volatile unsigned char array[decltype(bytes)::value];
      for (auto& byte : array) byte = 1;
    });
  };
  const std::size_t small = use(std::integral_constant<int, 2100>());
  const std::size_t large = use(std::integral_constant<int, 22100>());
  EXPECT_NEAR(static_cast<double>(large - small), 20000, 64);  // alignment
}

// With the kernels of every instruction set that the processor has, since each has its own frames.
template <typename Work>
void expect_small_stack(const Work& work) {
  const std::string chosen = quel_instruction_set();
  const char* name = nullptr;
  for (int set = 0; (name = quel_instruction_set_name(set)) != nullptr; ++set) {
    SCOPED_TRACE(name);
    if (quel_use_instruction_set(name) != QUEL_OK) continue;
    work();
    const std::size_t use = test::stack_use(work);
    EXPECT_GT(use, 500u);
    EXPECT_LE(use, bound);
  }
  EXPECT_EQ(quel_use_instruction_set(chosen.c_str()), QUEL_OK);
}

TEST_P(Stack, ASmallStackIsEnoughForAStream) {
  quel_encoder_options enc = QUEL_ENCODER_OPTIONS(flavor());
  const quel_decoder_options dec = QUEL_DECODER_OPTIONS(flavor());
  const Pcm pcm = signal();
  const auto n = static_cast<std::size_t>(quel_samples_per_unit(flavor()));
  std::array<std::uint8_t, QUEL_MAX_BYTES> unit{};
  std::array<std::int16_t, QUEL_MAX_SAMPLES> out{};
  std::array<float, QUEL_MAX_SAMPLES> real{};
  std::array<std::int32_t, QUEL_MAX_FRAMES * QUEL_MAX_FIELDS> indices{};
  quel_frame frame = QUEL_FRAME;
  const auto fields = static_cast<std::size_t>(quel_flavor_info(flavor())->fields_per_frame);
  const auto work = [&] {
    quel_encoder* encoder = nullptr;
    quel_decoder* decoder = nullptr;
    quel_encoder_create(&enc, &encoder);
    quel_decoder_create(&dec, &decoder);
    quel_encoder_reset(encoder);
    quel_decoder_reset(decoder);
    test::Random random(4);
    for (std::size_t at = 0; at + n <= pcm.size(); at += n) {
      const int bytes = quel_encode(encoder, &pcm[at], n, unit.data(), unit.size());
      if (random.integer(0, 9) == 0) {
        for (auto& byte : unit) byte = static_cast<std::uint8_t>(random.bits());
      }
      quel_decode(decoder, unit.data(), static_cast<std::size_t>(bytes),
                  random.integer(0, 5) == 0 ? random.bits() : 3u, out.data(), out.size());
      quel_encode_units_float(encoder, real.data(), n, unit.data(), unit.size());
      quel_decode_units_float(decoder, unit.data(), static_cast<std::size_t>(bytes), nullptr,
                              real.data(), real.size());
      quel_unit_unpack(flavor(), unit.data(), static_cast<std::size_t>(bytes), indices.data(),
                       indices.size());
      quel_frame_describe(decoder, indices.data(), fields, &frame);
    }
    quel_encoder_destroy(encoder);
    quel_decoder_destroy(decoder);
  };
  for (enc.effort = 0; enc.effort <= QUEL_MAX_EFFORT; ++enc.effort) {
    SCOPED_TRACE(enc.effort);
    expect_small_stack(work);
  }
}

TEST_P(Stack, ASmallStackIsEnoughForAReceiver) {
  const quel_receiver_options options = QUEL_RECEIVER_OPTIONS(flavor());
  const auto unit = static_cast<std::uint32_t>(quel_samples_per_unit(flavor()));
  const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor()));
  const quel_encoder_options enc = QUEL_ENCODER_OPTIONS(flavor());
  quel_encoder* encoder = nullptr;
  ASSERT_EQ(quel_encoder_create(&enc, &encoder), QUEL_OK);
  Pcm pcm = signal();
  pcm.resize(pcm.size() / unit * unit);
  std::vector<std::uint8_t> units(pcm.size() / unit * bytes);
  ASSERT_GT(quel_encode_units(encoder, pcm.data(), pcm.size(), units.data(), units.size()), 0);
  quel_encoder_destroy(encoder);
  Pcm out(9 * unit / 4);
  const auto work = [&] {
    quel_receiver* receiver = nullptr;
    quel_receiver_create(&options, &receiver);
    test::Random random(4);
    quel_receiver_counts counts = QUEL_RECEIVER_COUNTS;
    for (std::uint32_t k = 0; k < units.size() / bytes; ++k) {
      // Losses, packets behind others, and a card that now and then asks for nothing or for much.
      const std::uint32_t at = k ^ static_cast<std::uint32_t>(random.integer(0, 9) / 9);
      if (random.integer(0, 9) > 0) {
        quel_receiver_push(receiver, at, at * unit, k, &units[k * bytes], bytes);
      }
      if (k % 50 < 15) continue;
      quel_receiver_pull(receiver, out.data(),
                         static_cast<std::size_t>(random.integer(0, 9)) * unit / 4);
      quel_receiver_statistics(receiver, &counts);
    }
    quel_receiver_destroy(receiver);
  };
  expect_small_stack(work);
}

TEST_P(Stack, ASmallStackIsEnoughForThePlugIn) {
  const Pcm pcm = signal();
  std::array<std::uint8_t, 400> bytes{};
  Pcm out(37 * 240);
  const auto work = [&] {
    std::uint32_t samples = 0, size = 0;
    std::uint16_t length = 0;
    SetFlavor(static_cast<std::uint16_t>(flavor()));
    GetFlavorProperty(static_cast<std::uint16_t>(flavor()), 4, &length);
    InitEncoder(8000, 2, &samples, &size);
    InitDecoder();
    for (std::size_t at = 0; at + samples <= pcm.size(); at += samples) {
      Encode(&pcm[at], bytes.data());
      Decode(bytes.data(), static_cast<std::uint16_t>(size), out.data(), &length, 0xfffffdf3u);
    }
  };
  expect_small_stack(work);
}

}  // namespace
}  // namespace quel
