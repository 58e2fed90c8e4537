#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "interface/process_support.h"
#include "narrowband/find_F.h"
#include "narrowband/random_func.h"

namespace quel {
namespace {

using test::expect_same;
using test::expect_same_reset;
using test::Floats;
using test::Narrowband;
using test::noise;
using test::Pcm;
using test::random_words;
using test::same;
using test::speech_like_pcm;
using test::Words;

Floats isp_near_neutral() {
  Floats isp = {0.95f, 0.84f, 0.65f, 0.41f, 0.14f, -0.14f, -0.41f, -0.65f, -0.84f, 0.2f};
  return isp;
}

TEST(ProcessNarrowband, IsfQuantisers) {
  auto& enc = process_encoder.narrowband.isf;
  auto& dec = process_decoder.shared.isf;
  const Floats isp = isp_near_neutral();
  const auto quantise = [&](auto call) {
    Floats out(10);
    Words words(6);
    call(isp.data(), out.data(), words.data(), &words[5]);
    out.insert(out.end(), words.begin(), words.end());
    return out;
  };
  expect_same(
      enc,
      [&](IsfQuantizer& state) {
        return quantise([&](auto... arguments) { q_isf_ma(state, arguments...); });
      },
      [&] { return quantise([](auto... arguments) { q_isf_ma(arguments...); }); });
  expect_same_reset(
      enc, [](IsfQuantizer& state) { init_q_isf_ma(state); }, init_q_isf_ma);

  const Words indices = random_words(1);
  for (const int mode : {0, 1, 2}) {
    expect_same(
        dec,
        [&](IsfDequantizer& state) {
          Floats out(10);
          d_isf_ma(state, indices.data(), out.data(), mode);
          return out;
        },
        [&] {
          Floats out(10);
          d_isf_ma(indices.data(), out.data(), mode);
          return out;
        });
  }
  expect_same_reset(
      dec, [](IsfDequantizer& state) { init_d_isf_ma(state); }, init_d_isf_ma);
}

TEST(ProcessNarrowband, NarrowbandGainQuantisers) {
  set_mode(2);  // for the step of concealed pitch gains
  const Floats code = noise(48, 1, 0.5), g_coeff = {5, -7, 0.1f, -3, 0.5f};
  auto& enc = process_encoder.narrowband.gains;
  auto& dec = process_decoder.shared.gains;
  const auto quantise = [&](auto call) {
    Floats gains = {0.8f, 0.0f, 0.0f};
    gains[2] = static_cast<float>(call(code.data(), 48, &gains[0], &gains[1], g_coeff.data(), 1));
    return gains;
  };
  expect_same(
      enc,
      [&](GainQuantizer& state) {
        return quantise([&](auto... arguments) { return q_gain2(state, arguments...); });
      },
      [&] { return quantise([](auto... arguments) { return q_gain2(arguments...); }); });
  expect_same_reset(
      enc, [](GainQuantizer& state) { init_q_gain2(state); }, init_q_gain2);
  for (const int bfi : {0, 1, 2}) {
    expect_same(
        dec,
        [&](GainDequantizer& state) {
          Floats gains(2);
          d_gain2(state, 90 - bfi, code.data(), 48, &gains[0], &gains[1], bfi, 0, 1.0f / 6.0f);
          return gains;
        },
        [&] {
          Floats gains(2);
          d_gain2(90 - bfi, code.data(), 48, &gains[0], &gains[1], bfi, 0);
          return gains;
        });
  }
  expect_same_reset(
      dec, [](GainDequantizer& state) { init_d_gain2(state); }, init_d_gain2);
}

TEST(ProcessNarrowband, PostProcessing) {
  auto& five_k = process_decoder.five_k;
  const Floats x = noise(48, 2), ref = noise(48, 3, 300.0);
  expect_same(
      five_k.preemphasis,
      [&](Preemphasis& state) {
        Floats y = x;
        preemph(state, y.data(), 0.4f, 48);
        return y;
      },
      [&] {
        Floats y = x;
        preemph(y.data(), 0.4f, 48);
        return y;
      });
  expect_same_reset(
      five_k.preemphasis, [](Preemphasis& state) { init_preemph(state); }, init_preemph);
  expect_same(
      five_k.gain_control,
      [&](GainControl& state) {
        Floats y = x;
        agc(state, ref.data(), y.data(), 48, 0.9f);
        return y;
      },
      [&] {
        Floats y = x;
        agc(ref.data(), y.data(), 48, 0.9f);
        return y;
      });
  expect_same_reset(
      five_k.gain_control, [](GainControl& state) { init_agc(state); }, init_agc);
  expect_same(
      process_decoder.shared.seed, [](std::int16_t& seed) { return random_func(seed); },
      [] { return random_func(); });
}

TEST(ProcessNarrowband, NarrowbandEncoder) {
  const Pcm pcm = speech_like_pcm(240, 4);
  for (std::int32_t flavor = 0; flavor < 3; ++flavor) {
    set_mode(flavor);
    Words prm(21), expected(21);
    prm[0] = expected[0] = flavor;
    expect_same(
        process_encoder.narrowband,
        [&](NarrowbandEncoder& state) {
          cod_swt(state, process_mode, pcm.data(), expected.data());
          return expected;
        },
        [&] {
          cod_swt(pcm.data(), prm.data());
          return prm;
        });
    const auto A = test::stable_filter(10, 5);
    Floats F(48), plain(48);
    find_F(A.data(), 30, F.data());
    find_F(process_mode, A.data(), 30, plain.data());
    EXPECT_EQ(F, plain);
  }
  expect_same_reset(
      process_encoder.narrowband, [](NarrowbandEncoder& state) { init_cod_swt(state); },
      init_cod_swt);
}

TEST(ProcessNarrowband, NarrowbandDecoders) {
  set_mode(2);
  Narrowband state{process_decoder.swt, process_decoder.five_k, process_decoder.shared};
  const auto reset = [&state] {
    init_dec_swt(state.swt, state.shared);
    init_decoder_5k(state.five_k, state.shared);
  };
  init_dec_swt();
  reset();
  EXPECT_TRUE(same(state));
  for (int k = 0; k < 12; ++k) {
    Words prm = random_words(static_cast<std::uint64_t>(k));
    prm[0] = k % 2;
    const int bfi = k % 3;
    Pcm out(240), expected(240);
    dec_swt(prm.data(), out.data(), bfi);
    dec_swt(state.swt, state.shared, process_mode, prm.data(), expected.data(), bfi);
    EXPECT_EQ(out, expected);
    decoder_5k(prm.data() + 1, out.data(), bfi == 0 ? 0 : 1);
    decoder_5k(state.five_k, state.shared, process_mode, prm.data() + 1, expected.data(),
               bfi == 0 ? 0 : 1);
    EXPECT_EQ(out, expected);
    EXPECT_TRUE(same(state)) << k;
  }
  init_decoder_5k();
  EXPECT_FALSE(same(state));
  init_decoder_5k(state.five_k, state.shared);
  EXPECT_TRUE(same(state));
}

TEST(ProcessNarrowband, InitDecSwtResetsTheOtherDecodersToo) {
  set_mode(2);
  const Words prm = random_words(6);
  Pcm out(240);
  decoder_5k(prm.data() + 1, out.data(), 0);
  Words wide = prm;
  wide[0] = 0;
  decod_wb(wide.data(), out.data());
  FiveKDecoder five_k = process_decoder.five_k;
  WidebandDecoder wideband = process_decoder.wideband;
  NarrowbandDecoderShared shared;
  init_dec_swt();
  init_decoder_5k(five_k, shared);
  init_decod_wb(wideband);
  EXPECT_EQ(std::memcmp(&process_decoder.five_k, &five_k, sizeof five_k), 0);
  EXPECT_EQ(std::memcmp(&process_decoder.wideband, &wideband, sizeof wideband), 0);
}

}  // namespace
}  // namespace quel
