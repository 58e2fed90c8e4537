#include "train/lsf_trainer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "dsp/lev_dur.h"
#include "dsp/residu.h"
#include "dsp/weight_a.h"
#include "wideband/a2lsf.h"
#include "wideband/autocorr16.h"
#include "wideband/lsf2a.h"
#include "wideband/lsf_tables.h"
#include "wideband/q_lsp.h"
#include "wideband/start_values.h"
#include "wideband/window16.h"

namespace quel::train {
namespace {

constexpr int order = 16;
constexpr int span = 480;
constexpr int frame = 160;
constexpr int coded_start = 240;

constexpr double speech_rms = 100.0;  // quieter frames are background noise

// The highest frequency that a received frame may decode to. A decoded frequency is a weighted mean
// of two rows plus the mean frequency, so it is at most the mean plus the column's highest value,
// or what the spacing from below pushes it to.
constexpr float highest_lsf = 7940.0f;

struct Range {
  float low;
  float high;
};
Range column_range(int i) {
  const float room = lsf_min_dist * static_cast<float>(order - 1 - i);
  return {-1e4f, highest_lsf - room - mean_lsf[i]};
}

void lsf_to_filter(const float* lsf, float* a) {
  std::array<float, order> lsp{};
  for (std::size_t i = 0; i < lsp.size(); ++i) {
    lsp[i] = static_cast<float>(std::cos(lsf[i] * hz_to_lsp));
  }
  lsf2a(lsp.data(), a, order);
}

void reorder(float* lsf) {
  reorder_lsf(lsf, lsf_min_dist, order);
}

Codebook book(int first, int width, int rows) {
  Codebook book;
  book.first = first;
  book.width = width;
  book.rows = rows;
  book.grain = 1e-3;
  book.table.resize(static_cast<std::size_t>(width * rows));
  book.fixed.resize(static_cast<std::size_t>(rows));
  for (int i = first; i < first + width; ++i) {
    book.low.push_back(column_range(i).low);
    book.high.push_back(column_range(i).high);
  }
  return book;
}

// Encoder memories that the analysis needs.
struct Analysis {
  std::array<float, order + span> speech{};  // filter history, then the analysis span
  std::array<float, order + 1> last_filter = wideband::flat_filter;
  std::array<float, order> old_lsp = wideband::neutral_lsp();
};

void code_frame(Analysis& state, const SpectrumQuantizer& q, Past& past, float* lsf,
                Choice& choice) {
  std::array<float, order + 1> pre{};
  std::array<float, span> y{};
  weight_a(state.last_filter.data(), pre.data(), 0.5f, order);
  residu16(pre.data(), order, state.speech.data() + order, y.data(), span);
  std::array<float, order + 1> r{};
  std::array<float, order + 1> a{};
  std::array<float, order> lsp{};
  autocorr16(y.data(), r.data(), order, span, window16.data());
  lag_wind16(lag_window16.data(), r.data(), order);
  lev_dur(a.data(), r.data(), order);
  a2lsf(a.data(), lsp.data(), state.old_lsp.data(), order);
  for (std::size_t i = 0; i < lsp.size(); ++i) {
    const double x = std::clamp(static_cast<double>(lsp[i]), -1.0, 1.0);
    lsf[i] = static_cast<float>(std::acos(x) * lsp_to_hz);
  }
  quantize(q, lsf, past, choice);
  for (std::size_t i = 0; i < lsp.size(); ++i) {
    state.old_lsp[i] = static_cast<float>(std::cos(choice.quantized[i] * hz_to_lsp));
  }
  lsf2a(state.old_lsp.data(), state.last_filter.data(), order);
}

}  // namespace

SpectrumQuantizer lsf_quantizer() {
  SpectrumQuantizer q;
  q.dims = order;
  q.mean.assign(std::begin(mean_lsf), std::end(mean_lsf));
  for (const double rho : qu) {
    q.predictors.push_back({1.0 - rho, rho});
  }
  q.books = {book(0, 3, 128), book(3, 3, 256), book(6, 3, 128), book(9, 3, 128), book(12, 4, 128)};
  fix_row(q.books[0], 0, {-229.158f, -439.228f, -517.932f});
  fix_row(q.books[0], 1, {-241.178f, -455.023f, -342.457f});
  fix_row(q.books[1], 0, {-542.427f, -747.099f, -841.858f});
  fix_row(q.books[2], 0, {-568.914f, -601.734f, -478.909f});
  fix_row(q.books[3], 0, {-492.41f, -775.767f, -646.237f});
  fix_row(q.books[4], 0, {-512.547f, -709.651f, -441.208f, -505.679f});
  fix_row(q.books[4], 127, {316.796f, 25.319f, -378.093f, -522.497f});
  q.form = {order, false, 8000.0f, 1.0f};
  q.reorder = reorder;
  q.to_filter = lsf_to_filter;
  for (auto& b : q.books) b.refresh();
  return q;
}

void analyse_lsf(const SpectrumQuantizer& q, const std::vector<std::int16_t>& pcm,
                 const std::function<void(const LsfFrame& frame)>& use) {
  Analysis state;
  Past past{};
  for (std::size_t at = 0; at + frame <= pcm.size(); at += frame) {
    std::copy(state.speech.begin() + frame, state.speech.end(), state.speech.begin());
    std::copy_n(&pcm[at], frame, state.speech.end() - frame);
    std::array<float, order> lsf{};
    Choice choice;
    code_frame(state, q, past, lsf.data(), choice);
    double energy = 0.0;
    for (std::size_t n = 0; n < frame; ++n) {
      const double s = state.speech[order + coded_start + n];
      energy += s * s;
    }
    use({lsf.data(), &choice, std::sqrt(energy / frame)});
  }
}

TrainingSet lsf_training_set(const SpectrumQuantizer& q, const std::vector<Recording>& recordings) {
  TrainingSet set;
  set.dims = q.dims;
  for (const auto& recording : recordings) {
    bool first = true;
    analyse_lsf(q, recording.pcm, [&](const LsfFrame& frame) {
      add_frame(set, q, frame.lsf, !(frame.rms > speech_rms), first);
      first = false;
    });
  }
  return set;
}

DistortionCount lsf_distortion(const SpectrumQuantizer& q,
                               const std::vector<Recording>& recordings) {
  DistortionCount count;
  for (const auto& recording : recordings) {
    analyse_lsf(q, recording.pcm, [&](const LsfFrame& frame) {
      if (!(frame.rms > speech_rms)) return;
      std::array<float, order + 1> before{};
      std::array<float, order + 1> after{};
      q.to_filter(frame.lsf, before.data());
      q.to_filter(frame.choice->quantized.data(), after.data());
      count.add(spectral_distortion(before.data(), after.data(), order));
    });
  }
  return count;
}

}  // namespace quel::train
