#pragma once

#include <array>
#include <cstdint>

#include "dsp/fill.h"
#include "dsp/level.h"
#include "narrowband/decoder_state.h"

namespace quel {

/// Lost frames made up for at once, from nothing but the past, and the frames behind them decoded
/// with the predictors' memories estimated: the strategy of streams that conceal immediately. One
/// per stream, beside its decoder; the plug-in and deferred streams have none.
///
/// While frames are lost, the predictors keep what the last received frame left in them.
struct NarrowbandConcealment {
  ExcitationPast past;
  Fill fill;                          ///< of the run of lost frames
  Ceiling ceiling;                    ///< of the run
  std::array<float, 10> deviation{};  ///< ISFs played last less their mean, while frames are lost
  std::array<float, 10> residual{};   ///< flavor 2: what would have coded them
  float filter_energy = 0.0f;         ///< flavor 2: of the impulse response before the loss
  std::int32_t first_good = 0;        ///< flavor 2: 1 in the frame right behind a loss
  std::int32_t heard = 0;             ///< 1 once a frame was received; before, there is no past
  std::int32_t lost = 0;              ///< frames lost in a row; saturates
  std::int32_t watched = 0;           ///< received subframes to come that a loss may disturb
};

/// The pitch gain to use in a received subframe, which is then remembered. It is the coded one, but
/// for subframes shortly behind a loss.
///
/// gains            behind d_gain2
/// energies_before  past_qua_en before it
/// lag              thirds of a sample
/// adaptive         [0..47] adaptive codebook's vector
/// code             [0..47]
float take_subframe(NarrowbandConcealment& state, const GainDequantizer& gains,
                    const std::array<float, 4>& energies_before, std::int32_t lag,
                    const float* adaptive, const float* code);

/// A frame that was not sent was played as noise. That ends a loss: the predictors are those of the
/// noise, nothing has to be estimated behind it, and another loss goes on from it.
///
/// exc  [-48..-1] the noise
void pass_noise(NarrowbandConcealment& state, const float* exc);

namespace narrowband {

/// What a received frame's own parameters say of the memories before it.
struct FrameClues {
  std::array<float, 10> residual;   ///< of its ISFs, Hz
  std::array<float, 3> correction;  ///< of its first code gains, dB
  float pitch_gain;                 ///< its first
};

/// indices     [0..4] of the ISFs
/// gain_index  [0..2] of the first subframes
FrameClues clues_of(const std::int32_t* indices, const std::array<std::int32_t, 3>& gain_index);

/// Weights of least-squares estimates of the memories with which a frame behind a loss was coded.
struct MemoryEstimate {
  /// [0..3] of the energies, newest first: a constant; code levels and corrections of the last
  /// three subframes received before the loss; corrections of the new frame's first three; pitch
  /// gains on either side.
  const float (*energies)[12];
  /// [0..2] of the residual: deviation and residual before the loss, residual of the new frame.
  const float* residual;
};

/// past_qua_en, within the range of what the gain table codes. It stays below the estimate, the
/// more so where that says that the sound has become louder: too quiet a start is not heard, too
/// loud a one is.
std::array<float, 4> estimate_energies(const MemoryEstimate& weights, const ExcitationPast& past,
                                       const std::array<float, 4>& past_qua_en,
                                       const FrameClues& clues);

/// past_r, within the codebooks' range.
std::array<float, 10> estimate_residual(const MemoryEstimate& weights, const IsfDequantizer& isf,
                                        const FrameClues& clues);

/// Level of the code's part of the excitation, dB, of a subframe with this correction.
float code_level(const std::array<float, 4>& energies_before, float correction);

}  // namespace narrowband
}  // namespace quel
