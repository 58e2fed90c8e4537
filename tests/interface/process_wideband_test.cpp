#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "interface/process_support.h"
#include "quelcodec/quelcodec.h"
#include "wideband/autocorr16.h"

namespace quel {
namespace {

using test::expect_same;
using test::expect_same_reset;
using test::Floats;
using test::noise;
using test::Pcm;
using test::random_words;
using test::Words;

TEST(ProcessWideband, WidebandEncoderAndItsQuantisers) {
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

TEST(ProcessWideband, LagWindowIsTheEncodersUntilItsNextInit) {
  auto& enc = process_encoder.wideband;
  const Floats ones(17, 1.0f);
  const auto window = [&] {
    Floats r = ones;
    lag_wind16(r.data(), 16);
    return r;
  };
  const auto filled = [](float f0, float fs, float noise, int m) {
    Floats w(17);
    init_lag_wind(w.data(), f0, fs, noise, m);
    return w;
  };
  const Floats start = filled(60.0f, 16000.0f, 1.00003f, 16);
  EXPECT_EQ(window(), start);
  init_lag_wind(120.0f, 8000.0f, 2.0f, 16);
  EXPECT_EQ(window(), filled(120.0f, 8000.0f, 2.0f, 16));

  // The coder applies it: a wide window smooths the spectrum.
  WidebandEncoder usual;
  Words prm, expected;
  for (std::uint64_t frame = 0; frame < 4; ++frame) {
    const Pcm speech = test::speech_like_pcm(160, frame, 16000.0);
    std::copy(speech.begin(), speech.end(), new_speech2());
    std::copy(speech.begin(), speech.end(), new_speech2(usual));
    prm.resize(prm.size() + 22);
    expected.resize(prm.size());
    coder_wb16(&prm[prm.size() - 22]);
    coder_wb16(usual, &expected[prm.size() - 22]);
  }
  EXPECT_NE(prm, expected);

  init_coder_wb16();
  EXPECT_EQ(window(), start);
  init_lag_wind(100.0f, 16000.0f, 1.5f, 3);
  Floats mixed = start;
  std::copy_n(filled(100.0f, 16000.0f, 1.5f, 3).begin(), 4, mixed.begin());
  EXPECT_EQ(window(), mixed);
  // An order that is none stays inside the window, and so does no sampling rate.
  const WidebandEncoder before = enc;
  init_lag_wind(100.0f, 0.0f, 1.0f, 1000);
  init_lag_wind(100.0f, 16000.0f, 1.5f, -1000);
  EXPECT_EQ(window(), ([] {
              Floats w(17);
              w[0] = 1.5f;
              return w;
            }()));
  enc.lag_window = before.lag_window;
  EXPECT_EQ(std::memcmp(&enc, &before, sizeof enc), 0);
}

TEST(ProcessWideband, GridIsFilledOnDemand) {
  EXPECT_THAT(lsf_grid, ::testing::Each(0.0f));
  init_grid();
  EXPECT_EQ(lsf_grid.front(), 1.0f);
  EXPECT_EQ(lsf_grid.back(), -1.0f);
  for (std::size_t j = 1; j < 100; ++j) {
    // A rounding to float, and the cosine of double precision.
    EXPECT_NEAR(lsf_grid[j], std::cos(static_cast<double>(j) * 0.03141593f), 6e-8) << j;
  }
}

TEST(ProcessWideband, PairSearchTakesTheSamplesThatTheLastSearchPreselected) {
  Floats h = noise(80, 3, 0.2), dn = noise(80, 4), code(80), y(80);
  const Floats cn = noise(80, 5), cor_x(16, 1.0f), cor_y(16, 1.0f), rrixiy(1280, 0.0f);
  Words indices(5);
  ACELP_45_85(dn.data(), cn.data(), h.data(), code.data(), y.data(), indices.data());
  const auto& dn2 = process_encoder.wideband.acelp.dn2;
  for (int track = 0; track < 5; ++track) {
    SCOPED_TRACE(track);
    const int next = (track + 1) % 5;
    // All energies are alike: the largest of the preselected and the largest of all are best.
    int wanted_x = -1, wanted_y = next;
    for (int n = track; n < 80; n += 5) {
      const auto at = static_cast<std::size_t>(n);
      if (dn2[at] < 0 && (wanted_x < 0 || dn[at] > dn[static_cast<std::size_t>(wanted_x)])) {
        wanted_x = n;
      }
    }
    for (int n = next; n < 80; n += 5) {
      if (dn[static_cast<std::size_t>(n)] > dn[static_cast<std::size_t>(wanted_y)]) wanted_y = n;
    }
    float ps = 1000.0f, alp = 2.0f;
    std::int32_t ix = track, iy = next;
    wideband::search_ixiy(track, next, &ps, &alp, &ix, &iy, dn.data(), cor_x.data(), cor_y.data(),
                          rrixiy.data());
    EXPECT_EQ(ix, wanted_x);
    EXPECT_EQ(iy, wanted_y);
    EXPECT_EQ(alp, 4.0f);
  }
}

TEST(ProcessWideband, GainTestHasAMemoryOfItsOwn) {
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
TEST(ProcessWideband, CodebookSearchObeysItsSwitches) {
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

TEST(ProcessWideband, WidebandDecoderAndItsQuantisers) {
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

}  // namespace
}  // namespace quel
