#include "tools/eval_report.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <quelcodec/quelcodec.hpp>
#include <utility>

#include "tools/audio_file.h"
#include "tools/eval_compare.h"
#include "tools/eval_text.h"
#include "tools/file_error.h"
#include "tools/flavor_name.h"

namespace quel::tools {
namespace {

using Pcm = std::vector<std::int16_t>;

constexpr std::size_t block_samples = 8192;

/// What one pass over the source told.
struct SourceFacts {
  std::uint64_t samples = 0;
  double loudest = 0.0;
};

Pcm::iterator::difference_type limited(std::size_t count, const Pcm& kept, int rate,
                                       double seconds) {
  const auto most = static_cast<std::size_t>(seconds * rate);
  return static_cast<std::ptrdiff_t>(std::min(count, most - std::min(most, kept.size())));
}

SourceFacts look_at(const EvalSettings& settings, int flavor, EvalReport& report) {
  const int rate = check(quel_sampling_rate(flavor));
  AudioReader reader(settings.input, rate);
  ReferenceFilter filter(flavor);
  LoudestFrame loudest(rate);
  SourceFacts facts;
  Pcm& excerpt = report.sources[rate];
  Pcm block(block_samples);
  while (const std::size_t got = reader.read(block)) {
    const auto pcm = std::span<const std::int16_t>(block).first(got);
    excerpt.insert(excerpt.end(), pcm.begin(),
                   pcm.begin() + limited(got, excerpt, rate, settings.excerpt_seconds));
    loudest.add(filter.next(pcm));
    facts.samples += got;
  }
  facts.loudest = loudest.finish();
  report.cut_short = reader.cut_short();
  if (facts.samples == 0) throw FileError(settings.input, "holds no sound");
  report.seconds = static_cast<double>(facts.samples) / rate;
  return facts;
}

std::vector<LostSpan> lost_spans(int flavor, const std::vector<bool>& lost, double seconds) {
  const quel_flavor* info = quel_flavor_info(flavor);
  if (info == nullptr) throw Error(QUEL_ERROR_FLAVOR);
  const double rate = info->sampling_rate;
  // A decoder one frame behind has that frame in its delay; the rest is how far the coder looks
  // ahead.
  const int behind = flavor == QUEL_FLAVOR_5K ? info->samples_per_frame : 0;
  const int ahead = info->delay - behind;
  std::vector<LostSpan> spans;
  for (std::size_t frame = 0; frame < lost.size(); ++frame) {
    if (!lost[frame]) continue;
    const double first = static_cast<double>(frame) * info->samples_per_frame - ahead;
    const double start = std::max(0.0, first / rate);
    const double end = std::min(seconds, (first + info->samples_per_frame) / rate);
    if (start >= end) continue;
    if (!spans.empty() && spans.back().end == start) {
      spans.back().end = end;
    } else {
      spans.push_back({start, end});
    }
  }
  return spans;
}

EvalResult result_of(const EvalSettings& settings, int flavor, int effort, double loss, bool dtx,
                     const SourceFacts& facts) {
  const int rate = check(quel_sampling_rate(flavor));
  EvalResult result;
  result.flavor = flavor;
  result.effort = effort;
  result.loss_percent = loss;
  result.dtx = dtx;
  // Two readers: what is heard may come long after what was coded.
  AudioReader coded(settings.input, rate), compared(settings.input, rate);
  ReferenceFilter filter(flavor);
  Comparison comparison(rate, facts.loudest);
  Pcm source;
  const auto hear = [&](std::span<const std::int16_t> heard) {
    result.heard.insert(
        result.heard.end(), heard.begin(),
        heard.begin() + limited(heard.size(), result.heard, rate, settings.excerpt_seconds));
    source.assign(heard.size(), 0);
    compared.read(source);
    comparison.add(filter.next(source), heard);
  };
  result.trial = run_codec(
      flavor, effort, facts.samples,
      {settings.concealment, loss, settings.seed, /*enhance=*/false, dtx},
      [&coded](std::span<std::int16_t> pcm) { return coded.read(pcm); }, hear);
  comparison.finish();
  result.trial.figures = comparison.snr();
  result.totals = comparison.totals();
  result.distortion = comparison.distortion();
  result.intelligible = comparison.intelligible();
  result.lost =
      lost_spans(flavor, result.trial.lost_frames, static_cast<double>(result.heard.size()) / rate);
  return result;
}

std::optional<double> if_finite(double value) {
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<double> speed(double sound, double processor) {
  return processor > 0.0 ? if_finite(sound / processor) : std::nullopt;
}

std::string cell(const std::optional<double>& value, int decimals, std::size_t width) {
  std::string text = value ? fixed(*value, decimals) : "-";
  text.insert(0, text.size() < width ? width - text.size() : 0, ' ');
  return text;
}

std::string unsent_cell(const EvalResult& result) {
  if (!result.dtx) return cell(std::nullopt, 0, 9);
  const double share = 100.0 * result.trial.unsent / std::max(result.trial.frames, 1u);
  return cell(share, 1, 7) + " %";
}

std::string json_number(const std::optional<double>& value) {
  return value ? shortest(*value) : "null";
}

using JsonFields = std::vector<std::pair<const char*, std::string>>;

std::string json_object(const JsonFields& fields, const std::string& indent) {
  std::string out = "{";
  for (const auto& [name, value] : fields) {
    out += (out.size() > 1 ? ",\n" : "\n") + indent + "  " + json_string(name) + ": " + value;
  }
  return out + "\n" + indent + "}";
}

JsonFields json_fields(const EvalResult& result) {
  const EvalFigures values = figures(result);
  return {{"flavor", std::to_string(result.flavor)},
          {"name", json_string(quel_flavor_info(result.flavor)->name)},
          {"effort", std::to_string(result.effort)},
          {"sampling_rate", std::to_string(check(quel_sampling_rate(result.flavor)))},
          {"loss_percent", shortest(result.loss_percent)},
          {"frames", std::to_string(result.trial.frames)},
          {"lost", std::to_string(result.trial.lost)},
          {"dtx", result.dtx ? "true" : "false"},
          {"not_sent", std::to_string(result.trial.unsent)},
          {"bytes", std::to_string(result.trial.bytes)},
          {"bit_rate", shortest(values.bit_rate)},
          {"snr_db", json_number(values.snr)},
          {"segmental_snr_db", json_number(values.segmental)},
          {"codec_snr_db", json_number(values.codec_snr)},
          {"codec_segmental_snr_db", json_number(values.codec_segmental)},
          {"log_spectral_distortion_db", json_number(values.distortion)},
          {"stoi", json_number(values.stoi)},
          {"estoi", json_number(values.estoi)},
          {"encode_speed", json_number(values.encode_speed)},
          {"decode_speed", json_number(values.decode_speed)}};
}

}  // namespace

EvalReport evaluate(const EvalSettings& settings,
                    const std::function<void(double seconds, double share)>& told) {
  EvalReport report;
  report.settings = settings;
  std::map<int, SourceFacts> sources;  // by sampling rate, on which alone the references depend
  for (const int flavor : settings.flavors) {
    const int rate = check(quel_sampling_rate(flavor));
    if (!sources.contains(rate)) sources[rate] = look_at(settings, flavor, report);
  }
  const std::vector<bool> ways = settings.dtx ? std::vector<bool>{false, true} : std::vector{false};
  const auto runs = static_cast<double>(settings.flavors.size() * settings.efforts.size() *
                                        settings.losses.size() * ways.size());
  for (const int flavor : settings.flavors) {
    const SourceFacts& source = sources.at(check(quel_sampling_rate(flavor)));
    for (const int effort : settings.efforts) {
      for (const double loss : settings.losses) {
        for (const bool dtx : ways) {
          report.results.push_back(result_of(settings, flavor, effort, loss, dtx, source));
          const auto done = static_cast<double>(report.results.size());
          if (told) told(done * report.seconds, done / runs);
        }
      }
    }
  }
  return report;
}

EvalFigures figures(const EvalResult& result) {
  const Trial& trial = result.trial;
  EvalFigures out;
  if (trial.coded_seconds > 0.0) {
    out.bit_rate = 8.0 * static_cast<double>(trial.bytes) / trial.coded_seconds;
  }
  if (trial.figures) {
    out.snr = if_finite(trial.figures->snr);
    out.segmental = if_finite(trial.figures->segmental);
  }
  if (result.totals.cntsnr > 0.0f) {
    out.codec_snr = if_finite(static_cast<double>(result.totals.snr));
    out.codec_segmental = if_finite(static_cast<double>(result.totals.segsnr));
  }
  out.distortion = result.distortion;
  if (result.intelligible) {
    out.stoi = result.intelligible->stoi;
    out.estoi = result.intelligible->estoi;
  }
  out.encode_speed = speed(trial.coded_seconds, trial.encode_seconds);
  out.decode_speed = speed(trial.coded_seconds, trial.decode_seconds);
  return out;
}

std::string text_table(const EvalReport& report) {
  const bool dtx = report.settings.dtx;
  std::string out = std::string("flavor effort   loss      lost/frames") +
                    (dtx ? " not sent" : "") +
                    "   bit/s  SNR dB seg. dB   codec c.seg.  LSD dB"
                    "   STOI  ESTOI enc. x dec. x\n";
  for (const EvalResult& result : report.results) {
    const EvalFigures values = figures(result);
    const std::string frames =
        std::to_string(result.trial.lost) + "/" + std::to_string(result.trial.frames);
    const std::string name = flavor_name(result.flavor);
    const std::string loss = shortest(result.loss_percent) + " %";
    out += std::string(6 - name.size(), ' ') + name;
    out += cell(result.effort, 0, 7);
    out += std::string(loss.size() < 7 ? 7 - loss.size() : 1, ' ') + loss;
    out += std::string(frames.size() < 17 ? 17 - frames.size() : 1, ' ') + frames;
    if (dtx) out += unsent_cell(result);
    out += cell(values.bit_rate, 0, 8) + cell(values.snr, 2, 8) + cell(values.segmental, 2, 8);
    out += cell(values.codec_snr, 2, 8) + cell(values.codec_segmental, 2, 7);
    out += cell(values.distortion, 2, 8) + cell(values.stoi, 3, 7) + cell(values.estoi, 3, 7);
    out += cell(values.encode_speed, 0, 7) + cell(values.decode_speed, 0, 7) + "\n";
  }
  return out;
}

std::string json_report(const EvalReport& report) {
  std::string results = "[";
  for (const EvalResult& result : report.results) {
    results +=
        (results.size() > 1 ? ",\n    " : "\n    ") + json_object(json_fields(result), "    ");
  }
  results += "\n  ]";
  const EvalSettings& settings = report.settings;
  const bool immediate = settings.concealment == Concealment::immediate;
  return json_object({{"input", json_string(settings.input)},
                      {"seconds", shortest(report.seconds)},
                      {"seed", std::to_string(settings.seed)},
                      {"concealment", json_string(immediate ? "immediate" : "deferred")},
                      {"results", results}},
                     "") +
         "\n";
}

}  // namespace quel::tools
