#include "tools/encode_command.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <ostream>

#include "tools/command.h"

namespace quel::tools {

CLI::App* add_encode_command(CLI::App& app, EncodeJob& job) {
  auto* encode = app.add_subcommand("encode", "speech in, coded units out");
  encode->add_option("input", job.input, "audio file: any rate, any channels")->required();
  encode->add_option("output", job.output, "coded file")->required();
  encode
      ->add_option("--flavor", job.flavor,
                   "0: 6.5 kbit/s, 1: 8.5 kbit/s, 2: 5 kbit/s (8 kHz); 3: 16 kbit/s (16 kHz)")
      ->required()
      ->check(CLI::Range(0, 3));
  encode->add_flag("-f,--force", job.force, "replace an existing output");
  return encode;
}

int run_encode_command(const EncodeJob& job, std::ostream& err) {
  try {
    run_encode(job);
  } catch (const std::exception& error) {
    err << "quel: " << error.what() << '\n';
    return exit_failed;
  }
  return exit_done;
}

}  // namespace quel::tools
