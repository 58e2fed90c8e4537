#include "train/concealment_trainer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "bitstream/mode.h"
#include "narrowband/cod_swt.h"
#include "narrowband/dec_5swt.h"
#include "narrowband/dec_swt.h"
#include "wideband/cod_wb.h"
#include "wideband/dec_wb.h"
#include "wideband/gain_tables16.h"
#include "wideband/lsf_tables.h"

namespace quel::train {
namespace {

constexpr double silence = 40.3;       // dB per sample, -50 dBov
constexpr double quiet = silence + 5;  // below, nobody cares how a sound goes on
constexpr double seldom = 0.03;

double level(const std::int16_t* pcm, int n) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += static_cast<double>(pcm[i]) * pcm[i];
  return 10.0 * std::log10(sum / n + 1.0);
}

// A frame that was decoded just now, its newest subframe last.
template <typename Gains>
TrackFrame frame_of(const ExcitationPast& past, const float* exc, int L, std::size_t subframes,
                    const std::int16_t* pcm, Gains correction) {
  TrackFrame frame;
  for (std::size_t s = 0; s < subframes; ++s) {
    const std::size_t k = subframes - 1 - s;
    frame.subframes.push_back({past.pitch_gain[k], past.code_energy[k], correction(s),
                               level(pcm + static_cast<int>(s) * L, L)});
  }
  frame.fall = features_of_fall(past, exc, L);
  return frame;
}

void set_spectrum(TrackFrame& frame, const float* frequencies, const float* mean,
                  const float* residual, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    frame.deviation.push_back(static_cast<double>(frequencies[i]) - mean[i]);
    frame.residual.push_back(residual[i]);
  }
}

Track swt_track(int flavor, const Recording& recording) {
  Mode mode;
  set_mode(mode, flavor);
  NarrowbandEncoder encoder;
  init_cod_swt(encoder);
  NarrowbandDecoderShared shared;
  SwtDecoder decoder;
  init_dec_swt(decoder, shared);
  NarrowbandConcealment watcher;
  Track track;
  for (std::size_t at = 0; at + 144 <= recording.pcm.size(); at += 144) {
    std::array<std::int32_t, 21> prm{flavor};
    std::array<std::int16_t, 144> pcm{};
    cod_swt(encoder, mode, &recording.pcm[at], prm.data());
    dec_swt(decoder, shared, mode, prm.data(), pcm.data(), 0, &watcher);
    track.push_back(frame_of(watcher.past, decoder.synthesis.exc(), 48, 3, pcm.data(),
                             [&](std::size_t s) { return gain_row(prm[10 + 5 * s]).correction; }));
    set_spectrum(track.back(), shared.isf.past_isf.data(), mean_isf.data(),
                 shared.isf.past_r.data(), 10);
  }
  return track;
}

// The decoder is a frame behind.
Track five_k_track(const Recording& recording) {
  Mode mode;
  set_mode(mode, 2);
  NarrowbandEncoder encoder;
  init_cod_swt(encoder);
  NarrowbandDecoderShared shared;
  FiveKDecoder decoder;
  init_shared(shared);
  init_decoder_5k(decoder, shared);
  NarrowbandConcealment watcher;
  std::array<std::int32_t, 21> before{};
  Track track;
  for (std::size_t at = 0; at + 240 <= recording.pcm.size(); at += 240) {
    std::array<std::int32_t, 21> prm{2};
    std::array<std::int16_t, 240> pcm{};
    cod_swt(encoder, mode, &recording.pcm[at], prm.data());
    decoder_5k(decoder, shared, mode, prm.data() + 1, pcm.data(), 0, &watcher);
    if (at > 0) {
      track.push_back(
          frame_of(watcher.past, decoder.synthesis.exc(), 48, 5, pcm.data(),
                   [&](std::size_t s) { return gain_row(before[8 + 3 * s]).correction; }));
      set_spectrum(track.back(), shared.isf.past_isf.data(), mean_isf.data(),
                   shared.isf.past_r.data(), 10);
    }
    before = prm;
  }
  return track;
}

Track wideband_track(const Recording& recording) {
  WidebandEncoder encoder;
  init_coder_wb16(encoder);
  WidebandDecoder decoder;
  WidebandConcealment watcher;
  Track track;
  for (std::size_t at = 0; at + 160 <= recording.pcm.size(); at += 160) {
    std::array<std::int32_t, 23> prm{};
    std::array<std::int16_t, 160> pcm{};
    std::copy_n(&recording.pcm[at], 160, new_speech2(encoder));
    coder_wb16(encoder, prm.data() + 1);
    decod_wb(decoder, prm.data(), pcm.data(), 0, 0, &watcher);
    track.push_back(
        frame_of(watcher.past, decoder.exc.data() + WidebandDecoder::past, 80, 2, pcm.data(),
                 [&](std::size_t s) { return wideband::code_gain_db(prm[14 + 8 * s]); }));
    set_spectrum(track.back(), decoder.lsf.past_lsf_q.data(), mean_lsf,
                 decoder.lsf.past_q_target.data(), 16);
  }
  return track;
}

// The k-th subframe, counted back from the end of a frame, k from 0.
const TrackSubframe& back(const Track& track, std::size_t frame, std::size_t k) {
  const std::size_t n = track[frame].subframes.size();
  return track[frame - k / n].subframes[n - 1 - k % n];
}

// The k-th subframe, counted from the start of a frame.
const TrackSubframe& ahead(const Track& track, std::size_t frame, std::size_t k) {
  const std::size_t n = track[frame].subframes.size();
  return track[frame + k / n].subframes[k % n];
}

constexpr std::size_t warm_up = 4;  // frames

// Calls use(track, last, next) for each place where frames could be lost between two.
template <typename Use>
void each_loss(const std::vector<Track>& tracks, std::size_t lost, std::size_t behind, Use use) {
  for (const Track& track : tracks) {
    for (std::size_t last = warm_up; last + lost + behind < track.size(); ++last) {
      use(track, last, last + lost + 1);
    }
  }
}

template <typename Target>
std::vector<double> fit_spectrum(const std::vector<Track>& tracks, std::size_t lost,
                                 Target target) {
  Rows x;
  std::vector<double> y;
  each_loss(tracks, lost, 1, [&](const Track& track, std::size_t last, std::size_t next) {
    for (std::size_t i = 0; i < track[last].deviation.size(); ++i) {
      x.push_back({track[last].deviation[i], track[last].residual[i], track[next].residual[i]});
      y.push_back(target(track[next - 1])[i]);
    }
  });
  return least_squares(x, y);
}

}  // namespace

std::vector<Track> tracks_of(int flavor, const std::vector<Recording>& recordings) {
  std::vector<Track> tracks;
  for (const Recording& recording : recordings) {
    tracks.push_back(flavor == 3   ? wideband_track(recording)
                     : flavor == 2 ? five_k_track(recording)
                                   : swt_track(flavor, recording));
  }
  return tracks;
}

Rows fit_energies(const std::vector<Track>& tracks, std::size_t lost, std::size_t count,
                  std::size_t clues) {
  Rows x, y(count);
  each_loss(tracks, lost, 1, [&](const Track& track, std::size_t last, std::size_t next) {
    std::vector<double> row = {1.0};
    for (std::size_t k = 0; k < 3; ++k) row.push_back(back(track, last, k).code_level);
    for (std::size_t k = 0; k < 3; ++k) row.push_back(back(track, last, k).correction);
    for (std::size_t k = 0; k < clues; ++k) row.push_back(ahead(track, next, k).correction);
    row.push_back(back(track, last, 0).pitch_gain);
    row.push_back(ahead(track, next, 0).pitch_gain);
    x.push_back(row);
    for (std::size_t j = 0; j < count; ++j) y[j].push_back(back(track, next - 1, j).correction);
  });
  Rows weights;
  for (const std::vector<double>& target : y) weights.push_back(least_squares(x, target));
  return weights;
}

std::vector<double> fit_residual(const std::vector<Track>& tracks, std::size_t lost) {
  return fit_spectrum(tracks, lost, [](const TrackFrame& frame) { return frame.residual; });
}

std::vector<double> fit_deviation(const std::vector<Track>& tracks, std::size_t lost) {
  return fit_spectrum(tracks, lost, [](const TrackFrame& frame) { return frame.deviation; });
}

Rows fit_fall(const std::vector<Track>& tracks, std::size_t count) {
  Rows x, y(count);
  each_loss(tracks, 0, count, [&](const Track& track, std::size_t last, std::size_t next) {
    const double from = back(track, last, 0).heard;
    if (from <= quiet) return;
    x.emplace_back(track[last].fall.begin(), track[last].fall.end());
    for (std::size_t k = 0; k < count; ++k) {
      y[k].push_back(std::max(ahead(track, next, k).heard, silence) - from);
    }
  });
  Rows weights;
  for (const std::vector<double>& target : y) {
    weights.push_back(quantile_regression(x, target, seldom));
  }
  return weights;
}

}  // namespace quel::train
