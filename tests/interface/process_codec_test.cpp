// Each routine of the process-wide codec does to the one codec of the process what its
// state-explicit form does to a state of the caller's, and gives what that gives.
#include "interface/process_codec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "narrowband/find_F.h"
#include "narrowband/random_func.h"
#include "quelcodec/quelcodec.h"
#include "support/signals.h"

namespace quel {
namespace {

using test::noise;
using test::Random;
using test::speech_like_pcm;

using Floats = std::vector<float>;
using Pcm = std::vector<std::int16_t>;
using Words = std::vector<std::int32_t>;

// Runs both forms from one state. Each returns what it wrote for its caller.
template <typename State, typename Explicit, typename Forward>
void expect_same(State& of_process, Explicit run_explicit, Forward run_forward) {
  const State before = of_process;
  State of_caller = of_process;
  const auto expected = run_explicit(of_caller);
  EXPECT_EQ(run_forward(), expected);
  EXPECT_EQ(std::memcmp(&of_process, &of_caller, sizeof(State)), 0);
  EXPECT_NE(std::memcmp(&of_process, &before, sizeof(State)), 0) << "nothing was done";
}

template <typename State, typename Explicit>
void expect_same_reset(State& of_process, Explicit reset, void (*forward)()) {
  expect_same(
      of_process, [&](State& state) { return reset(state), 0; }, [&] { return forward(), 0; });
}

Words random_words(std::uint64_t seed) {
  Random random(seed);
  Words words(23);
  for (auto& word : words) word = static_cast<std::int32_t>(random.bits() >> 1);
  return words;
}

Floats isp_near_neutral() {
  Floats isp = {0.95f, 0.84f, 0.65f, 0.41f, 0.14f, -0.14f, -0.41f, -0.65f, -0.84f, 0.2f};
  return isp;
}

TEST(ProcessCodec, IsfQuantisers) {
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

TEST(ProcessCodec, NarrowbandGainQuantisers) {
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

TEST(ProcessCodec, PostProcessing) {
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

TEST(ProcessCodec, NarrowbandEncoder) {
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

// Two narrowband decoders share the memories of their quantisers and their seed.
struct Narrowband {
  SwtDecoder swt;
  FiveKDecoder five_k;
  NarrowbandDecoderShared shared;
};

bool same(const Narrowband& state) {
  const FrameDecoder& process = process_decoder;
  return std::memcmp(&state.swt, &process.swt, sizeof state.swt) == 0 &&
         std::memcmp(&state.five_k, &process.five_k, sizeof state.five_k) == 0 &&
         state.shared.isf.past_r == process.shared.isf.past_r &&
         state.shared.isf.past_isf == process.shared.isf.past_isf &&
         state.shared.gains.past_qua_en == process.shared.gains.past_qua_en &&
         state.shared.gains.last_gain_pit == process.shared.gains.last_gain_pit &&
         state.shared.gains.last_gain_code == process.shared.gains.last_gain_code &&
         state.shared.gains.step == process.shared.gains.step &&
         state.shared.seed == process.shared.seed;
}

TEST(ProcessCodec, NarrowbandDecoders) {
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

TEST(ProcessCodec, InitDecSwtResetsTheOtherDecodersToo) {
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

TEST(ProcessCodec, WidebandEncoderAndItsQuantisers) {
  auto& enc = process_encoder.wideband;
  const Floats speech = noise(160, 7);
  std::copy(speech.begin(), speech.end(), new_speech2());
  EXPECT_EQ(new_speech2(), new_speech2(enc));
  const auto frame = [](auto call) {
    Words prm(22);
    call(prm.data());
    return prm;
  };
  expect_same(
      enc,
      [&](WidebandEncoder& state) {
        return frame([&](std::int32_t* prm) { coder_wb16(state, prm); });
      },
      [&] { return frame([](std::int32_t* prm) { coder_wb16(prm); }); });

  expect_same(
      enc.decimator,
      [&](LpFir& state) {
        Floats x = speech;
        lp_fir(state, x.data(), 80, 3);
        return x;
      },
      [&] {
        Floats x = speech;
        lp_fir(x.data(), 80, 3);
        return x;
      });
  Floats lsp(16);
  for (std::size_t i = 0; i < 16; ++i) lsp[i] = 0.9f - 0.11f * static_cast<float>(i);
  expect_same(
      enc.lsf,
      [&](LsfQuantizer& state) {
        Floats out = lsp;
        Words prm(6);
        q_lsp(state, out.data(), prm.data());
        out.insert(out.end(), prm.begin(), prm.end());
        return out;
      },
      [&] {
        Floats out = lsp;
        Words prm(6);
        q_lsp(out.data(), prm.data());
        out.insert(out.end(), prm.begin(), prm.end());
        return out;
      });
  const Floats code = noise(80, 8, 0.3);
  expect_same(
      enc.gains,
      [&](CodeGainQuantizer& state) {
        float gain = 20.0f;
        const int index = q_gain_code(state, code.data(), 80, &gain);
        return Floats{gain, static_cast<float>(index)};
      },
      [&] {
        float gain = 20.0f;
        const int index = q_gain_code(code.data(), 80, &gain);
        return Floats{gain, static_cast<float>(index)};
      });
  expect_same_reset(
      enc, [](WidebandEncoder& state) { init_coder_wb16(state); }, init_coder_wb16);
}

TEST(ProcessCodec, GainTestHasAMemoryOfItsOwn) {
  const Floats code = noise(80, 8, 0.3);
  GainTest state;
  for (int k = 0; k < 4; ++k) {
    float en = 0.0f, expected = 0.0f;
    const double wanted = q_gain_test(state, code.data(), 80, 20.0f, &expected);
    EXPECT_EQ(q_gain_test(code.data(), 80, 20.0f, &en), wanted);
    EXPECT_EQ(en, expected);
  }
}

// The switches are read at each call. Each must make a difference in some of the subframes.
TEST(ProcessCodec, CodebookSearchObeysItsSwitches) {
  int more_iterations = 0, signs = 0;
  for (std::uint64_t seed = 0; seed < 10; ++seed) {
    Floats h = noise(80, seed, 0.2);
    h[0] = 1.0f;
    std::vector<Words> found;
    for (const AcelpSettings settings : {AcelpSettings{1, 0}, {5, 0}, {1, 1}}) {
      nb_iter_selected = settings.nb_iter_selected;
      running_vector_from_signs = settings.running_vector_from_signs;
      AcelpWork work;
      Floats dn = noise(80, seed + 100), dn_plain = dn, code(80), code_plain(80), y(80);
      Floats y_plain(80);
      const Floats cn = noise(80, seed + 200);
      Words indices(5), plain(5);
      ACELP_45_85(dn.data(), cn.data(), h.data(), code.data(), y.data(), indices.data());
      ACELP_45_85(work, settings, dn_plain.data(), cn.data(), h.data(), code_plain.data(),
                  y_plain.data(), plain.data());
      EXPECT_EQ(indices, plain);
      EXPECT_EQ(code, code_plain);
      EXPECT_EQ(y, y_plain);
      found.push_back(indices);
    }
    more_iterations += found[0] != found[1];
    signs += found[0] != found[2];
  }
  EXPECT_GT(more_iterations, 0);
  EXPECT_GT(signs, 0);
}

TEST(ProcessCodec, WidebandDecoderAndItsQuantisers) {
  auto& dec = process_decoder.wideband;
  for (const std::int32_t bad : {0, 1}) {
    for (const std::int32_t lsf : {0, 1}) {
      for (const std::int32_t pitch : {0, 1}) {
        bad_lsf_ind = lsf;
        bad_pitch_ind = pitch;
        Words prm = random_words(static_cast<std::uint64_t>(12 + 4 * bad + 2 * lsf + pitch));
        prm[0] = bad;
        expect_same(
            dec,
            [&](WidebandDecoder& state) {
              Pcm out(160);
              decod_wb(state, prm.data(), out.data(), lsf, pitch);
              return out;
            },
            [&] {
              Pcm out(160);
              decod_wb(prm.data(), out.data());
              return out;
            });
      }
    }
  }
  const Words prm = random_words(20);
  expect_same(
      dec.lsf,
      [&](LsfDequantizer& state) {
        Floats lsp(16);
        d_lsp(state, prm.data(), lsp.data(), 0);
        return lsp;
      },
      [&] {
        Floats lsp(16);
        d_lsp(prm.data(), lsp.data(), 0);
        return lsp;
      });
  expect_same(
      dec.lag,
      [](LagDecoder& state) {
        int frac = 7;
        const int T0 = dec_lag3(state, 77, 30, 281, 0, &frac, 0);
        return Words{T0, frac};
      },
      [] {
        int frac = 7;
        const int T0 = dec_lag3(77, 30, 281, 0, &frac, 0);
        return Words{T0, frac};
      });
  expect_same(
      dec.gains, [](GainDequantizer16& state) { return d_gain_pitch(state, 3, 0); },
      [] { return d_gain_pitch(3, 0); });
  const Floats code = noise(80, 21, 0.3);
  for (const int bfi : {0, 1}) {
    expect_same(
        dec.gains,
        [&](GainDequantizer16& state) {
          float gain = 0.0f;
          d_gain_code(state, 9, code.data(), 80, &gain, bfi);
          return gain;
        },
        [&] {
          float gain = 0.0f;
          d_gain_code(9, code.data(), 80, &gain, bfi);
          return gain;
        });
  }
  expect_same_reset(
      dec, [](WidebandDecoder& state) { init_decod_wb(state); }, init_decod_wb);
}

TEST(ProcessCodec, DriversWithoutAModeRecordDoNothing) {
  const Pcm pcm(480, 1000);
  std::vector<std::uint8_t> bytes(40, 0xee);
  Pcm out(2400, 0x5a5a);
  process_mode = Mode{};
  initVXEncoder();
  initVXDecoder();
  initVX5Decoder();
  for (std::uint32_t flavor = 0; flavor < 4; ++flavor) {
    VXEncode(pcm.data(), bytes.data(), flavor);
    std::uint32_t mask = ~0u;
    std::int32_t samples = 7;
    VXDecode(bytes.data(), out.data(), 40, &mask, flavor, &samples);
    EXPECT_EQ(samples, 0);
    EXPECT_EQ(mask, ~0u);
  }
  EXPECT_THAT(bytes, ::testing::Each(0xee));
  EXPECT_THAT(out, ::testing::Each(0x5a5a));
}

// The mask goes by address: a driver takes one bit for each frame.
TEST(ProcessCodec, DriversConsumeTheMaskAndHandOverTheFlavor) {
  constexpr int calls_frames[] = {2, 1, 2, 1};
  const Pcm pcm = speech_like_pcm(480, 22);
  for (std::uint32_t flavor = 0; flavor < 4; ++flavor) {
    SCOPED_TRACE(flavor);
    set_mode(static_cast<std::int32_t>(flavor));
    initVXEncoder();
    initVXDecoder();
    if (flavor == 2) initVX5Decoder();
    std::vector<std::uint8_t> unit(40, 0xee);
    VXEncode(pcm.data(), unit.data(), flavor);
    const auto bytes = static_cast<std::size_t>(outputBytes);
    EXPECT_THAT(std::vector(unit.begin() + outputBytes, unit.end()), ::testing::Each(0xee));
    std::uint32_t mask = 0xa5a5a5ffu;
    std::int32_t samples = 0;
    Pcm out(480);
    using Driver = void (*)(const std::uint8_t*, std::int16_t*, std::uint32_t, std::uint32_t*,
                            std::uint32_t, std::int32_t*);
    constexpr Driver drivers[] = {VXDecode, VXDecode, VX5Decode, VX16Decode};
    drivers[flavor](unit.data(), out.data(), static_cast<std::uint32_t>(bytes), &mask, flavor,
                    &samples);
    EXPECT_EQ(mask, 0xa5a5a5ffu >> calls_frames[flavor]);
    EXPECT_EQ(samples, calls_frames[flavor] * len_frame);
    if (flavor < 2) {
      EXPECT_EQ(process_decoder.swt.last_mode, static_cast<std::int32_t>(flavor));
    }
  }
}

// A host may load on one thread and work on another: working memory is each thread's own.
TEST(ProcessCodec, AnyThreadMayCall) {
  const Pcm pcm = speech_like_pcm(2304, 23);
  std::uint32_t samples = 0, bytes = 0;
  std::vector<std::uint8_t> here(304), there(304);
  Pcm heard_here(2304), heard_there(2304);
  std::uint16_t length = 0;
  const auto work = [&](std::vector<std::uint8_t>& unit, Pcm& heard) {
    Encode(pcm.data(), unit.data());
    Decode(unit.data(), 304, heard.data(), &length, 0xffffu);
  };
  SetFlavor(1);
  InitEncoder(8000, 2, &samples, &bytes);
  InitDecoder();
  work(here, heard_here);
  InitEncoder(8000, 2, &samples, &bytes);
  InitDecoder();
  std::thread([&] { work(there, heard_there); }).join();
  EXPECT_EQ(there, here);
  EXPECT_EQ(heard_there, heard_here);
  EXPECT_EQ(length, 4608);
}

}  // namespace
}  // namespace quel
