#include "tools/eval_html.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>

#include "tools/eval_picture.h"
#include "tools/eval_text.h"
#include "tools/flavor_name.h"
#include "tools/page/page_parts.h"
#include "tools/sha256.h"

namespace quel::tools {
namespace {

// Of a figure, in SVG units.
constexpr std::size_t plot_width = 900;
constexpr int left = 52;
constexpr int wave_top = 4;
constexpr int wave_height = 90;
constexpr int mark_top = 97;  // of the marks of lost frames
constexpr int mark_height = 8;
constexpr int spectrum_top = 108;
constexpr int spectrum_height = 260;
constexpr int figure_width = left + static_cast<int>(plot_width) + 8;
constexpr int figure_height = spectrum_top + spectrum_height + 24;

/// The policy makes the browser itself refuse whatever is not inside the page, and any script but
/// the page's own.
std::string head_start() {
  Sha256 digest;
  digest.add({reinterpret_cast<const std::uint8_t*>(page_script.data()), page_script.size()});
  return R"html(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; img-src data:; media-src data:; style-src 'unsafe-inline'; script-src 'sha256-)html" +
         base64(digest.digest()) + R"html('">
<meta name="viewport" content="width=device-width, initial-scale=1">
<link rel="icon" href="data:,">
<style>
)html" + std::string(page_style) +
         "</style>\n";
}

constexpr std::string_view keys = R"html(<p class="keys" hidden>Keys: <kbd>1</kbd> to <kbd>9</kbd>
switch between the sounds at one position, <kbd>space</kbd> plays and pauses, <kbd>&larr;</kbd> and
<kbd>&rarr;</kbd> move by a second. A click on a picture moves there. Marks between waveform and
spectrogram show lost frames.</p>
)html";

constexpr std::string_view definitions = R"html(<h2>What the figures mean</h2>
<p>Every figure compares the decoded sound with what a perfect coder would give: the input, for the
8&nbsp;kHz flavors through the two high-pass filters of encoder and decoder, with the delay taken
out.</p>
<dl>
<dt>SNR, segmental SNR</dt>
<dd>Energy of the reference over energy of the difference, of the whole, and as the mean over 20&nbsp;ms
segments louder than &minus;50&nbsp;dBov, each held to &minus;10 to 35&nbsp;dB. They punish every
change of phase, which the ear hardly hears.</dd>
<dt>Codec SNR, codec segmental SNR</dt>
<dd>The library&rsquo;s own routine over 20&nbsp;ms segments: no segment is held, and those of a mean
energy above 30&nbsp;dB (re 1) count for the mean.</dd>
<dt>LSD</dt>
<dd>Log-spectral distortion: root mean square over frequency of the difference between both power
spectra in dB, mean over 20&nbsp;ms Hann frames louder than &minus;50&nbsp;dBov. Lower is better.</dd>
<dt>STOI, ESTOI</dt>
<dd>Short-time objective intelligibility and its extended form, which predict how much of the speech
is understood; 1 is best. They look at 134 to 4800&nbsp;Hz only.</dd>
<dt>Effort</dt>
<dd>How long the encoder searches, 0 to 3. Rate and decoder are the same whatever it is.</dd>
<dt>Speed</dt>
<dd>Seconds of sound per second of processor time of one thread.</dd>
</dl>
)html";

std::string file_name(const std::string& path) {
  return html_text(std::filesystem::path(path).filename().string());
}

std::string result_title(const EvalResult& result) {
  std::string title = flavor_name(result.flavor);
  if (result.effort > 0) title += ", effort " + std::to_string(result.effort);
  if (result.loss_percent > 0.0) title += ", " + shortest(result.loss_percent) + " % lost";
  if (result.dtx) title += ", pauses not sent";
  return title;
}

std::string data_uri(std::string_view type, std::span<const std::uint8_t> bytes) {
  return "data:" + std::string(type) + ";base64," + base64(bytes);
}

std::string number_cell(const std::optional<double>& value, int decimals) {
  return "<td>" + (value ? fixed(*value, decimals) : "&ndash;") + "</td>";
}

std::string table_row(const EvalResult& result, std::size_t index) {
  const EvalFigures values = figures(result);
  return "<tr><th scope=\"row\"><a href=\"#result" + std::to_string(index) + "\">" +
         flavor_name(result.flavor) + "</a></th><td>" + std::to_string(result.effort) +
         "</td><td>" + shortest(result.loss_percent) + (result.dtx ? ", pauses not sent" : "") +
         "</td><td>" + std::to_string(result.trial.lost) + "/" +
         std::to_string(result.trial.frames) + "</td>" + number_cell(values.bit_rate, 0) +
         number_cell(values.snr, 2) + number_cell(values.segmental, 2) +
         number_cell(values.codec_snr, 2) + number_cell(values.codec_segmental, 2) +
         number_cell(values.distortion, 2) + number_cell(values.stoi, 3) +
         number_cell(values.estoi, 3) + number_cell(values.encode_speed, 0) +
         number_cell(values.decode_speed, 0) + "</tr>\n";
}

std::string table(const EvalReport& report) {
  std::string out = "<div class=\"wide\"><table>\n<caption>Frames were lost at random, seed " +
                    std::to_string(report.settings.seed) + ", and concealed ";
  out +=
      report.settings.concealment == Concealment::immediate ? "at once" : "when the next arrived";
  out += ".</caption>\n<thead><tr>";
  for (const char* heading :
       {"Flavor", "Effort", "Loss, %", "Frames lost", "bit/s", "SNR, dB", "Segmental SNR, dB",
        "Codec SNR, dB", "Codec segmental, dB", "LSD, dB", "STOI", "ESTOI",
        "Encoder, &times; real time", "Decoder, &times; real time"}) {
    out += std::string("<th scope=\"col\">") + heading + "</th>";
  }
  out += "</tr></thead>\n<tbody>\n";
  for (std::size_t i = 0; i < report.results.size(); ++i) out += table_row(report.results[i], i);
  return out + "</tbody></table></div>\n";
}

std::string text_at(double x, double y, std::string_view anchor, const std::string& text) {
  return "<text x=\"" + fixed(x, 1) + "\" y=\"" + fixed(y, 1) + "\" text-anchor=\"" +
         std::string(anchor) + "\">" + text + "</text>";
}

/// Marks along the time axis: a round step that gives about ten of them.
std::string time_axis(double seconds) {
  double step = std::pow(10.0, std::floor(std::log10(seconds / 10.0)));
  int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step))));
  for (const double factor : {1.0, 2.0, 5.0, 10.0}) {
    if (seconds / (step * factor) > 12.0) continue;
    step *= factor;
    if (factor == 10.0) decimals = std::max(0, decimals - 1);
    break;
  }
  const int bottom = spectrum_top + spectrum_height;
  std::string out;
  for (int i = 0; i * step <= seconds; ++i) {
    const double x = left + static_cast<double>(plot_width) * i * step / seconds;
    out += "<path class=\"grid\" d=\"M" + fixed(x, 1) + " " + std::to_string(bottom) + "v5\"/>";
    const bool room = x < left + static_cast<double>(plot_width) - 30.0;
    if (room || i == 0) out += text_at(x, bottom + 18, "middle", fixed(i * step, decimals));
  }
  return out + text_at(left + static_cast<double>(plot_width), bottom + 18, "end", "s") + "\n";
}

std::string frequency_axis(int rate) {
  std::string out;
  const int nyquist = rate / 2;
  for (int hertz = 0; hertz <= nyquist; hertz += nyquist / 4) {
    const double y = spectrum_top + spectrum_height * (1.0 - static_cast<double>(hertz) / nyquist);
    out += "<path class=\"grid\" d=\"M" + std::to_string(left - 5) + " " + fixed(y, 1) + "h5\"/>";
    out += text_at(left - 8, y + 4, "end",
                   shortest(hertz / 1000.0) + (hertz == nyquist ? " kHz" : ""));
  }
  return out + "\n";
}

std::string frame_at(int top, int height) {
  return "<rect class=\"frame\" x=\"" + std::to_string(left) + "\" y=\"" + std::to_string(top) +
         "\" width=\"" + std::to_string(plot_width) + "\" height=\"" + std::to_string(height) +
         "\"/>\n";
}

/// Between waveform and spectrogram; a lost frame is never narrower than a line.
std::string lost_marks(const std::vector<LostSpan>& lost, double seconds) {
  std::string path;
  for (const LostSpan& span : lost) {
    const double x = left + static_cast<double>(plot_width) * span.start / seconds;
    const double width =
        std::max(1.0, static_cast<double>(plot_width) * (span.end - span.start) / seconds);
    const std::string across = fixed(width, 1);
    path.append("M").append(fixed(x, 1)).append(" ").append(std::to_string(mark_top));
    path.append("h").append(across).append("v").append(std::to_string(mark_height));
    path.append("h-").append(across).append("z");
  }
  if (path.empty()) return path;
  std::string out = "<path class=\"lost\" d=\"";
  return out + path + "\"/>\n";
}

/// One sound: player, waveform, lost frames, spectrogram.
///
/// id  of its element; empty: none
std::string sound(std::span<const std::int16_t> pcm, int rate, float top, const std::string& title,
                  const std::string& id, const std::vector<LostSpan>& lost) {
  const double seconds = static_cast<double>(pcm.size()) / rate;
  std::string out = "<div class=\"sound\"";
  if (!id.empty()) out.append(" id=\"").append(id).append("\"");
  out += " data-name=\"" + title + "\">\n<h3>" + title + "</h3>\n";
  out += "<audio controls preload=\"metadata\" aria-label=\"" + title + "\" data-seconds=\"" +
         shortest(seconds) + "\" src=\"" + data_uri("audio/wav", wav_bytes(pcm, rate)) +
         "\"></audio>\n";
  out += "<div class=\"figure\"><div data-from=\"" +
         shortest(static_cast<double>(left) / figure_width) + "\" data-to=\"" +
         shortest((left + static_cast<double>(plot_width)) / figure_width) + "\">\n";
  out += "<svg viewBox=\"0 0 " + std::to_string(figure_width) + " " +
         std::to_string(figure_height) +
         "\" role=\"img\" aria-label=\"Waveform and spectrogram: " + title +
         "\">\n<path class=\"wave\" transform=\"translate(" + std::to_string(left) + " " +
         std::to_string(wave_top) + ")\" d=\"" + outline(pcm, plot_width, wave_height) + "\"/>\n" +
         frame_at(wave_top, wave_height) + lost_marks(lost, seconds);
  out += "<image x=\"" + std::to_string(left) + "\" y=\"" + std::to_string(spectrum_top) +
         "\" width=\"" + std::to_string(plot_width) + "\" height=\"" +
         std::to_string(spectrum_height) + "\" preserveAspectRatio=\"none\" href=\"" +
         data_uri("image/png", png_bytes(picture(spectrogram(pcm, rate, plot_width), top))) +
         "\"/>\n" + frame_at(spectrum_top, spectrum_height);
  return out + frequency_axis(rate) + time_axis(seconds) + "</svg>\n</div></div>\n</div>\n";
}

std::string introduction(const EvalReport& report) {
  const std::string name = file_name(report.settings.input);
  std::string out = "<title>" + name + ": codec evaluation</title>\n</head>\n<body>\n<h1>" + name +
                    "</h1>\n<p>" + fixed(report.seconds, 2) + " s of sound, coded and decoded.";
  if (report.settings.excerpt_seconds < report.seconds) {
    out += " The figures are of the whole; players and pictures hold the first " +
           shortest(report.settings.excerpt_seconds) + " s.";
  }
  return out + "</p>\n" + std::string(keys);
}

}  // namespace

void write_page(const EvalReport& report, const std::function<void(std::string_view)>& write) {
  write(head_start());
  write(introduction(report));
  write(table(report));
  for (const auto& [rate, pcm] : report.sources) {
    // One scale of colours for all pictures of a rate, so that they compare.
    const float top = loudest(spectrogram(pcm, rate, plot_width));
    write("<section class=\"compare\">\n<h2>" + std::to_string(rate / 1000) + " kHz</h2>\n");
    write(sound(pcm, rate, top, "Original", "", {}));
    for (std::size_t i = 0; i < report.results.size(); ++i) {
      const EvalResult& result = report.results[i];
      if (check(quel_sampling_rate(result.flavor)) != rate) continue;
      write(sound(result.heard, rate, top, result_title(result), "result" + std::to_string(i),
                  result.lost));
    }
    write("</section>\n");
  }
  write(definitions);
  write("<script>");
  write(page_script);
  write("</script>\n</body>\n</html>\n");
}

}  // namespace quel::tools
