#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <quelcodec/quelcodec.hpp>
#include <tuple>
#include <vector>

#include "interface/process_codec.h"
#include "support/sanitizers.h"
#include "support/signals.h"

#if QUEL_SANITIZED_THREAD || QUEL_SANITIZED_MEMORY
TEST(Allocation, NeedsOperatorsOfItsOwn) {
  GTEST_SKIP() << "this sanitizer's runtime has its own operator new, which cannot be replaced";
}
#else

#include "interface/bad_memory.h"

namespace quel {
namespace {

using test::Outcome;
using test::with_bad_memory;
using test::with_memory;
using Pcm = std::vector<std::int16_t>;
using Bytes = std::vector<std::uint8_t>;

template <typename Work>
void expect_no_allocation(const char* what, Work work) {
  const Outcome outcome = with_bad_memory(0, false, work);
  EXPECT_EQ(outcome.allocations, 0) << what;
}

class Allocation : public ::testing::TestWithParam<std::tuple<int, int>> {
 protected:
  int flavor() const { return std::get<0>(GetParam()); }
  quel_encoder_options encoder_options() const {
    quel_encoder_options options = QUEL_ENCODER_OPTIONS(flavor());
    options.effort = std::get<1>(GetParam());
    return options;
  }
};
INSTANTIATE_TEST_SUITE_P(All, Allocation,
                         ::testing::Combine(::testing::Range(0, 4),
                                            ::testing::Range(0, QUEL_MAX_EFFORT + 1)));

TEST(AllocationCount, Counts) {
  const Outcome outcome = with_memory([] { ::operator delete(::operator new(4)); });
  EXPECT_EQ(outcome.allocations, 1);
  EXPECT_EQ(outcome.left, 0);
  const auto fails = [] { EXPECT_EQ(::operator new(4, std::nothrow), nullptr); };
  EXPECT_EQ(with_bad_memory(0, true, fails).left, 0);
}

TEST_P(Allocation, CreateFailsWithoutATrace) {
  const quel_encoder_options enc = encoder_options();
  const quel_decoder_options dec = QUEL_DECODER_OPTIONS(flavor());
  int place = 0;
  auto* const encoder_before = reinterpret_cast<quel_encoder*>(&place);
  auto* const decoder_before = reinterpret_cast<quel_decoder*>(&place);
  quel_encoder* encoder = encoder_before;
  quel_decoder* decoder = decoder_before;
  int code = 0;
  EXPECT_EQ(with_bad_memory(0, false, [&] { code = quel_encoder_create(&enc, &encoder); }).left, 0);
  EXPECT_EQ(code, QUEL_ERROR_MEMORY);
  EXPECT_EQ(encoder, encoder_before);
  EXPECT_EQ(with_bad_memory(0, false, [&] { code = quel_decoder_create(&dec, &decoder); }).left, 0);
  EXPECT_EQ(code, QUEL_ERROR_MEMORY);
  EXPECT_EQ(decoder, decoder_before);

  // One block each is all there ever is, and destroy gives it back.
  const Outcome whole = with_bad_memory(2, false, [&] {
    code = quel_encoder_create(&enc, &encoder);
    code += quel_decoder_create(&dec, &decoder);
    quel_encoder_destroy(encoder);
    quel_decoder_destroy(decoder);
  });
  EXPECT_EQ(code, QUEL_OK);
  EXPECT_EQ(whole.allocations, 2);
  EXPECT_EQ(whole.left, 0);
}

// What the C++ constructor of a stream throws: a code, 1 for std::bad_alloc, 0 for nothing.
template <typename Stream>
int thrown(int flavor, int first, bool one) {
  int code = 0;
  const Outcome outcome = with_bad_memory(first, one, [&] {
    try {
      const Stream stream(flavor);
    } catch (const Error& error) {
      code = error.code();
    } catch (const std::bad_alloc&) {
      code = 1;
    }
  });
  EXPECT_EQ(outcome.left, 0);
  return code;
}

TEST_P(Allocation, ConstructorsThrow) {
  EXPECT_EQ(thrown<Encoder>(flavor(), 0, true), QUEL_ERROR_MEMORY);
  EXPECT_EQ(thrown<Decoder>(flavor(), 0, true), QUEL_ERROR_MEMORY);
  // Not even the message has room.
  EXPECT_EQ(thrown<Encoder>(flavor(), 0, false), 1);
  EXPECT_EQ(thrown<Decoder>(flavor(), 0, false), 1);
  EXPECT_EQ(thrown<Encoder>(flavor(), 1, false), 0);
  EXPECT_EQ(thrown<Decoder>(flavor(), 1, false), 0);
}

TEST_P(Allocation, ACallThatFindsNoRoomForItsResultMayBeMadeAgain) {
  Encoder encoder(flavor()), plain_encoder(flavor());
  Decoder decoder(flavor(), Concealment::deferred);
  Decoder plain_decoder(flavor(), Concealment::deferred);
  const auto pcm =
      test::speech_like_pcm(8 * quel_samples_per_unit(flavor()), 3, quel_sampling_rate(flavor()));
  const auto refused = [](auto call) {
    bool thrown = false;
    const Outcome outcome = with_bad_memory(0, true, [&] {
      try {
        call();
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
    });
    EXPECT_EQ(outcome.left, 0);
    return thrown;
  };
  for (std::size_t k = 0; k < 8; ++k) {
    const std::size_t n = encoder.samples_per_unit();
    const std::span<const std::int16_t> unit(&pcm[k * n], n);
    EXPECT_TRUE(refused([&] { encoder.encode(unit); }));
    const Bytes coded = encoder.encode(unit);
    EXPECT_EQ(coded, plain_encoder.encode(unit));
    const std::uint32_t received = k % 3 == 1 ? 0 : k % 3 == 2 ? 2 : 3;
    EXPECT_TRUE(refused([&] { decoder.decode(coded, received); }));
    EXPECT_TRUE(refused([&] { decoder.conceal(); }));
    EXPECT_EQ(decoder.decode(coded, received), plain_decoder.decode(coded, received));
  }
}

TEST_P(Allocation, StreamsInTheCallersMemoryTakeAndFreeNothing) {
  const quel_encoder_options enc = encoder_options();
  const quel_decoder_options dec = QUEL_DECODER_OPTIONS(flavor());
  Bytes memory(96 * 1024);
  const auto all_of = [&](auto&& work) {
    const Outcome outcome = with_bad_memory(0, false, work);
    EXPECT_EQ(outcome.allocations, 0);
    EXPECT_EQ(outcome.left, 0);  // below 0 where something was freed
  };
  int code = -1;
  all_of([&] {
    quel_encoder* encoder = nullptr;
    code = quel_encoder_init(memory.data(), memory.size(), &enc, &encoder);
    code += quel_encoder_reset(encoder);
    quel_encoder_destroy(encoder);
  });
  EXPECT_EQ(code, QUEL_OK);
  all_of([&] {
    quel_decoder* decoder = nullptr;
    code = quel_decoder_init(memory.data(), memory.size(), &dec, &decoder);
    code += quel_decoder_reset(decoder);
    quel_decoder_destroy(decoder);
  });
  EXPECT_EQ(code, QUEL_OK);
}

TEST_P(Allocation, StreamsUseNoHeap) {
  for (const int concealment : {QUEL_CONCEAL_IMMEDIATE, QUEL_CONCEAL_DEFERRED}) {
    const quel_encoder_options enc = encoder_options();
    quel_decoder_options dec = QUEL_DECODER_OPTIONS(flavor());
    dec.concealment = concealment;
    quel_encoder* encoder = nullptr;
    quel_decoder* decoder = nullptr;
    ASSERT_EQ(quel_encoder_create(&enc, &encoder), QUEL_OK);
    ASSERT_EQ(quel_decoder_create(&dec, &decoder), QUEL_OK);
    const auto n = static_cast<std::size_t>(quel_samples_per_unit(flavor()));
    const auto pcm =
        test::speech_like_pcm(60 * static_cast<int>(n), 5, quel_sampling_rate(flavor()));
    test::Random random(6);
    std::array<std::uint8_t, QUEL_MAX_BYTES> unit{};
    std::array<std::int16_t, QUEL_MAX_SAMPLES> out{};
    std::array<std::uint8_t, 3 * QUEL_MAX_BYTES> units{};
    Pcm heard(11 * 240);
    std::vector<float> real(11 * 240);
    const std::array<std::uint8_t, 6> received = {1, 0, 1, 0, 0, 1};
    std::array<std::int32_t, QUEL_MAX_FRAMES * QUEL_MAX_FIELDS> indices{};
    const auto fields = static_cast<std::size_t>(quel_flavor_info(flavor())->fields_per_frame);
    const auto frames = static_cast<std::size_t>(quel_frames_per_unit(flavor()));
    quel_decoder_counts counts = QUEL_DECODER_COUNTS;
    quel_frame frame = QUEL_FRAME;
    int failures = 0;
    expect_no_allocation("frames", [&] {
      for (std::size_t k = 0; k < 60; ++k) {
        const int bytes = quel_encode(encoder, &pcm[k * n], n, unit.data(), unit.size());
        if (k > 40) unit.fill(static_cast<std::uint8_t>(random.bits()));
        const std::uint32_t received = random.bits() | (k < 20 ? 3u : 0u);
        const int samples = quel_decode(decoder, unit.data(), static_cast<std::size_t>(bytes),
                                        received, out.data(), out.size());
        if (bytes < 0 || samples < 0) ++failures;
      }
      failures += quel_encode(encoder, pcm.data(), 1, unit.data(), 1) < 0 ? 0 : 1;
      failures += quel_decode(decoder, nullptr, 0, 0, out.data(), out.size()) < 0 ? 1 : 0;
      failures += quel_decoder_max_samples(decoder) > 0 ? 0 : 1;
      const auto bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor()));
      failures += quel_encode_units(encoder, pcm.data(), 3 * n, units.data(), 3 * bytes) < 0;
      failures += quel_encode_units_float(encoder, real.data(), 3 * n, units.data(), 3 * bytes) < 0;
      failures += quel_decode_units(decoder, units.data(), 3 * bytes, received.data(), heard.data(),
                                    heard.size()) < 0;
      failures += quel_decode_units_float(decoder, units.data(), 3 * bytes, nullptr, real.data(),
                                          real.size()) < 0;
      failures += quel_decode_units_samples(decoder, 3 * bytes) <= 0;
      failures += quel_encode_units_bytes(encoder, 3 * n) <= 0;
      failures += quel_decoder_statistics(decoder, &counts) != QUEL_OK;
      failures +=
          quel_unit_unpack(flavor(), units.data(), bytes, indices.data(), indices.size()) < 0;
      failures +=
          quel_unit_pack(flavor(), indices.data(), fields * frames, units.data(), bytes) < 0;
      failures += quel_frame_describe(decoder, indices.data(), fields, &frame) != QUEL_OK;
      failures += quel_encoder_flavor(encoder) + quel_decoder_flavor(decoder) != 2 * flavor();
      failures += quel_encoder_reset(encoder) + quel_decoder_reset(decoder) != QUEL_OK;
      failures += quel_sampling_rate(flavor()) + quel_samples_per_frame(flavor()) +
                              quel_frames_per_unit(flavor()) + quel_samples_per_unit(flavor()) +
                              quel_bytes_per_unit(flavor()) + quel_delay(flavor()) +
                              quel_version() + quel_bitstream() + quel_behaviour() >
                          0
                      ? 0
                      : 1;
      for (int code = -8; code < 2; ++code) failures += quel_error_text(code)[0] == 0 ? 1 : 0;
    });
    EXPECT_EQ(failures, 0);
    quel_encoder_destroy(encoder);
    quel_decoder_destroy(decoder);
  }
}

TEST_P(Allocation, ReceiversTakeOneBlockAndNothingAfterwards) {
  const quel_receiver_options options = QUEL_RECEIVER_OPTIONS(flavor());
  quel_receiver* receiver = nullptr;
  int code = 0;
  const Outcome refused =
      with_bad_memory(0, false, [&] { code = quel_receiver_create(&options, &receiver); });
  EXPECT_EQ(code, QUEL_ERROR_MEMORY);
  EXPECT_EQ(refused.left, 0);
  EXPECT_EQ(receiver, nullptr);
  const Outcome whole = with_bad_memory(1, false, [&] {
    code = quel_receiver_create(&options, &receiver);
    quel_receiver_destroy(receiver);
  });
  EXPECT_EQ(code, QUEL_OK);
  EXPECT_EQ(whole.allocations, 1);
  EXPECT_EQ(whole.left, 0);

  Bytes memory(static_cast<std::size_t>(quel_receiver_size(&options)));
  const Bytes units(4 * static_cast<std::size_t>(quel_bytes_per_unit(flavor())));
  const auto unit = static_cast<std::uint32_t>(quel_samples_per_unit(flavor()));
  Pcm heard(700);
  std::vector<float> real(700);
  quel_receiver_counts counts = QUEL_RECEIVER_COUNTS;
  int failures = 0;
  expect_no_allocation("receiver", [&] {
    failures += quel_receiver_init(memory.data(), memory.size(), &options, &receiver);
    test::Random random(8);
    std::uint32_t sequence = 0;
    for (std::uint32_t k = 0; k < 400; ++k) {
      const std::uint32_t at = sequence + static_cast<std::uint32_t>(random.integer(-2, 2));
      failures += quel_receiver_push(receiver, at, 4 * at * unit, k, units.data(), units.size());
      if (random.integer(0, 9) > 0) ++sequence;
      failures += quel_receiver_pull(receiver, heard.data(),
                                     static_cast<std::size_t>(random.integer(0, 700)));
      failures += quel_receiver_pull_float(receiver, real.data(),
                                           static_cast<std::size_t>(random.integer(0, 700)));
      failures += quel_receiver_statistics(receiver, &counts);
    }
    failures += quel_receiver_reset(receiver);
    quel_receiver_destroy(receiver);
  });
  EXPECT_EQ(failures, 0);
  EXPECT_GT(counts.decoded, 100u);
  EXPECT_GT(counts.concealed, 0u);
}

TEST_P(Allocation, ThePlugInUsesNoHeap) {
  const Pcm pcm = test::speech_like_pcm(3840, 1);
  std::array<std::uint8_t, 400> bytes{};
  Pcm out(37 * 240);
  std::uint32_t samples = 0, size = 0;
  std::uint16_t length = 0;
  int failures = 0;
  expect_no_allocation("plug-in", [&] {
    failures += GetNumberOfFlavors() + GetNumberOfQNFlavors() == 8 ? 0 : 1;
    failures += SetFlavor(static_cast<std::uint16_t>(flavor())) == 0 ? 0 : 1;
    failures += InitEncoder(8000, 2, &samples, &size) == 0 && InitDecoder() == 0 ? 0 : 1;
    for (const std::uint32_t received : {0xffffffffu, 0xfffffdf3u, 0u, 0xfffffff0u}) {
      Encode(pcm.data(), bytes.data());
      failures +=
          Decode(bytes.data(), static_cast<std::uint16_t>(size), out.data(), &length, received) == 0
              ? 0
              : 1;
    }
    FreeEncoder();
    FreeDecoder();
  });
  EXPECT_EQ(failures, 0);
  EXPECT_GT(length, 0);
}

// The first of all queries makes the object that answers them, so no other test may ask.
TEST(AllocationProperty, AQueryWithoutMemoryHasNoAnswerAndTheNextOneHas) {
  for (int first = 0; first < 2; ++first) {
    std::uint16_t length = 99;
    const void* answer = &length;
    with_bad_memory(first, false, [&] { answer = GetFlavorProperty(2, 0, &length); });
    EXPECT_EQ(answer, nullptr) << first;
    EXPECT_EQ(length, 0) << first;
  }
  std::uint16_t length = 0;
  const void* answer = nullptr;
  // The object is there: one block for the answer, and the one before goes.
  for (int call = 0; call < 3; ++call) {
    const Outcome outcome =
        with_bad_memory(1, false, [&] { answer = GetFlavorProperty(2, 10, &length); });
    EXPECT_EQ(outcome.allocations, 1);
    EXPECT_EQ(outcome.left, call == 0 ? 1 : 0);
    ASSERT_NE(answer, nullptr);
    EXPECT_STREQ(static_cast<const char*>(answer), "5 Kbps Voice");
    EXPECT_EQ(length, 13);
  }
}

TEST(AllocationScratch, WithoutMemoryTheStackStaysWhereItWas) {
  if (!malloc_fails) GTEST_SKIP() << "the sanitizer's runtime owns malloc";
  for (int first = 0; first < 2; ++first) {
    const std::byte* const stack = i_heap;
    const std::byte* const other = e_heap;
    void* result = &result;
    EXPECT_EQ(with_bad_memory(first, true, [&] { result = init_malloc(); }).left, 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(i_heap, stack);
    EXPECT_EQ(e_heap, other);
  }
  std::byte* const stack = i_heap;
  std::byte* const other = e_heap;
  void* result = nullptr;
  EXPECT_EQ(with_memory([&] { result = init_malloc(); }).allocations, 2);
  EXPECT_EQ(result, e_heap);
  std::free(i_heap - scratch_bytes);
  std::free(e_heap - scratch_bytes);
  i_heap = stack;
  e_heap = other;
}

}  // namespace
}  // namespace quel

#endif
