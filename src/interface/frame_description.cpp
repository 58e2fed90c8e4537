#include "interface/frame_description.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "bitstream/flavor.h"
#include "dsp/interpol_lpc.h"
#include "narrowband/conceal_5k.h"
#include "narrowband/d_acb.h"
#include "narrowband/d_acb_5k.h"
#include "narrowband/find_F.h"
#include "narrowband/lag_code.h"
#include "wideband/dec45_85.h"
#include "wideband/pred_lt16.h"

namespace quel {
namespace {

constexpr int wideband_subframe = 80;
constexpr std::size_t order = 10;
constexpr int spectrum_indices = 5;

void set_frequencies(std::span<const float> hz, quel_frame& frame) {
  std::copy(hz.begin(), hz.end(), frame.frequencies);
  frame.frequency_count = static_cast<int>(hz.size());
}

void set_pulses(std::span<const float> code, quel_subframe& out) {
  for (std::size_t n = 0; n < code.size(); ++n) {
    if (code[n] == 0.0f) continue;
    out.pulses[out.pulse_count++] = {static_cast<int>(n), static_cast<int>(code[n])};
  }
}

// What a narrowband frame is read with.
struct NarrowbandReader {
  const Mode& mode;
  Coder coder;
  NarrowbandDecoderShared shared;
  float last_pitch_gain;  // the codebook switch of flavor 2
  int t0_min = 0;

  Lag lag(int s, std::int32_t index) {
    const bool absolute = s == 0 || (coder == Coder::five_k && s == 2);
    if (!absolute) return decode_relative_lag(index, t0_min);
    const Lag decoded = decode_absolute_lag(index);
    t0_min = range_around_lag(decoded.T0).t0_min;
    return decoded;
  }

  void code(const std::int32_t* words, const float* shape, float* out) const {
    if (mode.initFlavor == 0) {
      dec_ACB_15(words, shape, out);
    } else if (mode.initFlavor == 1) {
      dec_ACB_27(words, shape, out);
    } else if (last_pitch_gain >= 0.8f) {
      dec_acb_2p10b(words[0], shape, out);
    } else {
      dec_acb_3p10b(words[0], shape, out);
    }
  }

  // words: the lag, the codebook's, the gains'
  void subframe(const float* A, const std::int32_t* words, int code_words, int s,
                quel_subframe& out) {
    const Lag decoded = lag(s, words[0]);
    out.lag = decoded.T0;
    out.lag_thirds = decoded.frac;

    std::array<float, narrowband_subframe> shape{1.0f}, plain{}, filtered{};
    code(words + 1, shape.data(), plain.data());
    set_pulses(plain, out);
    find_F(mode, A, decoded.T0, shape.data());
    code(words + 1, shape.data(), filtered.data());
    d_gain2(shared.gains, words[1 + code_words], filtered.data(), narrowband_subframe,
            &out.pitch_gain, &out.code_gain, 0, s * narrowband_subframe, mode.fac_inter_var);
    last_pitch_gain = out.pitch_gain;
  }
};

void describe_narrowband(const DecoderParts& parts, const Mode& mode, const std::int32_t* indices,
                         quel_frame& frame) {
  const bool five_k = parts.five_k != nullptr;
  const SynthesisState& synthesis = five_k ? parts.five_k->synthesis : parts.swt->synthesis;
  NarrowbandReader reader{mode, five_k ? Coder::five_k : Coder::swt, *parts.shared,
                          five_k ? parts.five_k->old_gain_pit : 0.0f};

  std::array<float, order> isp{};
  d_isf_ma(reader.shared.isf, indices, isp.data(), 0);
  set_frequencies(reader.shared.isf.past_isf, frame);
  const NarrowbandConcealment* concealment = parts.narrowband_concealment;
  if (five_k && concealment != nullptr && concealment->first_good != 0) {
    spread_isp(reader.shared.isf, isp.data());
  }
  std::array<float, QUEL_MAX_SUBFRAMES*(order + 1)> A{};
  interpol_lpc(isp.data(), synthesis.isfold.data(), A.data(), mode.num_subfr);

  const int code_words = five_k ? 1 : 3;
  frame.subframe_count = mode.num_subfr;
  for (int s = 0; s < mode.num_subfr; ++s) {
    reader.subframe(A.data() + static_cast<std::size_t>(s) * (order + 1),
                    indices + spectrum_indices + s * (code_words + 2), code_words, s,
                    frame.subframes[s]);
  }
}

// The decoder holds a lag inside its history.
Lag held_lag(LagDecoder& lag, std::int32_t index, int i) {
  int frac = 0;
  const int T0 = dec_lag3(lag, index, 30, 281, i, &frac, 0);
  if (T0 < 29) return {30, 0};
  if (T0 >= exc16_max_lag) return {exc16_max_lag, 0};
  return {T0, frac};
}

void describe_wideband(const WidebandDecoder& decoder, const std::int32_t* indices,
                       quel_frame& frame) {
  LsfDequantizer lsf = decoder.lsf;
  LagDecoder lags = decoder.lag;
  GainDequantizer16 gains = decoder.gains;
  std::array<float, 16> lsp{};
  d_lsp(lsf, indices, lsp.data(), 0);
  set_frequencies(lsf.past_lsf_q, frame);
  frame.subframe_count = 2;
  for (int s = 0; s < frame.subframe_count; ++s) {
    const std::int32_t* word = indices + 6 + 8 * s;
    quel_subframe& out = frame.subframes[s];
    const Lag lag = held_lag(lags, word[0], s * wideband_subframe);
    out.lag = lag.T0;
    out.lag_thirds = lag.frac;
    out.pitch_gain = static_cast<float>(d_gain_pitch(gains, word[1], 0));
    std::array<float, wideband_subframe> code{};
    DEC_ACELP_45_85(word + 2, code.data());
    set_pulses(code, out);
    pit_shrp(code.data(), lag.T0, std::min(out.pitch_gain, 1.0f), wideband_subframe);
    d_gain_code(gains, word[7], code.data(), wideband_subframe, &out.code_gain, 0);
  }
}

}  // namespace

void describe_frame(const DecoderParts& parts, const Mode& mode, const std::int32_t* indices,
                    quel_frame& frame) {
  if (parts.wideband != nullptr) {
    describe_wideband(*parts.wideband, indices, frame);
  } else {
    describe_narrowband(parts, mode, indices, frame);
  }
}

}  // namespace quel
