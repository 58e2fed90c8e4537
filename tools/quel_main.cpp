#include "tools/quel_main.h"

#include <CLI/CLI.hpp>
#include <ostream>
#include <quelcodec/quelcodec.hpp>
#include <string>
#include <string_view>

#include "tools/command.h"
#include "tools/decode_command.h"
#include "tools/dump_command.h"
#include "tools/encode_command.h"
#include "tools/eval_command.h"
#include "tools/generated_text.h"
#include "tools/help_text.h"
#include "tools/info_command.h"
#include "tools/loudspeaker.h"
#include "tools/mux_command.h"
#include "tools/play_command.h"
#include "tools/selftest_command.h"
#include "tools/version.h"

namespace quel::tools {
namespace {

// What was printed may still wait to be written, and a full disk shows only then.
int written(int status, std::ostream& out, std::ostream& err) {
  out.flush();
  if (out || status != exit_done) return status;
  err << "quel: standard output: cannot be written\n";
  return exit_failed;
}

}  // namespace

int run_quel(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  CLI::App app{"Speech codec for slow links"};
  app.name("quel");
  app.require_subcommand(1);
  app.formatter(help_formatter());

  EncodeCommand encode;
  DecodeCommand decode;
  PlayJob play;
  InfoJob info;
  DumpJob dump;
  MuxJob mux;
  DemuxJob demux;
  EvalJob eval;
  const Command commands[] = {
      {add_encode_command(app, encode), [&] { return run_encode_command(encode, err); }},
      {add_decode_command(app, decode), [&] { return run_decode_command(decode, err); }},
      {add_play_command(app, play), [&] { return run_play_command(play, loudspeaker, err); }},
      {add_info_command(app, info), [&] { return run_info_command(info, out, err); }},
      {add_dump_command(app, dump), [&] { return run_dump_command(dump, out, err); }},
      {add_mux_command(app, mux), [&] { return run_mux_command(mux, err); }},
      {add_demux_command(app, demux), [&] { return run_demux_command(demux, err); }},
      {add_eval_command(app, eval), [&] { return run_eval(eval, out, err); }},
      {add_selftest_command(app), [&] { return run_selftest_command(out); }},
  };

  const std::string version = "quel " + version_text();
  app.set_version_flag("-V,--version", version);
  for (const Command& command : commands) command.app->set_version_flag("-V,--version", version);
  // For the build, which installs them; a reader of --help has no use for these.
  const std::string_view first = argc > 1 ? argv[1] : "";
  if (first == "--man" || first == "--completions") {
    const std::string text =
        argc > 3 ? "" : generated_text(app, version, first, argc > 2 ? argv[2] : "");
    out << text;
    if (text.empty()) {
      err << "quel: " << first
          << (first == "--man" ? ": takes the name of a command or nothing\n"
                               : ": takes bash, zsh or fish\n");
    }
    return written(text.empty() ? exit_usage : exit_done, out, err);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const std::string unknown = error.get_exit_code() == 0 ? "" : unknown_name(app, argc, argv);
    if (!unknown.empty()) {
      err << unknown << "\nRun with --help for more information.\n";
      return exit_usage;
    }
    return written(app.exit(error, out, err) == 0 ? exit_done : exit_usage, out, err);
  }
  for (const Command& command : commands) {
    if (command.app->parsed()) return written(command.run(), out, err);
  }
  return exit_usage;
}

}  // namespace quel::tools
