#include "tools/eval_command.h"

#include <quelcodec/quelcodec.h>
#include <CLI/CLI.hpp>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <span>
#include <string_view>
#include <system_error>

#include "tools/command.h"
#include "tools/eval_html.h"
#include "tools/eval_pair.h"
#include "tools/eval_text.h"
#include "tools/file_arguments.h"
#include "tools/file_error.h"
#include "tools/output_file.h"
#include "tools/progress.h"
#include "tools/run_one.h"

namespace quel::tools {
namespace {

// A page holds every result's samples, so that a long recording would make it too big to open.
constexpr double page_seconds = 120.0;

std::span<const std::uint8_t> bytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

void check_job(const EvalJob& job) {
  if (job.settings.input == "-") {
    throw FileError("standard input", "eval reads its input more than once and needs a file");
  }
  // Opening a pipe a second time would wait for ever.
  std::error_code unknown;
  const auto status = std::filesystem::status(job.settings.input, unknown);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw FileError(job.settings.input, "not a regular file; eval reads its input more than once");
  }
  if (job.html.empty() || job.json.empty() || job.json == "-") return;
  const std::string html = output_place(job.html).string();
  const std::string json = output_place(job.json).string();
  if (html == json || html == json + ".part" || json == html + ".part") {
    throw FileError(job.html, "cannot hold both the page and the figures");
  }
}

// Two files, whatever made one of them of the other.
void run_pair(const EvalJob& job, std::ostream& out) {
  for (const std::string& name : {job.reference, job.decoded}) {
    std::error_code unknown;
    const auto status = std::filesystem::status(name, unknown);
    if (name == "-" ||
        (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))) {
      throw FileError(name, "not a regular file; eval reads its inputs more than once");
    }
  }
  std::optional<OutputFile> json;
  if (!job.json.empty() && job.json != "-") json.emplace(job.json, job.force, job.reference);
  const PairReport report = compare_files(job.reference, job.decoded);
  if (json) {
    json->write(bytes(pair_json(report)));
    json->commit();
  }
  out << (job.json == "-" ? pair_json(report) : pair_text(report)) << std::flush;
  if (!out) throw FileError("standard output", "cannot be written");
}

void check_command(const EvalJob& job, const CLI::App& eval) {
  const auto fail = [](const std::string& text) { throw CLI::ValidationError(text); };
  if (job.reference.empty() != job.decoded.empty()) fail("--reference and --decoded go together");
  if (job.reference.empty()) {
    if (job.settings.input.empty()) fail("a recording is due, or --reference and --decoded");
    return;
  }
  for (const char* name : {"input", "--flavor", "--loss", "--seed", "--conceal", "--html"}) {
    if (eval.count(name) > 0) {
      fail(std::string(name) + " has no place beside --reference: nothing is coded there");
    }
  }
}

// Whether the input was whole.
bool run(const EvalJob& job, Progress& progress, std::ostream& out, std::ostream& err) {
  check_job(job);
  // Opened first: a name that does not serve is known before the work, not after.
  std::optional<OutputFile> json, html;
  const bool json_to_out = job.json == "-";
  if (!job.json.empty() && !json_to_out) json.emplace(job.json, job.force, job.settings.input);
  if (!job.html.empty()) html.emplace(job.html, job.force, job.settings.input);

  EvalSettings settings = job.settings;
  settings.excerpt_seconds = html ? page_seconds : 0.0;
  progress.plan({size_of(settings.input)});
  progress.start(0, settings.input);
  const EvalReport report =
      evaluate(settings, [&](double seconds, double share) { progress.update(0, seconds, share); });
  // All or nothing: no file has its name before everything is written.
  if (html) {
    html->hold_back();
    write_page(report, [&](std::string_view piece) { html->write(bytes(piece)); });
    html->commit();
  }
  if (json) {
    json->hold_back();
    json->write(bytes(json_report(report)));
    json->commit();
  }
  progress.clear();
  out << (json_to_out ? json_report(report) : text_table(report)) << std::flush;
  if (!out) throw FileError("standard output", "cannot be written");
  if (html) html->release();
  if (json) json->release();
  if (report.cut_short) {
    err << "quel: " << shown(settings.input) << ": cut short: measured " << fixed(report.seconds, 3)
        << " s\n";
  }
  return !report.cut_short;
}

}  // namespace

CLI::App* add_eval_command(CLI::App& app, EvalJob& job) {
  const std::map<std::string, Concealment> concealments = {{"immediate", Concealment::immediate},
                                                           {"deferred", Concealment::deferred}};
  auto* eval =
      app.add_subcommand("eval", "what each flavor does to a recording: quality and speed");
  eval->add_option("input", job.settings.input, "audio file: any rate, any channels")
      ->option_text("FILE");
  eval->add_option("--reference", job.reference,
                   "with --decoded: measure what any codec made of this recording, at the lower "
                   "sampling rate of both; the delay, up to 2 s, is found and told")
      ->option_text("FILE");
  eval->add_option("--decoded", job.decoded, "what came out of that codec, as an audio file")
      ->option_text("FILE");
  take_flavors(eval->add_option("--flavor", job.settings.flavors,
                                "flavors to try, comma-separated: 5k, 6k5, 8k5 (8 kHz), 16k (16 "
                                "kHz); by default all")
                   ->delimiter(','));
  eval->add_option("--effort", job.settings.efforts,
                   "levels of the encoder's effort to try, comma-separated, each a run of its own; "
                   "by default 0")
      ->delimiter(',')
      ->check(CLI::Range(0, QUEL_MAX_EFFORT))
      ->option_text("0..3");
  eval->add_option("--loss", job.settings.losses,
                   "percentages of the frames to lose, comma-separated, each a run of its own; "
                   "by default 0")
      ->delimiter(',')
      ->transform(
          [](const std::string& text) { return shortest(parse_percentage("--loss", text)); })
      ->option_text("PERCENT");
  add_seed_option(*eval, job.settings.seed);
  eval->add_flag("--dtx", job.settings.dtx,
                 "try each a second time without the pauses, as quel encode --dtx leaves them out");
  eval->add_option("--conceal", job.settings.concealment,
                   "what stands for lost frames: immediate (a frame for each, the default) or "
                   "deferred (up to five once a frame arrives)")
      ->transform(CLI::Transformer(concealments))
      ->option_text("immediate|deferred");
  eval->add_option("--json", job.json, "write the figures as JSON; - is standard output")
      ->option_text("FILE|-");
  eval->add_option("--html", job.html, "write a page with players and pictures")
      ->check([](const std::string& name) {
        return name == "-" ? "standard output is for the table or JSON" : "";
      })
      ->option_text("FILE");
  eval->add_flag("-f,--force", job.force, "replace existing outputs");
  eval->add_flag("-q,--quiet", job.quiet, "no progress, even on a terminal");
  eval->final_callback([eval, &job] { check_command(job, *eval); });
  return eval;
}

int run_eval(const EvalJob& job, std::ostream& out, std::ostream& err) {
  Progress progress(progress_stream(job.quiet), terminal_width());
  try {
    if (!job.reference.empty()) {
      run_pair(job, out);
      return exit_done;
    }
    return run(job, progress, out, err) ? exit_done : exit_failed;
  } catch (const std::exception& error) {
    progress.clear();
    err << "quel: " << message_of(error, job.settings.input) << '\n';
    return exit_failed;
  }
}

}  // namespace quel::tools
