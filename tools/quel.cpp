#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <map>
#include <quelcodec/quelcodec.hpp>
#include <string>

#include "tools/eval_command.h"
#include "tools/jobs.h"

namespace {

constexpr int status_failed = 1;
constexpr int status_usage = 2;

// CLI::Range lets "nan" pass.
std::string check_percentage(const std::string& text) {
  double percent = 0.0;
  if (CLI::detail::lexical_cast(text, percent) && percent >= 0.0 && percent <= 100.0) return "";
  return text + " is not a number from 0 to 100";
}

}  // namespace

int main(int argc, char** argv) {
  using quel::Concealment;
  CLI::App app{"Speech codec for slow links"};
  app.name("quel");
  app.set_version_flag("--version", "quel " + std::to_string(QUEL_VERSION_MAJOR) + "." +
                                        std::to_string(QUEL_VERSION_MINOR) + "." +
                                        std::to_string(QUEL_VERSION_PATCH));
  app.require_subcommand(1);

  quel::tools::EncodeJob encode_job;
  auto* encode = app.add_subcommand("encode", "speech in, coded units out");
  encode->add_option("input", encode_job.input, "audio file: any rate, any channels")->required();
  encode->add_option("output", encode_job.output, "coded file")->required();
  encode
      ->add_option("--flavor", encode_job.flavor,
                   "0: 6.5 kbit/s, 1: 8.5 kbit/s, 2: 5 kbit/s (8 kHz); 3: 16 kbit/s (16 kHz)")
      ->required()
      ->check(CLI::Range(0, 3));
  encode->add_flag("-f,--force", encode_job.force, "replace an existing output");

  quel::tools::DecodeJob decode_job;
  const std::map<std::string, Concealment> concealments = {{"immediate", Concealment::immediate},
                                                           {"deferred", Concealment::deferred}};
  auto* decode = app.add_subcommand("decode", "coded units in, WAV out");
  decode->add_option("input", decode_job.input, "coded file")->required();
  decode->add_option("output", decode_job.output, "WAV file, 16-bit mono")->required();
  auto* loss = decode
                   ->add_option("--loss", decode_job.options.loss_percent,
                                "percentage of the frames to lose, 0 to 100")
                   ->check(check_percentage);
  decode->add_option("--seed", decode_job.options.seed, "of the losses")->capture_default_str();
  decode
      ->add_option("--conceal", decode_job.options.concealment,
                   "immediate (a frame for each lost one at once) or deferred (made up when the "
                   "next frame arrives, at most five)")
      ->transform(CLI::Transformer(concealments))
      ->option_text("immediate|deferred");
  decode->add_flag("-f,--force", decode_job.force, "replace an existing output");

  quel::tools::EvalJob eval_job;
  const auto* eval = add_eval_command(app, eval_job);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : status_usage;
  }
  decode_job.report = loss->count() > 0;
  if (*eval) return run_eval(eval_job, std::cout, std::cerr);
  try {
    if (*encode) run_encode(encode_job);
    if (*decode && !run_decode(decode_job, std::cerr)) return status_failed;
  } catch (const std::exception& error) {
    std::cerr << "quel: " << error.what() << '\n';
    return status_failed;
  }
  return 0;
}
