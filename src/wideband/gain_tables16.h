#pragma once

#include <array>

namespace quel::wideband {

/// Pitch gains of the 4-bit field.
inline constexpr std::array<float, 16> qua_gain_pitch = {0.0f,  0.2f, 0.4f,  0.5f, 0.6f,  0.7f,
                                                         0.75f, 0.8f, 0.85f, 0.9f, 0.95f, 1.0f,
                                                         1.05f, 1.1f, 1.15f, 1.2f};

/// Corrections, of the 5-bit field, of the predicted code gain.
inline constexpr std::array<float, 32> qua_gain_code = {
    0.074990f, 0.10593f, 0.14125f, 0.18836f, 0.23714f, 0.28184f, 0.32734f, 0.37584f,
    0.42170f,  0.47315f, 0.53088f, 0.59566f, 0.66834f, 0.74989f, 0.84140f, 0.94406f,
    1.05925f,  1.18850f, 1.33352f, 1.49624f, 1.67880f, 1.88365f, 2.11349f, 2.37137f,
    2.66073f,  3.05492f, 3.54813f, 4.21697f, 5.30884f, 7.07946f, 9.44061f, 13.33521f};

/// Moving-average prediction of the code gain in dB, newest past value first.
inline constexpr std::array<float, 2> pred = {0.8f, 0.6f};

/// Code-vector energy per sample in dB, 10 log10((0.01 + sum of code[n]^2) / L).
float code_energy(const float* code, int L);

/// Code gain that the last two corrections predict for a vector of this energy.
///
/// past_qua_en  [0..1] last two corrections, dB, newest first
float predicted_code_gain(const std::array<float, 2>& past_qua_en, float energy);

/// Correction in dB of an index, 20 log10(qua_gain_code[index]).
float code_gain_db(int index);

/// Level of the code's part of the excitation, dB, of a subframe with this correction.
float code_level(const std::array<float, 2>& past_qua_en, float correction);

}  // namespace quel::wideband
