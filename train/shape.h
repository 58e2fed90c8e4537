#pragma once

#include <array>

namespace quel::train {

/// How spectral frequencies make an LP filter: as line or as immittance spectral frequencies.
struct SpectrumForm {
  int dims = 0;             ///< frequencies, the order of the filter, even and <= 16
  bool immittance = false;  ///< the last entry is no frequency but a coefficient
  float half_rate = 0.0f;   ///< half the sampling rate, Hz
  float last_scale = 1.0f;  ///< immittance: the last entry is the coefficient times this
};

/// Frequencies at which spectra are compared: the middles of equal bands.
inline constexpr std::size_t shape_points = 160;
using ShapePoints = std::array<float, shape_points>;

/// |A|^2 of the filter that the frequencies make, straight from them: as products over the roots of
/// the symmetric and of the antisymmetric half, whose squares add up.
///
/// f  [0..dims-1] frequencies
void power_of_shape(const SpectrumForm& form, const float* f, ShapePoints& power);

/// How the squared spectral distortion answers to errors of the frequencies, at one place.
struct Expansion {
  float distortion = 0.0f;              ///< squared spectral distortion, dB^2
  std::array<float, 16> slope{};        ///< its derivative by each error, dB^2 per Hz
  std::array<float, 16> sensitivity{};  ///< mean squared slope of the spectrum, dB^2 per Hz^2
};

/// Distortion between two spectra and its answer to the error e = wanted - f.
///
/// wanted  |A|^2 of what is represented
/// f       [0..dims-1] the frequencies that represent it
Expansion expand_distortion(const SpectrumForm& form, const ShapePoints& wanted, const float* f);

}  // namespace quel::train
