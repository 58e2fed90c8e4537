#pragma once

#include <array>
#include <cstdint>

#include "dsp/fill.h"
#include "dsp/level.h"
#include "wideband/d_gains.h"

namespace quel {

/// Lost frames made up for at once, from nothing but the past, and the frames behind them decoded
/// with the predictors' memories estimated: the strategy of streams that conceal immediately. One
/// per stream, beside its decoder; the plug-in and deferred streams have none.
///
/// While frames are lost, the predictors keep what the last received frame left in them.
struct WidebandConcealment {
  ExcitationPast past;
  Fill fill;                          ///< of the run of lost frames
  Ceiling ceiling;                    ///< of the run
  std::array<float, 16> deviation{};  ///< LSFs played last less their mean, while frames are lost
  float third_correction = 0.0f;      ///< the one before those of past_qua_en, dB
  std::int32_t heard = 0;             ///< 1 once a frame was received; before, there is no past
  std::int32_t lost = 0;              ///< frames lost in a row; saturates
  std::int32_t first_good = 0;        ///< 1 in the frame right behind a loss
  std::int32_t watched = 0;           ///< received subframes to come that a loss may disturb
};

namespace wideband {

/// Distance of line spectral frequencies in and right behind a loss, Hz: they are guesses, and
/// closer ones resonate.
inline constexpr float concealed_lsf_min_dist = 80.0f;

}  // namespace wideband

/// The pitch gain to use in a received subframe, which is then remembered. It is the coded one, but
/// for subframes shortly behind a loss.
///
/// gains            behind d_gain_code
/// energies_before  past_qua_en before it
/// lag              thirds of a sample
/// adaptive         [0..79] adaptive codebook's vector
/// code             [0..79]
float take_subframe16(WidebandConcealment& state, const GainDequantizer16& gains,
                      const std::array<float, 2>& energies_before, std::int32_t lag, float gain_pit,
                      const float* adaptive, const float* code);

}  // namespace quel
