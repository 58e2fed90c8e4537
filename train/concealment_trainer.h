#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "dsp/level.h"
#include "train/corpus.h"

namespace quel::train {

/// What immediate concealment may know of a subframe, and what it ought to play.
struct TrackSubframe {
  double pitch_gain = 0.0;
  double code_level = 0.0;  ///< dB per sample
  double correction = 0.0;  ///< of the code gain, dB
  double heard = 0.0;       ///< level of the decoded sound, dB per sample
};

/// A frame of coded speech as a decoder that lost nothing has it.
struct TrackFrame {
  std::vector<double> deviation;  ///< decoded frequencies less their mean, Hz
  std::vector<double> residual;   ///< codebook rows, Hz
  std::vector<TrackSubframe> subframes;
  std::array<double, fall_features> fall{};  ///< features of a loss right behind this frame
};

/// Frames of one recording, in their order.
using Track = std::vector<TrackFrame>;

/// Codes and decodes recordings of the flavor's sampling rate.
std::vector<Track> tracks_of(int flavor, const std::vector<Recording>& recordings);

/// Weights as rows of a table.
using Rows = std::vector<std::vector<double>>;

/// Least squares of targets y on features x, with so small a ridge that features which depend on
/// each other do no harm.
///
/// x  a row of features per sample, all as long
/// y  [0..x.size()-1]
std::vector<double> least_squares(const Rows& x, const std::vector<double>& y);

/// The linear function that a share of `tau` of the targets lies below, by least squares that are
/// weighted anew until they count absolute errors, those on either side with its weight.
std::vector<double> quantile_regression(const Rows& x, const std::vector<double>& y, double tau);

/// Code-gain corrections before a frame behind a loss of `lost` frames, newest first: one row of
/// weights for each of `count`. Features as estimate_energies has them.
Rows fit_energies(const std::vector<Track>& tracks, std::size_t lost, std::size_t count,
                  std::size_t clues);

/// Residual of the last lost frame, from deviation and residual before the loss and the residual
/// behind it.
std::vector<double> fit_residual(const std::vector<Track>& tracks, std::size_t lost);
/// Deviation of the last lost frame, from the same.
std::vector<double> fit_deviation(const std::vector<Track>& tracks, std::size_t lost);

/// Fall of the sound, dB, that only three in a hundred losses exceed, for each of `count` subframes
/// from the start of a loss.
Rows fit_fall(const std::vector<Track>& tracks, std::size_t count);

}  // namespace quel::train
