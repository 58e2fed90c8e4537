#include "interface/frame_driver.h"

#include <algorithm>
#include <array>
#include <utility>

#include "bitstream/flavor.h"
#include "bitstream/serial.h"
#include "dsp/pcm.h"
#include "narrowband/comfort.h"
#include "narrowband/conceal_swt.h"
#include "narrowband/d_gain2.h"
#include "wideband/comfort16.h"
#include "wideband/conceal_wb.h"
#include "wideband/gain_tables16.h"

namespace quel {
namespace {

using Parameters = std::array<std::int32_t, max_words>;
using FrameBits = std::array<std::uint8_t, max_frame_bytes>;

// On a big-endian host the packing wants little-endian words.
void swap_words(bool big_endian, Parameters& prm, const Flavor& facts) {
  if (big_endian) SwapIntBytes(prm.data(), facts.words());
}

// Mean pitch gain of a frame that was coded.
float lag_gain(const Flavor& facts, const Parameters& prm) {
  const bool wideband = facts.coder == Coder::wideband;
  const int subframes = facts.coder == Coder::five_k ? 5 : wideband ? 2 : 3;
  const std::size_t first = wideband ? 7 : facts.coder == Coder::five_k ? 8 : 10;
  const std::size_t stride = wideband ? 8 : facts.coder == Coder::five_k ? 3 : 5;
  float sum = 0.0f;
  for (int s = 0; s < subframes; ++s) {
    const std::int32_t index = prm[first + static_cast<std::size_t>(s) * stride];
    sum += wideband ? wideband::qua_gain_pitch[static_cast<std::size_t>(index)] : pitch_gain(index);
  }
  return sum / static_cast<float>(subframes);
}

// Whether the frame that was coded last holds speech.
bool holds_speech(const EncoderParts& parts, const Flavor& facts, const Parameters& prm) {
  // Windows of 240 samples, or 480, in which samples of some 3 rms count as silence.
  const bool wideband = facts.coder == Coder::wideband;
  VoiceFrame frame{};
  frame.r =
      wideband ? parts.wideband->autocorrelation.data() : parts.narrowband->autocorrelation.data();
  frame.prefilter = wideband ? parts.wideband->last_prefilter.data() : nullptr;
  frame.order = wideband ? 16 : 10;
  frame.lag_gain = lag_gain(facts, prm);
  frame.least_power = wideband ? 2000.0f : 1000.0f;
  frame.milliseconds = 1000 * facts.len_frame / facts.sampling_rate;
  return hear_voice(parts.silence->voice, frame);
}

// Whether the frame holds speech; false where nobody asks.
bool encode_frame(const EncoderParts& parts, const Mode& mode, SampleSource& source,
                  std::uint8_t* out, std::int32_t position, std::uint32_t flavor) {
  const Flavor& facts = flavors[flavor];
  std::array<std::int16_t, max_len_frame> room;
  const std::int16_t* in = source.next(mode.len_frame, room.data());
  Parameters prm{};
  if (facts.coder == Coder::wideband) {
    std::copy_n(in, facts.len_frame, new_speech2(*parts.wideband));
    if (parts.wideband_effort != nullptr) {
      coder_wb16(*parts.wideband, *parts.wideband_effort, prm.data());
    } else {
      coder_wb16(*parts.wideband, prm.data());
    }
  } else {
    prm[0] = static_cast<std::int32_t>(flavor);
    if (parts.narrowband_effort != nullptr) {
      cod_swt(*parts.narrowband, *parts.narrowband_effort, mode, in, prm.data());
    } else {
      cod_swt(*parts.narrowband, mode, in, prm.data());
    }
  }
  const bool speech = parts.silence != nullptr && holds_speech(parts, facts, prm);
  swap_words(parts.big_endian, prm, facts);
  FrameBits bits{};
  prm2binary(prm.data(), bits.data(), static_cast<std::int32_t>(flavor));
  bitcopy(out, bits.data(), position, 0, mode.prmBits);
  return speech;
}

Parameters unpack(bool big_endian, const Mode& mode, const std::uint8_t* in, std::int32_t position,
                  std::uint32_t flavor) {
  // Cleared, so that a frame shorter than the flavor's reads as followed by zeros.
  FrameBits bits{};
  bitcopy(bits.data(), in, 0, position, mode.prmBits);
  Parameters prm{};
  binary2prm(prm.data(), bits.data(), static_cast<std::int32_t>(flavor));
  swap_words(big_endian, prm, flavors[flavor]);
  return prm;
}

// Whether noise stands for a frame that was not sent: there has to be some to go by.
bool plays_noise(const DecoderParts& parts, bool not_sent) {
  return not_sent && parts.noise != nullptr && parts.noise->frames > 0;
}

// Noise ends a loss, where losses are concealed at once.
void pass_noise(NarrowbandConcealment* concealment, SynthesisState& synthesis) {
  if (concealment != nullptr) pass_noise(*concealment, synthesis.exc());
}

// The decoder that runs one frame behind, of which it depends what becomes of the frame in hand.
int run_five_k(const DecoderParts& parts, const Mode& mode, const std::int32_t* prm,
               Erasure erasure, std::int16_t* out) {
  FiveKDecoder& decoder = *parts.five_k;
  const std::int32_t lost = erasure == Erasure::received   ? 0
                            : erasure == Erasure::not_sent ? bfi_not_sent
                                                           : 1;
  if (plays_noise(parts, decoder.bfi == bfi_not_sent)) {
    const int cleared = comfort_5k(decoder, *parts.shared, mode, *parts.noise, prm, out, lost);
    pass_noise(parts.narrowband_concealment, decoder.synthesis);
    return cleared;
  }
  return decoder_5k(decoder, *parts.shared, mode, prm, out, lost, parts.narrowband_concealment);
}

// Puts estimates for what was lost under a received frame, where its decoder conceals at once.
void meet_frame(const DecoderParts& parts, const Parameters& prm, std::uint32_t flavor) {
  if (parts.narrowband_concealment != nullptr && flavors[flavor].coder == Coder::swt) {
    meet_swt(*parts.narrowband_concealment, *parts.swt, *parts.shared, prm.data());
  }
  if (parts.wideband_concealment != nullptr) {
    meet_wb(*parts.wideband_concealment, *parts.wideband, prm.data());
  }
}

// Returns the subframes that ran away, as do those below.
int play_noise_swt(const DecoderParts& parts, std::int16_t* out) {
  const int cleared = comfort_swt(*parts.swt, *parts.shared, *parts.noise, out);
  pass_noise(parts.narrowband_concealment, parts.swt->synthesis);
  return cleared;
}

int play_noise_wideband(const DecoderParts& parts, std::int16_t* out) {
  const int cleared = comfort_wb(*parts.wideband, *parts.noise, out);
  if (parts.wideband_concealment != nullptr) {
    pass_noise16(*parts.wideband_concealment, *parts.wideband);
  }
  return cleared;
}

int run_swt(const DecoderParts& parts, const Mode& mode, const Parameters& prm, Erasure erasure,
            std::int16_t* out) {
  NarrowbandConcealment* concealment = parts.narrowband_concealment;
  if (erasure == Erasure::lost && concealment != nullptr && concealment->heard != 0) {
    return conceal_swt(*concealment, *parts.swt, *parts.shared, mode, out);
  }
  return dec_swt(*parts.swt, *parts.shared, mode, prm.data(), out, static_cast<int>(erasure),
                 erasure == Erasure::received ? concealment : nullptr);
}

int run_wideband(const DecoderParts& parts, Parameters& prm, Erasure erasure, std::int16_t* out) {
  WidebandConcealment* concealment = parts.wideband_concealment;
  const bool received = erasure == Erasure::received;
  if (!received && concealment != nullptr && concealment->heard != 0) {
    return conceal_wb(*concealment, *parts.wideband, out);
  }
  prm[0] = received ? 0 : 1;
  return decod_wb(*parts.wideband, prm.data(), out, parts.driver->bad_lsf_ind,
                  parts.driver->bad_pitch_ind, received ? concealment : nullptr);
}

int run_decoder(const DecoderParts& parts, const Mode& mode, Parameters& prm, Erasure erasure,
                std::uint32_t flavor, std::int16_t* out) {
  if (erasure == Erasure::received) meet_frame(parts, prm, flavor);
  const bool noise = plays_noise(parts, erasure == Erasure::not_sent);
  const Erasure known = erasure == Erasure::not_sent ? Erasure::lost : erasure;
  switch (flavors[flavor].coder) {
    case Coder::swt:
      if (noise) return play_noise_swt(parts, out);
      return run_swt(parts, mode, prm, known, out);
    case Coder::five_k:
      return run_five_k(parts, mode, prm.data() + 1, erasure, out);
    case Coder::wideband:
      if (noise) return play_noise_wideband(parts, out);
      return run_wideband(parts, prm, known, out);
  }
  return 0;
}

// Remembers what a received frame sounds like, for frames that will not be sent.
void hear(const DecoderParts& parts, Erasure erasure, std::uint32_t flavor,
          const std::int16_t* pcm) {
  if (parts.noise == nullptr) return;
  const Flavor& facts = flavors[flavor];
  switch (facts.coder) {
    case Coder::swt:
      if (erasure == Erasure::received) {
        hear_narrowband(*parts.noise, *parts.shared, pcm, facts.len_frame);
      }
      return;
    case Coder::five_k:
      // Behind its input: `old_bfi` is the state of the frame that was played.
      if (parts.five_k->old_bfi == 0) {
        hear_narrowband(*parts.noise, *parts.shared, pcm, facts.len_frame);
      }
      return;
    case Coder::wideband:
      if (erasure == Erasure::received) hear_wideband(*parts.noise, *parts.wideband, pcm);
      return;
  }
}

std::uint64_t& count_of(DriverState& driver, Erasure erasure) {
  if (erasure == Erasure::received) return driver.decoded;
  return erasure == Erasure::not_sent ? driver.not_sent : driver.concealed;
}

// One frame in `len_frame` samples: cut, or followed by zeros, where the decoder's differ.
void append_frame(const DecoderParts& parts, const Mode& mode, Parameters& prm, Erasure erasure,
                  std::uint32_t flavor, SampleSink& out) {
  std::array<std::int16_t, max_len_frame> frame{};
  const int cleared = run_decoder(parts, mode, prm, erasure, flavor, frame.data());
  hear(parts, erasure, flavor, frame.data());
  ++count_of(*parts.driver, erasure);
  if (cleared > 0) ++parts.driver->cleared;
  const int n = std::min(flavors[flavor].len_frame, mode.len_frame);
  out.put(frame.data(), n);
  out.put_silence(mode.len_frame - n);
}

// prm  of the frame that ends the loss, or anything where that was not sent
void append_missing(const DecoderParts& parts, const Mode& mode, Parameters& prm,
                    std::uint32_t flavor, SampleSink& out,
                    Erasure kind = Erasure::lost_next_known) {
  std::int32_t& missing = parts.driver->numPacketsMissing;
  for (; missing >= 1; --missing) append_frame(parts, mode, prm, kind, flavor, out);
}

void decode_call(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                 std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask, std::uint32_t flavor,
                 std::int32_t* samples) {
  *samples = 0;
  if (mode.prmBits <= 0 || find_flavor(flavor) == nullptr) return;
  SampleSink sink(out);
  std::int32_t left = static_cast<std::int32_t>(bytes) * 8;
  std::int32_t position = 0;
  for (; left >= mode.prmBits; left -= mode.prmBits, position += mode.prmBits) {
    const bool received = (*mask & 1u) != 0;
    *mask >>= 1;
    take_frame_deferred(parts, mode, received ? in : nullptr, position, flavor, sink);
  }
  *samples = static_cast<std::int32_t>(sink.count());
}

}  // namespace

const std::int16_t* SampleSource::next(int n, std::int16_t* room) {
  if (pcm_ != nullptr) return std::exchange(pcm_, pcm_ + n);
  std::transform(real_, real_ + n, room, unit_to_pcm);
  real_ += n;
  return room;
}

void SampleSink::put(const std::int16_t* samples, int n) {
  if (pcm_ != nullptr) pcm_ = std::copy_n(samples, n, pcm_);
  if (real_ != nullptr) real_ = std::transform(samples, samples + n, real_, pcm_to_unit);
  count_ += n;
}

void SampleSink::put_silence(int n) {
  if (pcm_ != nullptr) pcm_ = std::fill_n(pcm_, n, std::int16_t{0});
  if (real_ != nullptr) real_ = std::fill_n(real_, n, 0.0f);
  count_ += n;
}

void init_parts(const EncoderParts& parts) {
  if (parts.narrowband != nullptr) init_cod_swt(*parts.narrowband);
  if (parts.wideband != nullptr) init_coder_wb16(*parts.wideband);
}

void init_parts(const DecoderParts& parts) {
  parts.driver->numPacketsMissing = 0;
  if (parts.shared != nullptr) {
    init_shared(*parts.shared);
    parts.shared->gBigEndian = TestBigEndian() != 0;
  }
  if (parts.swt != nullptr) init_dec_swt(*parts.swt, *parts.shared);
  if (parts.five_k != nullptr) init_decoder_5k(*parts.five_k, *parts.shared);
  if (parts.wideband != nullptr) init_decod_wb(*parts.wideband);
}

std::int32_t initVXEncoder(FrameEncoder& state) {
  i_heap = state.scratch.top();
  init_parts(state);
  state.big_endian = TestBigEndian() != 0;
  return 0;
}

void freeVXEncoder() {}

void VXEncode(const EncoderParts& parts, const Mode& mode, const std::int16_t* in,
              std::uint8_t* out, std::uint32_t flavor) {
  SampleSource source(in);
  encode_unit(parts, mode, source, out, flavor);
}

void encode_unit(const EncoderParts& parts, const Mode& mode, SampleSource& in, std::uint8_t* out,
                 std::uint32_t flavor) {
  // Frames are put in bit by bit. Over what a caller never wrote, that looks to tools such as
  // valgrind as if the unit depended on it.
  std::fill_n(out, mode.outputBytes, std::uint8_t{0});
  if (find_flavor(flavor) == nullptr) return;
  bool speech = false;
  for (std::int32_t frame = 0; frame < mode.framesPerCycle; ++frame) {
    speech |= encode_frame(parts, mode, in, out, frame * mode.prmBits, flavor);
  }
  if (parts.silence == nullptr) return;
  const Flavor& facts = flavors[flavor];
  end_unit(*parts.silence, speech,
           1000.0 * facts.len_frame * facts.frames_per_unit / facts.sampling_rate);
}

std::int32_t initVXDecoder(FrameDecoder& state) {
  i_heap = state.scratch.top();
  init_parts(state);
  return 0;
}

std::int32_t initVX5Decoder(FrameDecoder& state) {
  i_heap = state.scratch_5k.top();
  state.numPacketsMissing = 0;
  init_decoder_5k(state.five_k, state.shared);
  state.shared.gBigEndian = TestBigEndian() != 0;
  return 0;
}

void freeVXDecoder() {}

void freeVX5Decoder() {}

void VXDecode(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
              std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask, std::uint32_t flavor,
              std::int32_t* samples) {
  decode_call(parts, mode, in, out, bytes, mask, flavor, samples);
}

void VX5Decode(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
               std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask, std::uint32_t flavor,
               std::int32_t* samples) {
  decode_call(parts, mode, in, out, bytes, mask, flavor, samples);
}

void VX16Decode(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                std::int16_t* out, std::uint32_t bytes, std::uint32_t* mask, std::uint32_t flavor,
                std::int32_t* samples) {
  decode_call(parts, mode, in, out, bytes, mask, flavor, samples);
}

void decode_frame(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                  std::int32_t position, Erasure erasure, std::uint32_t flavor, std::int16_t* out) {
  Parameters prm{};
  if (erasure == Erasure::received) prm = unpack(parts.big_endian, mode, in, position, flavor);
  SampleSink sink(out);
  append_frame(parts, mode, prm, erasure, flavor, sink);
}

void take_frame_at_once(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                        std::int32_t position, std::uint32_t flavor, SampleSink& out) {
  Parameters prm{};
  if (in != nullptr) prm = unpack(parts.big_endian, mode, in, position, flavor);
  append_frame(parts, mode, prm, in != nullptr ? Erasure::received : Erasure::lost, flavor, out);
}

void take_frame_deferred(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                         std::int32_t position, std::uint32_t flavor, SampleSink& out) {
  std::int32_t& missing = parts.driver->numPacketsMissing;
  if (in == nullptr) {
    missing = std::min(missing + 1, max_packets_missing);
    return;
  }
  Parameters prm = unpack(parts.big_endian, mode, in, position, flavor);
  append_missing(parts, mode, prm, flavor, out);
  append_frame(parts, mode, prm, Erasure::received, flavor, out);
}

void take_frame_not_sent(const DecoderParts& parts, const Mode& mode, std::uint32_t flavor,
                         SampleSink& out) {
  Parameters none{};
  append_missing(parts, mode, none, flavor, out, Erasure::lost);
  append_frame(parts, mode, none, Erasure::not_sent, flavor, out);
}

void make_up_missing(const DecoderParts& parts, const Mode& mode, const std::uint8_t* in,
                     std::int32_t position, std::uint32_t flavor) {
  SampleSink nowhere;
  Parameters prm = unpack(parts.big_endian, mode, in, position, flavor);
  append_missing(parts, mode, prm, flavor, nowhere);
  meet_frame(parts, prm, flavor);
}

}  // namespace quel
