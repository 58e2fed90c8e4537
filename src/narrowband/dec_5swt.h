#pragma once

#include <array>
#include <cstdint>

#include "bitstream/mode.h"
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
///
/// Returns the subframes that ran away and were cleared.
int decoder_5k(FiveKDecoder& state, NarrowbandDecoderShared& shared, const Mode& mode,
               const std::int32_t* prm, std::int16_t* synth, int bfi_in);

/// The end of a subframe: postfilter, gain control, output high-pass; the total excitation stands
/// in the history and moves on.
///
/// A         [0..10] LP filter
/// enhanced  [0..47] excitation of the synthesis filter
/// synth     [0..47] output
///
/// Whether the result was sane; where not, it is silence and the histories are cleared.
bool finish_subframe(FiveKDecoder& state, NarrowbandDecoderShared& shared, const Mode& mode,
                     const float* A, const float* enhanced, const Pulses& pulses, float* synth);

/// Keeps the frame just received, which the next call decodes.
///
/// prm     [0..19]
/// bfi_in  its erasure state
void take_next(FiveKDecoder& state, const std::int32_t* prm, std::int32_t bfi_in);

}  // namespace quel
