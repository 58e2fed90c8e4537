#pragma once

#include <array>
#include <cstdint>

namespace quel {

/// What a host may change of the algebraic codebook search.
struct AcelpSettings {
  /// Rotations of the track order that are tried; below 1 acts as 1, above 5 as 5.
  std::int32_t nb_iter_selected = 2;
  /// Nonzero starts the running vector of each rotation from the negated signs instead of from
  /// zero. The energies that the search compares are then not those of the filtered code, which
  /// costs 5 to 7 dB; the switch exists so that both can be compared.
  std::int32_t running_vector_from_signs = 0;
};

/// What the search maximises is ps^2 / alp.
struct AcelpScore {
  float ps = 0.0f;   ///< correlation of target and filtered code
  float alp = 0.0f;  ///< half energy of the filtered code
};

/// Work areas of one search, all rewritten by each call. They are more than the scratch stack has
/// left at that depth, so the encoder's state holds them.
struct AcelpWork {
  std::array<float, 80> sign{};           ///< amplitude, 1 or -1, of a pulse at each sample
  std::array<float, 80> vec{};            ///< code filtered by h, of the pulses placed so far
  std::array<float, 80> dn2{};            ///< preselection measure; negative marks a candidate
  std::array<std::int32_t, 5> pos_max{};  ///< per track, the sample of the largest measure
  std::array<float, 160> h_plus{};        ///< 80 zeros, then h
  std::array<float, 80> rrixix{};         ///< [16 t + p] half energy of h from sample t + 5 p on
  std::array<float, 1280> rrixiy{};  ///< [256 t + 16 p + q] sample t + 5 p with the next track's
  std::array<std::int32_t, 10> best_position{};  ///< pulses of the best rotation so far
  AcelpScore best_score;                ///< theirs; zeros where no rotation was better than nothing
  std::array<std::int32_t, 20> slot{};  ///< [4 t ..] pulse words of track t; -1 is free
  /// Signals as doubles, of the kernel: h, and by track the running vectors of two rotations.
  std::array<double, 80 + 2 * 160> room{};
};

/// Searches the algebraic codebook of one 80-sample subframe (J.-P. Adoul et al., "Fast CELP coding
/// based on algebraic codes", ICASSP 1987): ten pulses of amplitude 1 or -1, two on each of five
/// interleaved tracks, placed pair after pair. Sums are in double and stored as float, as
/// everywhere in this coder.
///
/// work      rewritten
/// dn        [0..79] backward-filtered target; made sign-free
/// cn        [0..79] residual of the long-term prediction
/// h         [0..79] impulse response, pitch-sharpened already
/// code      [0..79] output: the pulses; two on one sample add
/// y         [0..79] output: code filtered by h, accumulated pulse by pulse
/// indices   [0..4] output: 9 bits per track, bit 8 the sign of the first pulse, bits 7..4 and 3..0
///           the position numbers (sample / 5) of the two
///
/// All outputs are defined, and the indices decode to `code`, for any input, also where no
/// candidate is better than nothing (silence through a silent h, samples that are no numbers).
void ACELP_45_85(AcelpWork& work, const AcelpSettings& settings, float* dn, const float* cn,
                 const float* h, float* code, float* y, std::int32_t* indices);

namespace wideband {

/// What the search knows before it places a pulse: writes work's signs, the measure that marks
/// eight candidates of each track, and each track's largest.
///
/// dn  [0..79] backward-filtered target; made sign-free
/// cn  [0..79] residual of the long-term prediction
void preselect(AcelpWork& work, float* dn, const float* cn);

/// Change of the code's half energy by one more pulse on one track: correlation of the running
/// vector with the response of that pulse, plus the pulse's own half energy.
///
/// h, vec  [0..79]
/// track   0..4
/// sign    [0..79]
/// rrixix  [0..79] as in AcelpWork
/// cor     [0..15] output, one per position number
void cor_h_vec(const float* h, const float* vec, int track, const float* sign, const float* rrixix,
               float* cor);

/// Best pair of pulses on two tracks, by the largest ps^2 / alp. The first pulse takes one of the
/// preselected samples (work.dn2 < 0), the second any sample of its track.
///
/// work      only dn2 is read
/// track_x, track_y  0..4, track_y the one after track_x
/// ps        correlation of target and code, moves on by the pair's
/// alp       half energy of the filtered code, becomes that with the pair
/// ix, iy    samples of the pair; left as they were where no candidate is taken, so both must come
///           in as samples of their tracks
/// dn        [0..79]
/// cor_x, cor_y  [0..15] of `cor_h_vec`
/// rrixiy    [0..1279] as in AcelpWork
void search_ixiy(const AcelpWork& work, int track_x, int track_y, float* ps, float* alp,
                 std::int32_t* ix, std::int32_t* iy, const float* dn, const float* cor_x,
                 const float* cor_y, const float* rrixiy);

}  // namespace wideband
}  // namespace quel
