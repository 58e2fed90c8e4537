#include "quelcodec/quelcodec.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/signals.h"

namespace quel {
namespace {

using ::testing::IsEmpty;

static_assert(std::is_nothrow_move_constructible_v<Encoder>);
static_assert(std::is_nothrow_move_assignable_v<Encoder>);
static_assert(!std::is_copy_constructible_v<Encoder> && !std::is_copy_assignable_v<Encoder>);
static_assert(std::is_nothrow_move_constructible_v<Receiver>);
static_assert(std::is_nothrow_move_assignable_v<Receiver>);
static_assert(!std::is_copy_constructible_v<Receiver> && !std::is_copy_assignable_v<Receiver>);
static_assert(std::is_nothrow_move_constructible_v<Decoder>);
static_assert(std::is_nothrow_move_assignable_v<Decoder>);
static_assert(!std::is_copy_constructible_v<Decoder> && !std::is_copy_assignable_v<Decoder>);

/// The code of the Error that a call throws, QUEL_OK where it throws none.
template <typename Call>
int error_of(Call call) {
  try {
    call();
  } catch (const Error& error) {
    EXPECT_EQ(std::string(error.what()), quel_error_text(error.code()));
    return error.code();
  }
  return QUEL_OK;
}

class Classes : public ::testing::TestWithParam<int> {
 protected:
  std::vector<std::int16_t> speech(std::size_t units) const {
    return test::speech_like_pcm(static_cast<int>(units) * quel_samples_per_unit(GetParam()), 1,
                                 quel_sampling_rate(GetParam()));
  }
};
INSTANTIATE_TEST_SUITE_P(Flavors, Classes, ::testing::Range(0, 4));

TEST_P(Classes, GiveWhatTheCStreamsGive) {
  Encoder encoder(GetParam());
  Decoder decoder(GetParam());
  const quel_encoder_options encoder_options = QUEL_ENCODER_OPTIONS(GetParam());
  const quel_decoder_options decoder_options = QUEL_DECODER_OPTIONS(GetParam());
  quel_encoder* c_encoder = nullptr;
  quel_decoder* c_decoder = nullptr;
  ASSERT_EQ(quel_encoder_create(&encoder_options, &c_encoder), QUEL_OK);
  ASSERT_EQ(quel_decoder_create(&decoder_options, &c_decoder), QUEL_OK);
  const auto pcm = speech(6);
  const std::size_t samples = encoder.samples_per_unit();
  for (std::size_t u = 0; u < 6; ++u) {
    const auto block = std::span(pcm).subspan(u * samples, samples);
    std::vector<std::uint8_t> unit(QUEL_MAX_BYTES);
    unit.resize(static_cast<std::size_t>(
        quel_encode(c_encoder, block.data(), samples, unit.data(), unit.size())));
    EXPECT_EQ(encoder.encode(block), unit);
    EXPECT_EQ(unit.size(), encoder.bytes_per_unit());
    const std::uint32_t received = u == 3 ? 0u : QUEL_ALL_RECEIVED;
    std::vector<std::int16_t> out(QUEL_MAX_SAMPLES);
    out.resize(static_cast<std::size_t>(
        quel_decode(c_decoder, unit.data(), unit.size(), received, out.data(), out.size())));
    EXPECT_EQ(decoder.decode(unit, received), out);
  }
  quel_encoder_destroy(c_encoder);
  quel_decoder_destroy(c_decoder);
}

TEST_P(Classes, TakeAnyOptions) {
  quel_encoder_options options = encoder_options(GetParam(), 2);
  EXPECT_EQ(options.flavor, GetParam());
  EXPECT_EQ(options.effort, 2);
  quel_encoder* c_encoder = nullptr;
  ASSERT_EQ(quel_encoder_create(&options, &c_encoder), QUEL_OK);
  const auto pcm = speech(6);
  std::vector<std::uint8_t> units(6 * QUEL_MAX_BYTES);
  units.resize(static_cast<std::size_t>(
      quel_encode_units(c_encoder, pcm.data(), pcm.size(), units.data(), units.size())));
  quel_encoder_destroy(c_encoder);
  Encoder encoder(options);
  EXPECT_EQ(encoder.effort(), 2);
  EXPECT_EQ(encoder.encode_units(pcm), units);
  EXPECT_EQ(Encoder::memory_size(options), quel_encoder_size(&options));
  std::vector<std::byte> memory(static_cast<std::size_t>(Encoder::memory_size(options)));
  EXPECT_EQ(Encoder(options, memory).encode_units(pcm), units);
  EXPECT_EQ(Encoder(GetParam()).effort(), 0);
  options.effort = QUEL_MAX_EFFORT + 1;
  EXPECT_EQ(error_of([&] { Encoder{options}; }), QUEL_ERROR_OPTIONS);
  EXPECT_EQ(error_of([&] { Encoder(options, memory); }), QUEL_ERROR_OPTIONS);
}

TEST_P(Classes, SpanAndVectorFormsAgree) {
  Encoder first(GetParam()), second(GetParam());
  Decoder third(GetParam()), fourth(GetParam());
  const auto pcm = speech(1);
  const auto unit = first.encode(pcm);
  std::vector<std::uint8_t> bytes(unit.size());
  EXPECT_EQ(second.encode(pcm, bytes), unit.size());
  EXPECT_EQ(bytes, unit);
  const auto out = third.decode(unit);
  std::vector<std::int16_t> samples(fourth.max_samples());
  samples.resize(fourth.decode(unit, QUEL_ALL_RECEIVED, samples));
  EXPECT_EQ(samples, out);
}

TEST_P(Classes, UnitFormsAgreeAndTakeFloats) {
  const auto pcm = speech(5);
  std::vector<float> real(pcm.size());
  for (std::size_t n = 0; n < pcm.size(); ++n) real[n] = static_cast<float>(pcm[n]) / 32768.0f;
  const auto units = Encoder(GetParam()).encode_units(pcm);
  EXPECT_EQ(Encoder(GetParam()).encode_units(real), units);
  std::vector<std::uint8_t> bytes(Encoder(GetParam()).units_bytes(pcm.size()));
  EXPECT_EQ(Encoder(GetParam()).encode_units(std::span<const float>(real), bytes), units.size());
  EXPECT_EQ(bytes, units);

  const auto frames = static_cast<std::size_t>(5 * quel_frames_per_unit(GetParam()));
  std::vector<std::uint8_t> received(frames, 1);
  received[1] = received[2] = 0;
  Decoder first(GetParam()), second(GetParam());
  const auto heard = first.decode_units(units, received);
  EXPECT_EQ(first.counts().concealed, 2u);
  EXPECT_EQ(first.counts().decoded, frames - 2);
  std::vector<float> out(second.units_samples(units.size()));
  EXPECT_EQ(second.decode_units(units, received, std::span(out)), heard.size());
  for (std::size_t n = 0; n < out.size(); ++n) {
    ASSERT_EQ(out[n], static_cast<float>(heard[n]) / 32768.0f);
  }
  // As many flags as frames, or none.
  for (const std::size_t wrong : {std::size_t{1}, frames - 1, frames + 1}) {
    if (wrong == frames) continue;
    received.resize(wrong);
    EXPECT_EQ(error_of([&] { first.decode_units(units, received); }), QUEL_ERROR_LENGTH);
    EXPECT_EQ(error_of([&] { first.decode_units_float(units, received); }), QUEL_ERROR_LENGTH);
  }
}

TEST_P(Classes, CallsThatThrowNothingReturnTheCodes) {
  Encoder encoder(GetParam());
  Decoder decoder;
  const quel_encoder* const before = encoder.get();
  EXPECT_EQ(Encoder::try_make(9, encoder), QUEL_ERROR_FLAVOR);
  EXPECT_EQ(encoder.get(), before);
  EXPECT_EQ(decoder.try_reset(), QUEL_ERROR_ARGUMENT);
  quel_decoder_counts counts;
  EXPECT_EQ(decoder.try_counts(counts), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(Decoder::try_make(GetParam(), static_cast<Concealment>(5), decoder),
            QUEL_ERROR_OPTIONS);
  EXPECT_EQ(decoder.get(), nullptr);
  ASSERT_EQ(Decoder::try_make(GetParam(), Concealment::deferred, decoder), QUEL_OK);
  const auto pcm = speech(1);
  std::vector<std::uint8_t> unit(encoder.bytes_per_unit());
  ASSERT_EQ(encoder.try_encode(pcm, unit), static_cast<int>(unit.size()));
  std::vector<std::int16_t> heard(decoder.max_samples());
  EXPECT_EQ(decoder.try_decode({}, 0, heard), 0);
  EXPECT_EQ(decoder.try_decode({}, 1, heard), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(decoder.try_decode_units(unit, {}, std::span(heard)),
            static_cast<std::int64_t>(2 * pcm.size()));
}

TEST_P(Classes, MovingKeepsTheStream) {
  Encoder encoder(GetParam());
  Decoder decoder(GetParam());
  const quel_encoder* const encoder_stream = encoder.get();
  const quel_decoder* const decoder_stream = decoder.get();
  Encoder encoder_heir(std::move(encoder));
  Decoder decoder_heir(std::move(decoder));
  EXPECT_EQ(encoder_heir.get(), encoder_stream);
  EXPECT_EQ(decoder_heir.get(), decoder_stream);
  EXPECT_EQ(encoder_heir.flavor(), GetParam());
  EXPECT_EQ(decoder_heir.flavor(), GetParam());
  // Assigning destroys the stream that was there (leaks show under AddressSanitizer).
  encoder_heir = Encoder(GetParam());
  decoder_heir = Decoder(GetParam());
  EXPECT_EQ(encoder_heir.encode(speech(1)).size(), encoder_heir.bytes_per_unit());
}

TEST_P(Classes, ResetStartsAgain) {
  Encoder encoder(GetParam());
  Decoder decoder(GetParam());
  const auto pcm = speech(1);
  const auto unit = encoder.encode(pcm);
  const auto out = decoder.decode(unit);
  encoder.encode(pcm);
  decoder.decode(unit);
  encoder.reset();
  decoder.reset();
  EXPECT_EQ(encoder.encode(pcm), unit);
  EXPECT_EQ(decoder.decode(unit), out);
}

TEST_P(Classes, ConcealmentIsImmediateUnlessAskedOtherwise) {
  Decoder immediate(GetParam()), deferred(GetParam(), Concealment::deferred);
  const auto samples = static_cast<std::size_t>(quel_samples_per_unit(GetParam()));
  EXPECT_EQ(immediate.conceal().size(), samples);
  EXPECT_THAT(deferred.conceal(), IsEmpty());
  const std::vector<std::uint8_t> unit(static_cast<std::size_t>(quel_bytes_per_unit(GetParam())));
  EXPECT_EQ(deferred.decode(unit).size(), 2 * samples);
}

TEST_P(Classes, AnEmptyUnitIsALostOneWhereverItPoints) {
  Decoder decoder(GetParam()), twin(GetParam());
  std::vector<std::uint8_t> unit(static_cast<std::size_t>(quel_bytes_per_unit(GetParam())));
  unit.clear();  // keeps its memory
  ASSERT_NE(unit.data(), nullptr);
  EXPECT_EQ(decoder.decode(unit, 0), twin.conceal());
  EXPECT_EQ(error_of([&] { decoder.decode(unit); }), QUEL_ERROR_ARGUMENT);
}

TEST_P(Classes, FailuresThrowTheirCodes) {
  Encoder encoder(GetParam());
  Decoder decoder(GetParam());
  std::vector<std::int16_t> pcm = speech(1);
  std::vector<std::uint8_t> unit = encoder.encode(pcm);
  std::vector<std::uint8_t> small(unit.size() - 1);
  EXPECT_EQ(error_of([&] { encoder.encode(pcm, small); }), QUEL_ERROR_CAPACITY);
  EXPECT_EQ(error_of([&] { decoder.decode(unit, 1, std::span(pcm).first(1)); }),
            QUEL_ERROR_CAPACITY);
  pcm.pop_back();
  EXPECT_EQ(error_of([&] { encoder.encode(pcm); }), QUEL_ERROR_LENGTH);
  EXPECT_EQ(error_of([&] { decoder.decode(small); }), QUEL_ERROR_LENGTH);
}

TEST_P(Classes, AMovedFromStreamThrows) {
  Encoder encoder(GetParam());
  Decoder decoder(GetParam());
  const Encoder encoder_heir(std::move(encoder));
  const Decoder decoder_heir(std::move(decoder));
  const auto pcm = speech(1);
  const std::vector<std::uint8_t> unit(static_cast<std::size_t>(quel_bytes_per_unit(GetParam())));
  // NOLINTBEGIN(bugprone-use-after-move): that is the case.
  EXPECT_EQ(error_of([&] { encoder.encode(pcm); }), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(error_of([&] { encoder.reset(); }), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(error_of([&] { decoder.decode(unit); }), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(error_of([&] { decoder.flavor(); }), QUEL_ERROR_ARGUMENT);
  // NOLINTEND(bugprone-use-after-move)
}

TEST(ClassesOfNoFlavor, UnknownAndConcealmentsThrow) {
  for (const int flavor : {-1, 4, 1000}) {
    EXPECT_EQ(error_of([&] { Encoder{flavor}; }), QUEL_ERROR_FLAVOR);
    EXPECT_EQ(error_of([&] { Decoder{flavor}; }), QUEL_ERROR_FLAVOR);
  }
  EXPECT_EQ(error_of([] { Decoder(0, static_cast<Concealment>(2)); }), QUEL_ERROR_OPTIONS);
}

// Bytes from operator new, which aligns them.
using Memory = std::vector<std::byte>;

TEST_P(Classes, LiveInMemoryOfTheCallersToo) {
  Memory encoder_memory(static_cast<std::size_t>(Encoder::memory_size(GetParam())));
  Memory decoder_memory(static_cast<std::size_t>(Decoder::memory_size(GetParam())));
  const auto pcm = speech(6);
  for (const Concealment concealment : {Concealment::immediate, Concealment::deferred}) {
    Encoder encoder(GetParam(), encoder_memory);
    Decoder decoder(GetParam(), concealment, decoder_memory);
    EXPECT_EQ(static_cast<void*>(encoder.get()), encoder_memory.data());
    EXPECT_EQ(static_cast<void*>(decoder.get()), decoder_memory.data());
    EXPECT_EQ(decoder.max_samples(), Decoder(GetParam(), concealment).max_samples());
    const auto units = encoder.encode_units(pcm);
    EXPECT_EQ(units, Encoder(GetParam()).encode_units(pcm));
    EXPECT_EQ(decoder.decode_units(units), Decoder(GetParam()).decode_units(units));
  }
  const std::span<std::byte> few = std::span(encoder_memory).first(100);
  const std::span<std::byte> odd = std::span(encoder_memory).subspan(1);
  const auto make = [&](int flavor, std::span<std::byte> memory) {
    return error_of([&] { Encoder(flavor, memory); });
  };
  EXPECT_EQ(make(GetParam(), few), QUEL_ERROR_MEMORY);
  EXPECT_EQ(make(GetParam(), odd), QUEL_ERROR_ALIGNMENT);
  EXPECT_EQ(make(GetParam(), {}), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(make(4, encoder_memory), QUEL_ERROR_FLAVOR);
  EXPECT_EQ(error_of([&] { Decoder(GetParam(), Concealment::immediate, few); }), QUEL_ERROR_MEMORY);
  EXPECT_EQ(Encoder::memory_size(4), QUEL_ERROR_FLAVOR);
  EXPECT_EQ(Decoder::memory_size(-1), QUEL_ERROR_FLAVOR);
}

TEST_P(Classes, ReceiveWhatTheCReceiverReceives) {
  Encoder encoder(GetParam());
  quel_receiver_options options = QUEL_RECEIVER_OPTIONS(GetParam());
  options.least_delay = options.most_delay = 80;
  Receiver receiver(options), usual(GetParam());
  std::vector<std::byte> memory(static_cast<std::size_t>(Receiver::memory_size(options)));
  Receiver there(options, memory);
  EXPECT_EQ(static_cast<void*>(there.get()), memory.data());
  quel_receiver* c_receiver = nullptr;
  ASSERT_EQ(quel_receiver_create(&options, &c_receiver), QUEL_OK);
  const auto pcm = speech(30);
  const std::size_t samples = encoder.samples_per_unit();
  std::vector<std::int16_t> heard(samples), expected(samples);
  std::vector<float> real(samples);
  for (std::uint32_t k = 0; k < 30; ++k) {
    const auto unit = encoder.encode(std::span(pcm).subspan(k * samples, samples));
    const auto timestamp = k * static_cast<std::uint32_t>(samples);
    receiver.push(k, timestamp, k, unit);
    there.push(k, timestamp, k, unit);
    ASSERT_EQ(quel_receiver_push(c_receiver, k, timestamp, k, unit.data(), unit.size()), QUEL_OK);
    receiver.pull(heard);
    there.pull(real);
    ASSERT_EQ(quel_receiver_pull(c_receiver, expected.data(), samples), QUEL_OK);
    ASSERT_EQ(heard, expected);
    for (std::size_t n = 0; n < samples; ++n) {
      ASSERT_EQ(real[n], static_cast<float>(heard[n]) / 32768.0f);
    }
  }
  EXPECT_EQ(receiver.counts().received, 30u);
  EXPECT_GT(receiver.counts().decoded, 10u);
  quel_receiver_destroy(c_receiver);
  receiver.reset();
  EXPECT_EQ(receiver.counts().received, 0u);
  EXPECT_EQ(usual.counts().received, 0u);
  EXPECT_EQ(error_of([&] { receiver.push(0, 0, 0, {}); }), QUEL_ERROR_ARGUMENT);
  EXPECT_EQ(error_of([&] { Receiver(4); }), QUEL_ERROR_FLAVOR);
  Receiver moved = std::move(receiver);
  EXPECT_EQ(error_of([&] { moved.pull(heard); }), QUEL_OK);
  EXPECT_EQ(error_of([&] { Receiver().pull(heard); }), QUEL_ERROR_ARGUMENT);
}

TEST_P(Classes, TakeUnitsApartAndTellWhatFramesStandFor) {
  const quel_flavor& info = *quel_flavor_info(GetParam());
  const auto fields = static_cast<std::size_t>(info.fields_per_frame);
  Encoder encoder(GetParam());
  const auto unit = encoder.encode(speech(1));
  auto indices = unpack_unit(GetParam(), unit);
  ASSERT_EQ(indices.size(), fields * static_cast<std::size_t>(info.frames_per_unit));
  EXPECT_EQ(pack_unit(GetParam(), indices), unit);

  const quel_decoder_options options = QUEL_DECODER_OPTIONS(GetParam());
  quel_decoder* c_decoder = nullptr;
  ASSERT_EQ(quel_decoder_create(&options, &c_decoder), QUEL_OK);
  quel_frame expected = QUEL_FRAME;
  ASSERT_EQ(quel_frame_describe(c_decoder, indices.data(), fields, &expected), QUEL_OK);
  quel_decoder_destroy(c_decoder);
  Decoder decoder(GetParam());
  const quel_frame frame = decoder.describe(std::span(indices).first(fields));
  EXPECT_EQ(frame.subframe_count, expected.subframe_count);
  EXPECT_EQ(frame.frequencies[0], expected.frequencies[0]);
  EXPECT_EQ(frame.subframes[1].lag, expected.subframes[1].lag);
  EXPECT_EQ(frame.subframes[1].code_gain, expected.subframes[1].code_gain);
  EXPECT_EQ(decoder.describe({}).subframe_count, 0);
  EXPECT_EQ(decoder.counts().decoded, 1u);
  EXPECT_EQ(decoder.counts().concealed, 1u);

  indices[0] = 1 << info.field_bits[0];
  EXPECT_EQ(error_of([&] { pack_unit(GetParam(), indices); }), QUEL_ERROR_RANGE);
  EXPECT_EQ(error_of([&] { decoder.describe(std::span(indices).first(fields)); }),
            QUEL_ERROR_RANGE);
  EXPECT_EQ(error_of([&] { unpack_unit(GetParam(), std::span(unit).first(3)); }),
            QUEL_ERROR_LENGTH);
  EXPECT_EQ(error_of([&] { unpack_unit(4, unit); }), QUEL_ERROR_FLAVOR);
  EXPECT_EQ(error_of([&] { Decoder().describe({}); }), QUEL_ERROR_ARGUMENT);
}

}  // namespace
}  // namespace quel
