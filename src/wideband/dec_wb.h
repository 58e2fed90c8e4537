#pragma once

#include <array>
#include <cstdint>

#include "wideband/conceal.h"
#include "wideband/d_gains.h"
#include "wideband/d_lsp.h"
#include "wideband/lag3.h"
#include "wideband/pitch_postfilter.h"
#include "wideband/start_values.h"

namespace quel {

/// The 16 kHz decoder; one per stream.
struct WidebandDecoder {
  /// Past excitation: the longest delay, which creeps up to 292 while frames are lost, and nine
  /// samples of interpolation.
  static constexpr int past = 301;

  std::array<float, past + 160> exc{};  ///< past excitation, then the frame's
  std::array<float, 16> mem_syn{};      ///< last outputs of the synthesis filter
  std::array<float, 16> mem_post{};     ///< last outputs of the postfilter
  std::array<float, 17> last_filter = wideband::flat_filter;  ///< last frame's, of subframe 2
  std::array<float, 17> last_postfilter = wideband::flat_filter;
  std::array<float, 16> old_lsp = wideband::neutral_lsp();  ///< last frame's decoded pairs

  wideband::PitchPostfilter pitch_postfilter;  ///< off unless a stream asks for it

  // What init_decod_wb leaves alone, as whether the pitch postfilter is on.
  LsfDequantizer lsf;
  LagDecoder lag;
  GainDequantizer16 gains;
  std::uint32_t random = 1;  ///< generator of the track words of lost frames
};

/// Resets the histories, filters and last pairs to their values at load; predictors, lags, gains
/// and the random generator run on.
void init_decod_wb(WidebandDecoder& state);

/// Decodes one frame to 160 samples, or conceals a lost one.
///
/// prm  [0..22] prm[0] nonzero where the frame is lost, then the encoder's 22 words. Words of more
///      bits than their field are cut to it. A lost frame reads none of them.
/// out  [0..159] 16-bit PCM at 16 kHz
/// bad_lsf_ind    nonzero conceals the line spectral frequencies of a received frame
/// bad_pitch_ind  nonzero conceals the delays of a received frame
/// watcher  told of every subframe of a received frame, and may lower its gains; may be null
///
/// Never fails. A subframe whose excitation or synthesis is not finite or beyond 1e9 in magnitude
/// comes out as silence and clears the histories that fed it; returns how many did.
int decod_wb(WidebandDecoder& state, const std::int32_t* prm, std::int16_t* out,
             int bad_lsf_ind = 0, int bad_pitch_ind = 0, WidebandConcealment* watcher = nullptr);

/// Forgets what fed a subframe that ran away; predictors, lags and the random generator go on.
void clear_absurd(WidebandDecoder& state);

/// Aw [0..16] = the filter that undoes the encoder's pre-filter in the next frame.
void inverse_prefilter(const WidebandDecoder& state, float* Aw);

/// The output side of subframe k: synthesis, pitch postfilter where it is on, and the inverse of
/// the encoder's pre-filter; in the first subframe the last frame's inverse fades into this one's.
///
/// A, Aw          [0..16] synthesis filter of the subframe; inverse pre-filter of the frame
/// k              0, 1
/// lag, gain_pit  as postfilter_pitch takes them
/// x              [0..79] what enters the synthesis filter: the excitation, or what a fade leaves
/// of it heard          [0..79]
///
/// Its excitation stands behind the history. Whether all of it was sane; where not, the output is
/// silence and the histories are cleared.
bool finish_subframe16(WidebandDecoder& state, const float* A, const float* Aw, int k, int lag,
                       float gain_pit, const float* x, float* heard);

/// Ends a frame: the excitation moves on, and the filters are kept for the next one.
///
/// A, Aw  [0..16] synthesis filter of the last subframe; inverse pre-filter of the frame
/// synth  [0..159] what was heard
void finish_frame16(WidebandDecoder& state, const float* A, const float* Aw, const float* synth,
                    std::int16_t* out);

}  // namespace quel
