#include "tools/mux_command.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <limits>
#include <ostream>

#include "tools/command.h"
#include "tools/comment_option.h"
#include "tools/file_arguments.h"
#include "tools/file_error.h"

namespace quel::tools {

CLI::App* add_mux_command(CLI::App& app, MuxJob& job) {
  auto* mux = app.add_subcommand("mux", "bare coded units in, coded file out");
  mux->add_option("input", job.input, "coded units back to back, - for standard input")
      ->required()
      ->option_text("FILE");
  mux->add_option("output", job.output, "coded file, - for standard output")
      ->required()
      ->option_text("FILE");
  add_flavor_option(*mux, job.flavor, "of the units: ");
  mux->add_option("--samples", job.samples,
                  "length of the source at the flavor's rate; by default all that the units hold")
      ->check(CLI::Range(std::int64_t{0}, std::numeric_limits<std::int64_t>::max()))
      ->option_text("N");
  mux->add_option("--input-rate", job.input_rate, "of the source, Hz, for information; 0 unknown")
      ->check(CLI::Range(1000, 1000000) | CLI::Range(0, 0))
      ->option_text("HZ");
  add_comment_option(*mux, job.tags);
  mux->add_option("--packet-ms", job.packet_ms, "length of a packet, 1 to 10000 ms, by default 240")
      ->check(CLI::Range(1, 10000))
      ->option_text("MS");
  mux->add_option("--page-ms", job.page_ms, "length of a page, 1 to 60000 ms, by default 2000")
      ->check(CLI::Range(1, 60000))
      ->option_text("MS");
  auto* from_dump = mux->add_flag(
      "--from-dump", job.from_dump,
      "the input is the text of quel dump, which says everything that the other options would");
  for (auto* option : mux->get_options()) {
    if (option->get_name().starts_with("--") && option != from_dump &&
        option != mux->get_help_ptr()) {
      option->excludes(from_dump);
    }
  }
  mux->add_flag("-f,--force", job.force, "replace an existing output");
  mux->final_callback([&job] {
    if (!job.from_dump && !job.flavor) throw CLI::RequiredError("--flavor");
  });
  return mux;
}

CLI::App* add_demux_command(CLI::App& app, DemuxJob& job) {
  auto* demux = app.add_subcommand("demux", "coded file in, bare coded units out");
  demux->footer(
      "Zeros stand for lost units. Where the file is damaged messages say so, and the exit status "
      "is 1.");
  demux->add_option("input", job.input, "coded file, - for standard input")
      ->required()
      ->option_text("FILE");
  demux->add_option("output", job.output, "coded units back to back, - for standard output")
      ->required()
      ->option_text("FILE");
  demux->add_flag("-f,--force", job.force, "replace an existing output");
  return demux;
}

int run_mux_command(const MuxJob& job, std::ostream& err) {
  try {
    run_mux(job);
  } catch (const std::exception& error) {
    err << "quel: " << message_of(error, job.input) << '\n';
    return exit_failed;
  }
  return exit_done;
}

int run_demux_command(const DemuxJob& job, std::ostream& err) {
  try {
    return run_demux(job, err) ? exit_done : exit_failed;
  } catch (const std::exception& error) {
    err << "quel: " << message_of(error, job.input) << '\n';
    return exit_failed;
  }
}

}  // namespace quel::tools
