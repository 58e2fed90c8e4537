#include "loss_figures.h"

#include <algorithm>
#include <cmath>

namespace quel::bench {
namespace {

using Pcm = std::span<const std::int16_t>;

constexpr double full_scale = 32768.0 * 32768.0;

double mean_square(Pcm x) {
  double sum = 0.0;
  for (const std::int16_t v : x) sum += static_cast<double>(v) * v;
  return sum / (full_scale * static_cast<double>(x.size()));
}

double mean_square_difference(Pcm x, Pcm y) {
  double sum = 0.0;
  for (std::size_t n = 0; n < x.size(); ++n) {
    const double difference = static_cast<double>(x[n]) - y[n];
    sum += difference * difference;
  }
  return sum / (full_scale * static_cast<double>(x.size()));
}

double dbov(double power) {
  return 10.0 * std::log10(power + 1e-12);
}

void count_block(double clean, double heard, LossFigures& figures) {
  if (dbov(clean) <= -50.0) return;
  const double above = dbov(heard) - dbov(clean);
  ++figures.blocks;
  figures.highest = std::max(figures.highest, above);
  if (above < -12.0) ++figures.below_12;
  if (above <= 6.0) return;
  ++figures.above_6;
  if (above > 12.0) ++figures.above_12;
  if (dbov(heard) > -30.0) ++figures.loud;
}

// s from the sample `from` to where the two have met for the rest of the span.
double recovery(Pcm clean, Pcm heard, std::size_t from, std::size_t to, std::size_t block,
                int rate) {
  std::size_t met = from;
  for (std::size_t at = from; at + block <= to; at += block) {
    const Pcm reference = clean.subspan(at, block);
    const double allowed = std::max(0.01 * mean_square(reference), 1e-6);
    if (mean_square_difference(reference, heard.subspan(at, block)) > allowed) met = at + block;
  }
  return static_cast<double>(met - from) / rate;
}

}  // namespace

LossFigures loss_figures(Pcm clean, Pcm heard, const std::vector<bool>& lost, std::size_t frame,
                         int rate) {
  LossFigures figures;
  const std::size_t block = static_cast<std::size_t>(rate) / 100;
  for (std::size_t at = 0; at + block <= clean.size(); at += block) {
    count_block(mean_square(clean.subspan(at, block)), mean_square(heard.subspan(at, block)),
                figures);
  }
  for (std::size_t k = 1; k < lost.size(); ++k) {
    if (!lost[k - 1] || lost[k]) continue;
    std::size_t next = k;
    while (next < lost.size() && !lost[next]) ++next;
    figures.recovery.push_back(
        recovery(clean, heard, k * frame, std::min(next * frame, clean.size()), block, rate));
  }
  return figures;
}

}  // namespace quel::bench
