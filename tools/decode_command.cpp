#include "tools/decode_command.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <map>
#include <ostream>

#include "tools/command.h"

namespace quel::tools {
namespace {

// CLI::Range lets "nan" pass.
std::string check_percentage(const std::string& text) {
  double percent = 0.0;
  if (CLI::detail::lexical_cast(text, percent) && percent >= 0.0 && percent <= 100.0) return "";
  return text + " is not a number from 0 to 100";
}

}  // namespace

CLI::App* add_decode_command(CLI::App& app, DecodeJob& job) {
  const std::map<std::string, Concealment> concealments = {{"immediate", Concealment::immediate},
                                                           {"deferred", Concealment::deferred}};
  auto* decode = app.add_subcommand("decode", "coded units in, WAV out");
  decode->add_option("input", job.input, "coded file")->required();
  decode->add_option("output", job.output, "WAV file, 16-bit mono")->required();
  auto* loss = decode
                   ->add_option("--loss", job.options.loss_percent,
                                "percentage of the frames to lose, 0 to 100")
                   ->check(check_percentage);
  decode->add_option("--seed", job.options.seed, "of the losses")
      ->check(CLI::NonNegativeNumber)  // a minus would wrap around
      ->capture_default_str();
  decode
      ->add_option("--conceal", job.options.concealment,
                   "immediate (a frame for each lost one at once) or deferred (made up when the "
                   "next frame arrives, at most five)")
      ->transform(CLI::Transformer(concealments))
      ->option_text("immediate|deferred");
  decode->add_flag("-f,--force", job.force, "replace an existing output");
  decode->final_callback([loss, &job] { job.report = loss->count() > 0; });
  return decode;
}

int run_decode_command(const DecodeJob& job, std::ostream& err) {
  try {
    return run_decode(job, err) ? exit_done : exit_failed;
  } catch (const std::exception& error) {
    err << "quel: " << error.what() << '\n';
    return exit_failed;
  }
}

}  // namespace quel::tools
