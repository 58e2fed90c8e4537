#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "tools/eval_png.h"

namespace quel::tools {

/// Levels of a spectrogram: column by column, each with its bins from 0 Hz to Nyquist.
struct Spectrogram {
  std::size_t columns = 0;
  std::size_t bins = 0;
  std::vector<float> level;  ///< columns * bins, dB; 0 is a full-scale sine's peak
};

/// Hann frames of the power of two at or above 25 ms; a column's power is the mean over the frames
/// that start within it, half a frame apart, so that no part of a long sound goes unseen.
///
/// columns  at most; short sounds get fewer, none where pcm is empty
Spectrogram spectrogram(std::span<const std::int16_t> pcm, int rate, std::size_t columns);

/// The loudest level; the lowest float where there is none.
float loudest(const Spectrogram& levels);

/// Light for silence, dark for sound; high frequencies at the top.
///
/// top  dB that is drawn darkest; 70 dB below it and less is drawn as silence
IndexedImage picture(const Spectrogram& levels, float top);

/// The outline of a signal as an SVG path's data: the highest samples of each column forwards, the
/// lowest backwards.
///
/// width   columns
/// height  of the drawing; full scale fills it
///
/// Empty where pcm is.
std::string outline(std::span<const std::int16_t> pcm, std::size_t width, double height);

}  // namespace quel::tools
