#include "tools/dump_command.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <exception>
#include <ostream>
#include <vector>

#include "tools/command.h"
#include "tools/dump.h"
#include "tools/file_error.h"
#include "tools/ogg_report.h"
#include "tools/ogg_source.h"

namespace quel::tools {
namespace {

std::vector<std::uint8_t> whole_file(const std::string& path) {
  FileSource source(path);
  std::vector<std::uint8_t> bytes;
  constexpr std::size_t piece = 65536;
  for (std::size_t filled = 0;;) {
    bytes.resize(filled + piece);
    const std::size_t count = source.read(std::span(bytes).subspan(filled));
    filled += count;
    if (count > 0) continue;
    bytes.resize(filled);
    return bytes;
  }
}

}  // namespace

CLI::App* add_dump_command(CLI::App& app, DumpJob& job) {
  auto* dump = app.add_subcommand(
      "dump", "every frame's indices and what they stand for: frequencies, lags, gains, pulses");
  dump->footer(
      "A damaged file is dumped as far as it goes; messages tell what is missing, and the exit "
      "status is 0.");
  dump->add_option("input", job.input, "coded file, - for standard input")
      ->required()
      ->option_text("FILE");
  dump->add_flag("--json", job.json, "JSON in place of the text that quel mux --from-dump reads");
  return dump;
}

int run_dump_command(const DumpJob& job, std::ostream& out, std::ostream& err) {
  try {
    const OggReport report = write_dump(whole_file(job.input), job.input, job.json, out);
    out.flush();
    if (!out) throw FileError("standard output", "cannot be written");
    for (const std::string& note : content_notes(report)) {
      err << "quel: " << shown(job.input) << ": " << note << '\n';
    }
  } catch (const std::exception& error) {
    err << "quel: " << message_of(error, job.input) << '\n';
    return exit_failed;
  }
  return exit_done;
}

}  // namespace quel::tools
