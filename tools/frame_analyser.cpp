#include "tools/frame_analyser.h"

#include <algorithm>
#include <array>

#include "bitstream/mode.h"
#include "bitstream/serial.h"
#include "dsp/interpol_lpc.h"
#include "dsp/scratch.h"
#include "interface/frame_driver.h"
#include "narrowband/d_acb.h"
#include "narrowband/d_acb_5k.h"
#include "narrowband/find_F.h"
#include "narrowband/lag_code.h"
#include "wideband/dec45_85.h"
#include "wideband/pred_lt16.h"

namespace quel::tools {
namespace {

constexpr int narrowband_subframe = 48;
constexpr int wideband_subframe = 80;
constexpr std::size_t order = 10;

constexpr int widths_6k5[] = {6, 7, 7, 7, 5, 8, 5, 5, 5, 7, 5, 5, 5, 5, 7, 5, 5, 5, 5, 7};
constexpr int widths_8k5[] = {6, 7, 7, 7, 5, 8, 9, 9, 9, 7, 5, 9, 9, 9, 7, 5, 9, 9, 9, 7};
constexpr int widths_5k[] = {6, 7, 7, 7, 5, 8, 10, 7, 5, 10, 7, 8, 10, 7, 5, 10, 7, 5, 10, 7};
constexpr int widths_16k[] = {1, 7, 8, 7, 7, 7,        //
                              9, 4, 9, 9, 9, 9, 9, 5,  //
                              6, 4, 9, 9, 9, 9, 9, 5};

// A parameter array as the bit packing takes it; the longest is the wideband decoder's.
using Words = std::array<std::int32_t, 23>;

void swap_to_host(Words& words) {
  if (TestBigEndian() != 0) SwapIntBytes(words.data(), static_cast<std::int32_t>(words.size()));
}

std::vector<Pulse> pulses_of(std::span<const float> code) {
  std::vector<Pulse> pulses;
  for (std::size_t n = 0; n < code.size(); ++n) {
    if (code[n] != 0.0f) pulses.push_back({static_cast<int>(n), static_cast<int>(code[n])});
  }
  return pulses;
}

// What a narrowband frame is read with.
struct NarrowbandReader {
  const Mode& mode;
  NarrowbandDecoderShared shared;
  float last_pitch_gain;  // the codebook switch of flavor 2
  int t0_min = 0;

  Lag lag(int s, std::int32_t index) {
    const bool absolute = s == 0 || (mode.initFlavor == 2 && s == 2);
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
  SubframeParameters subframe(const float* A, const std::int32_t* words, int code_words, int s) {
    SubframeParameters out;
    const Lag decoded = lag(s, words[0]);
    out.lag = decoded.T0;
    out.lag_thirds = decoded.frac;

    std::array<float, narrowband_subframe> shape{1.0f}, plain{}, filtered{};
    code(words + 1, shape.data(), plain.data());
    out.pulses = pulses_of(plain);
    find_F(mode, A, decoded.T0, shape.data());
    code(words + 1, shape.data(), filtered.data());
    d_gain2(shared.gains, words[1 + code_words], filtered.data(), narrowband_subframe,
            &out.pitch_gain, &out.code_gain, 0, s * narrowband_subframe, mode.fac_inter_var);
    last_pitch_gain = out.pitch_gain;
    return out;
  }
};

void read_narrowband(const FrameDecoder& decoder, const Mode& mode, const Words& words,
                     FrameParameters& frame) {
  const bool five_k = mode.initFlavor == 2;
  const SynthesisState& synthesis = five_k ? decoder.five_k.synthesis : decoder.swt.synthesis;
  NarrowbandReader reader{mode, decoder.shared, decoder.five_k.old_gain_pit};

  std::array<float, order> isp{};
  d_isf_ma(reader.shared.isf, words.data() + 1, isp.data(), 0);
  frame.frequencies.assign(reader.shared.isf.past_isf.begin(), reader.shared.isf.past_isf.end());
  std::array<float, 5 * (order + 1)> A{};
  interpol_lpc(isp.data(), synthesis.isfold.data(), A.data(), mode.num_subfr);

  const int code_words = five_k ? 1 : 3;
  for (int s = 0; s < mode.num_subfr; ++s) {
    frame.subframes.push_back(reader.subframe(A.data() + static_cast<std::size_t>(s) * (order + 1),
                                              words.data() + 6 + s * (code_words + 2), code_words,
                                              s));
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

void read_wideband(const FrameDecoder& decoder, const Words& words, FrameParameters& frame) {
  LsfDequantizer lsf = decoder.wideband.lsf;
  LagDecoder lags = decoder.wideband.lag;
  GainDequantizer16 gains = decoder.wideband.gains;
  std::array<float, 16> lsp{};
  d_lsp(lsf, words.data() + 1, lsp.data(), 0);
  frame.frequencies.assign(lsf.past_lsf_q.begin(), lsf.past_lsf_q.end());
  for (int s = 0; s < 2; ++s) {
    const std::int32_t* word = words.data() + 7 + 8 * s;
    SubframeParameters out;
    const Lag lag = held_lag(lags, word[0], s * wideband_subframe);
    out.lag = lag.T0;
    out.lag_thirds = lag.frac;
    out.pitch_gain = static_cast<float>(d_gain_pitch(gains, word[1], 0));
    std::array<float, wideband_subframe> code{};
    DEC_ACELP_45_85(word + 2, code.data());
    out.pulses = pulses_of(code);
    pit_shrp(code.data(), lag.T0, std::min(out.pitch_gain, 1.0f), wideband_subframe);
    d_gain_code(gains, word[7], code.data(), wideband_subframe, &out.code_gain, 0);
    frame.subframes.push_back(out);
  }
}

}  // namespace

std::span<const int> index_widths(int flavor) {
  switch (flavor) {
    case 0:
      return widths_6k5;
    case 1:
      return widths_8k5;
    case 2:
      return widths_5k;
    default:
      return widths_16k;
  }
}

struct FrameAnalyser::State {
  Mode mode;
  FrameDecoder decoder;
  ScratchArea scratch;
};

FrameAnalyser::FrameAnalyser(int flavor) : state_(std::make_unique<State>()) {
  const ScratchSwitch scratch(state_->scratch);
  set_mode(state_->mode, flavor);
  initVXDecoder(state_->decoder);
  initVX5Decoder(state_->decoder);
}

FrameAnalyser::~FrameAnalyser() = default;

std::vector<FrameParameters> FrameAnalyser::next(std::span<const std::uint8_t> unit) {
  const Mode& mode = state_->mode;
  FrameDecoder& decoder = state_->decoder;
  const auto flavor = static_cast<std::uint32_t>(mode.initFlavor);
  const ScratchSwitch scratch(state_->scratch);
  std::vector<FrameParameters> frames(static_cast<std::size_t>(mode.framesPerCycle));
  std::int32_t position = 0;
  for (FrameParameters& frame : frames) {
    frame.lost = unit.empty();
    const auto move_on = [&] {
      std::array<std::int16_t, max_len_frame> pcm{};
      decode_frame(decoder, mode, unit.data(), position,
                   frame.lost ? Erasure::lost : Erasure::received, flavor, pcm.data());
    };
    // The decoder of flavor 2 runs a frame behind its input: given this frame, it stands where this
    // frame begins.
    if (flavor == 2) move_on();
    if (!frame.lost) {
      std::array<std::uint8_t, 20> bits{};
      bitcopy(bits.data(), unit.data(), 0, position, mode.prmBits);
      Words words{};
      binary2prm(words.data(), bits.data(), mode.initFlavor);
      swap_to_host(words);
      const auto count = static_cast<std::ptrdiff_t>(index_widths(mode.initFlavor).size());
      frame.indices.assign(words.begin() + 1, words.begin() + 1 + count);
      if (flavor == 3) {
        read_wideband(decoder, words, frame);
      } else {
        read_narrowband(decoder, mode, words, frame);
      }
    }
    if (flavor != 2) move_on();
    position += mode.prmBits;
  }
  return frames;
}

std::vector<std::uint8_t> pack_unit(int flavor, const std::vector<FrameParameters>& frames) {
  Mode mode;
  set_mode(mode, flavor);
  std::vector<std::uint8_t> unit(static_cast<std::size_t>(mode.outputBytes));
  std::int32_t position = 0;
  for (const FrameParameters& frame : frames) {
    Words words{};
    // Word 0 of the narrowband arrays is no field.
    std::copy(frame.indices.begin(), frame.indices.end(), words.begin() + (flavor == 3 ? 0 : 1));
    swap_to_host(words);
    std::array<std::uint8_t, 20> bits{};
    prm2binary(words.data(), bits.data(), flavor);
    bitcopy(unit.data(), bits.data(), position, 0, mode.prmBits);
    position += mode.prmBits;
  }
  return unit;
}

}  // namespace quel::tools
