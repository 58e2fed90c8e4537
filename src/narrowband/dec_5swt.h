#pragma once

#include <array>
#include <cstdint>

#include "bitstream/mode.h"
#include "narrowband/conceal.h"
#include "narrowband/decoder_state.h"
#include "narrowband/find_F.h"
#include "narrowband/postfilter_5k.h"

namespace quel {

/// Decoder of flavor 2; one per stream, beside a NarrowbandDecoderShared. It runs one frame behind
/// its input, so that a lost frame can be concealed with the help of the frame after it.
struct FiveKDecoder {
  static constexpr int words = 20;

  std::array<std::int32_t, words> cur_prm{};  ///< frame that the next call decodes; init leaves it
  std::int32_t bfi = 0;      ///< erasure state of cur_prm; 1 after init: the first frame is made up
  std::int32_t old_bfi = 0;  ///< erasure mode of the frame decoded last; 1 after init
  float old_pitch = 0.0f;    ///< last lag in thirds of a sample; 180 after init
  SynthesisState synthesis;
  std::array<float, 10> mem_syn1{};  ///< reference synthesis filter; 0 after init, as all below
  std::array<float, 10> mem_exc1{};  ///< postfilter, all-pole section
  std::array<float, 10> mem_exc2{};  ///< postfilter, last inputs of the all-zero section
  float old_gain_pit = 0.0f;         ///< pitch gain of the previous subframe: codebook switch
  Preemphasis preemphasis;
  GainControl gain_control;     ///< gain 1 after init
  EnhancedPostfilter enhanced;  ///< off unless a stream asks for it
};

/// Resets this decoder and what it shares but for the seed.
void init_decoder_5k(FiveKDecoder& state, NarrowbandDecoderShared& shared);

/// Takes one frame and decodes or conceals the one before it, 240 samples.
///
/// mode    `initFlavor`, `gamma5`, `gamma6` and `fac_inter_var` are read
/// prm     [0..19] parameters of the frame just received: the array of 21 words from word 1 on
/// synth   [0..239] 16-bit samples at 8 kHz
/// bfi_in  0 the frame just received is good, else it is lost and prm is not looked at again
/// concealment  of a stream that conceals at once; may be null
///
/// Returns the subframes that ran away and were cleared.
int decoder_5k(FiveKDecoder& state, NarrowbandDecoderShared& shared, const Mode& mode,
               const std::int32_t* prm, std::int16_t* synth, int bfi_in,
               NarrowbandConcealment* concealment = nullptr);

/// What makes a subframe's sound of its excitation.
struct FiveKSubframe {
  const float* A;     ///< [0..10]
  const float* code;  ///< [0..47]
  float gain_pit, gain_code;
  const Pulses& pulses;
  float fade_from = 1.0f, fade_to = 1.0f;  ///< of what enters the synthesis filters
};

/// The second half of a subframe: excitation, postfilter, synthesis, high-pass, and the history
/// moves on.
///
/// The adaptive codebook's vector stands in state.synthesis.exc().
///
/// synth  [0..47] output
///
/// Returns whether the result was sane; otherwise it is zeros, and the memories are cleared.
bool finish_subframe(FiveKDecoder& state, NarrowbandDecoderShared& shared, const Mode& mode,
                     const FiveKSubframe& part, float* synth);

/// The same where the excitation is one thing: it stands in the history as it enters the filters.
bool finish_subframe(FiveKDecoder& state, NarrowbandDecoderShared& shared, const Mode& mode,
                     const float* A, const Pulses& pulses, float* synth);

/// Ends a call: the frame given becomes the one to decode next.
///
/// prm     [0..19]
/// bfi_in  its erasure state
void take_next(FiveKDecoder& state, const std::int32_t* prm, std::int32_t bfi_in);

}  // namespace quel
