#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "conformance/random.h"

namespace quel::test {

using conformance::digest;
using conformance::Random;

/// n white Gaussian samples of the given deviation.
std::vector<float> noise(int n, std::uint64_t seed, double deviation = 1000.0);

/// n samples like voiced and unvoiced speech: pulse trains of gliding pitch and noise bursts
/// through three moving resonances, with pauses; peak 20000.
std::vector<float> speech_like(int n, std::uint64_t seed, double sampling_rate = 8000.0);

/// speech_like rounded to PCM.
std::vector<std::int16_t> speech_like_pcm(int n, std::uint64_t seed, double sampling_rate = 8000.0);

/// [0..m] coefficients of a stable, speech-like A(z) with a[0] = 1, from random reflection
/// coefficients within +-0.9.
std::vector<float> stable_filter(int m, std::uint64_t seed);

/// Sum over i of x[i] * y[i] in double.
double dot(const std::vector<float>& x, const std::vector<float>& y);

}  // namespace quel::test
