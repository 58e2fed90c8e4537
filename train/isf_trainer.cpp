#include "train/isf_trainer.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "dsp/a2isp.h"
#include "dsp/autocorr.h"
#include "dsp/hp_2nd.h"
#include "dsp/interpol_lpc.h"
#include "dsp/isp2a.h"
#include "dsp/lag_wind.h"
#include "dsp/lev_dur.h"
#include "narrowband/isf_tables.h"
#include "narrowband/reorder_isf.h"

namespace quel::train {
namespace {

constexpr int order = 10;
constexpr double speech_rms = 100.0;  // quieter frames are background noise

void isf_to_filter(const float* isf, float* a) {
  std::array<float, order> isp{};
  isf_to_isp(isf, isp.data());
  isp2a(isp.data(), a, order);
}

void reorder(float* isf) {
  reorder_isf(isf, isf_min_dist, order, last_isf_scale);
}

Codebook book(int first, int rows, std::vector<float> low, std::vector<float> high) {
  Codebook book;
  book.first = first;
  book.width = 2;
  book.rows = rows;
  book.table.resize(static_cast<std::size_t>(2 * rows));
  book.fixed.resize(static_cast<std::size_t>(rows));
  book.low = std::move(low);
  book.high = std::move(high);
  return book;
}

}  // namespace

SpectrumQuantizer isf_quantizer() {
  SpectrumQuantizer q;
  q.dims = order;
  q.mean.assign(mean_isf.begin(), mean_isf.end());
  q.predictors = {{1.0, static_cast<double>(isf_prediction)}};
  q.books = {book(0, taille_dic1, {-150.0f, -258.0f}, {371.0f, 721.0f}),
             book(2, taille_dic2, {-472.0f, -583.0f}, {750.0f, 680.0f}),
             book(4, taille_dic3, {-622.0f, -769.0f}, {661.0f, 609.0f}),
             book(6, taille_dic4, {-668.0f, -482.0f}, {500.0f, 355.0f}),
             book(8, taille_dic5, {-287.0f, -230.0f}, {237.0f, 207.0f})};
  fix_row(q.books[0], 0, {9.6611f, -7.4410f});
  fix_row(q.books[0], 1, {53.6831f, -35.7114f});
  fix_row(q.books[0], 2, {-21.8333f, -77.2909f});
  fix_row(q.books[0], 3, {17.5373f, -48.5198f});
  fix_row(q.books[0], 4, {-52.9196f, -100.0391f});
  fix_row(q.books[0], 5, {-97.9469f, -151.9538f});
  fix_row(q.books[4], 0, {-60.7406f, 10.1888f});
  fix_row(q.books[4], 1, {14.4275f, 82.7965f});
  fix_row(q.books[4], 2, {-27.7502f, -44.2782f});
  fix_row(q.books[4], 3, {-187.6679f, -1.5796f});
  q.form = {order, true, 4000.0f, last_isf_scale};
  q.reorder = reorder;
  q.to_filter = isf_to_filter;
  for (auto& b : q.books) b.refresh();
  return q;
}

void analyse_isf(const std::vector<std::int16_t>& pcm, int len_frame,
                 const std::function<void(const float* isf, const float* isp, double rms)>& use) {
  constexpr int past = 130;       // samples kept from the frame before
  constexpr int coded_from = 10;  // where the coded frame starts
  constexpr int span = 240;
  std::vector<float> speech(static_cast<std::size_t>(past + len_frame));
  std::array<float, 2> memx{};
  std::array<float, order> old_isp{};
  std::copy_n(isf_ini, order, old_isp.begin());
  const auto step = static_cast<std::size_t>(len_frame);
  for (std::size_t at = 0; at + step <= pcm.size(); at += step) {
    std::array<float, 2> memy{speech[past - 1], speech[past - 2]};
    std::copy_n(&pcm[at], step, &speech[past]);
    hp_2nd(&speech[past], len_frame, a_200, b_200, memx.data(), memy.data());
    std::array<float, order + 1> r{};
    std::array<float, order + 1> a{};
    std::array<float, order> isp{};
    std::array<float, order> isf{};
    autocorr(speech.data() + past + len_frame - span, r.data(), order, span, window.data());
    lag_wind(r.data(), order);
    lev_dur(a.data(), r.data(), order);
    a2isp(a.data(), isp.data(), old_isp.data(), order);
    old_isp = isp;
    for (std::size_t i = 0; i + 1 < isf.size(); ++i) {
      const double cosine = std::clamp<double>(isp[i], -1.0, 1.0);
      isf[i] = static_cast<float>(std::acos(cosine) * 1273.2395445689122);
    }
    isf[order - 1] = last_isf_scale * isp[order - 1];
    double energy = 0.0;
    for (int n = 0; n < len_frame; ++n) {
      const double s = speech[static_cast<std::size_t>(coded_from + n)];
      energy += s * s;
    }
    use(isf.data(), isp.data(), std::sqrt(energy / len_frame));
    std::copy_n(speech.end() - past, past, speech.begin());
  }
}

TrainingSet isf_training_set(const SpectrumQuantizer& q, const std::vector<Recording>& recordings) {
  TrainingSet set;
  set.dims = q.dims;
  for (const auto& recording : recordings) {
    for (const int len_frame : {144, 240}) {
      bool first = true;
      analyse_isf(recording.pcm, len_frame,
                  [&](const float* isf, const float* /*isp*/, double rms) {
                    add_frame(set, q, isf, !(rms > speech_rms), first);
                    first = false;
                  });
    }
  }
  return set;
}

DistortionCount isf_distortion(const SpectrumQuantizer& q,
                               const std::vector<Recording>& recordings) {
  DistortionCount count;
  for (const auto& recording : recordings) {
    Past past{};
    analyse_isf(recording.pcm, 144, [&](const float* isf, const float* isp, double rms) {
      Choice choice;
      quantize(q, isf, past, choice);
      if (!(rms > speech_rms)) return;
      std::array<float, order + 1> before{};
      std::array<float, order + 1> after{};
      isp2a(isp, before.data(), order);
      q.to_filter(choice.quantized.data(), after.data());
      count.add(spectral_distortion(before.data(), after.data(), order));
    });
  }
  return count;
}

}  // namespace quel::train
