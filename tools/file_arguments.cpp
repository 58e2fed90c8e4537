#include "tools/file_arguments.h"

#include <quelcodec/quelcodec.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <filesystem>
#include <map>
#include <optional>
#include <system_error>

#include "tools/flavor_name.h"
#include "tools/text.h"

namespace quel::tools {
namespace {

const std::map<std::string, OggConcealment> concealments = {
    {"immediate", OggConcealment::immediate},
    {"deferred", OggConcealment::deferred},
    {"none", OggConcealment::none}};

/// A shell's unset variable must not change what the other arguments mean.
std::string refuse_empty(const std::string& name) {
  return name.empty() ? "the name is empty" : "";
}

}  // namespace

void add_file_arguments(CLI::App& command, FileArguments& arguments, const std::string& inputs,
                        const std::string& outputs) {
  command
      .add_option("files", arguments.files,
                  "INPUT OUTPUT, or with --output-dir any number of inputs and folders. Input: " +
                      inputs + ". Output: " + outputs + ". - is standard input and standard output")
      ->option_text("FILE...");
  command
      .add_option("--output-dir", arguments.output_dir,
                  "put the outputs there, in folders as the inputs'; files that are done already "
                  "are skipped, a folder without inputs is a failure")
      ->check(refuse_empty)
      ->option_text("FOLDER");
  command
      .add_option("--files-from", arguments.files_from,
                  "with --output-dir: a file with the names of further inputs, one a line; - is "
                  "standard input. Their outputs stand in folders as these names say")
      ->check(refuse_empty)
      ->option_text("FILE|-");
  command.add_flag(
      "-0,--null", arguments.null_terminated,
      "the names of --files-from end with a zero byte each, as find -print0 writes them");
  command
      .add_option("--manifest", arguments.manifest,
                  "with --output-dir: where to keep what was done, JSON if its name ends in .json, "
                  "else TSV; by default quel-manifest.tsv in the folder")
      ->check(refuse_empty)
      ->option_text("FILE");
  command
      .add_option("--jobs", arguments.jobs,
                  "with --output-dir: files at a time; by default one per processor")
      ->check(CLI::Range(1, 1024))
      ->option_text("N");
  command.add_flag("-f,--force", arguments.force, "replace existing outputs");
  command.add_flag("-q,--quiet", arguments.quiet, "no progress, even on a terminal");
}

void check_file_arguments(const FileArguments& arguments) {
  const auto fail = [](const std::string& text) { throw CLI::ValidationError(text); };
  if (arguments.null_terminated && arguments.files_from.empty()) {
    fail("--null needs --files-from");
  }
  if (!arguments.output_dir.empty()) {
    if (arguments.files.empty() && arguments.files_from.empty())
      fail("no inputs to put into " + arguments.output_dir);
    for (const std::string& file : arguments.files) {
      if (file == "-") fail("- is one input and one output, without --output-dir");
      if (file.empty()) fail("an input has an empty name");
    }
    if (arguments.manifest == "-") fail("--manifest is a file, not standard output");
    return;
  }
  if (!arguments.manifest.empty()) fail("--manifest needs --output-dir");
  if (!arguments.files_from.empty()) fail("--files-from needs --output-dir");
  if (arguments.jobs > 0) fail("--jobs needs --output-dir");
  if (arguments.files.size() != 2) {
    fail("one input and one output are due, or --output-dir and inputs");
  }
  if (arguments.files[0].empty()) fail("the input has an empty name");
  if (arguments.files[1].empty()) fail("the output has an empty name");
  std::error_code unknown;
  if (std::filesystem::is_directory(arguments.files[0], unknown)) {
    fail(arguments.files[0] + " is a folder, which needs --output-dir");
  }
}

namespace {

/// "8k5", "8.5" and "1" to "1"; says what there is where it is none of them.
std::string flavor_number(std::string& text) {
  std::string names;
  for (int flavor = 0; quel_flavor_info(flavor) != nullptr; ++flavor) {
    const std::string rate = quel_flavor_info(flavor)->name;
    const std::string name = flavor_name(flavor);
    if (same_name(text, name) || text == rate || text == std::to_string(flavor)) {
      text = std::to_string(flavor);
      return "";
    }
    names += (names.empty() ? "" : ", ") + name + " (or " + rate + ", or number " +
             std::to_string(flavor) + ")";
  }
  return text + " is no flavor; there are " + names;
}

}  // namespace

CLI::Option* add_flavor_option(CLI::App& command, std::optional<int>& flavor,
                               const std::string& text) {
  return take_flavors(
      command.add_option("--flavor", flavor, text + "5k, 6k5, 8k5 (8 kHz) or 16k (16 kHz)"));
}

CLI::Option* take_flavors(CLI::Option* option) {
  return option->transform(CLI::Validator(flavor_number, "", ""))->option_text("5k|6k5|8k5|16k");
}

CLI::Option* add_gain_option(CLI::App& command, double& gain_db) {
  return command.add_option("--gain", gain_db, "added to the level, -100 to 100 dB")
      ->check([](const std::string& text) -> std::string {
        double gain = 0.0;  // CLI::Range lets "nan" pass
        if (CLI::detail::lexical_cast(text, gain) && gain >= -100.0 && gain <= 100.0) return "";
        return text + " is not a number from -100 to 100";
      })
      ->option_text("DB");
}

CLI::Option* add_seed_option(CLI::App& command, std::uint64_t& seed) {
  return command.add_option("--seed", seed, "of the losses, by default 1")
      ->check([](const std::string& text) -> std::string {
        std::uint64_t value = 0;  // CLI11 wraps a minus around and cuts what is too large
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        if (error == std::errc{} && stop == end) return "";
        return text + " is not a whole number from 0 to 18446744073709551615";
      })
      ->option_text("N");
}

CLI::Option* take_seconds(CLI::Option* option) {
  return option
      ->check([](const std::string& given) -> std::string {
        double value = 0.0;  // CLI::Range lets "nan" pass
        if (CLI::detail::lexical_cast(given, value) && value >= 0.0 && value <= 1e9) return "";
        return given + " is not a number from 0 to 1e9";
      })
      ->option_text("SECONDS");
}

CLI::Option* add_concealment_option(CLI::App& command, OggConcealment& concealment) {
  return command
      .add_option("--conceal", concealment,
                  "what stands for lost frames: immediate (a frame for each, the default), "
                  "deferred (up to five once a frame arrives, then silence) or none (silence)")
      ->transform(CLI::Transformer(concealments))
      ->option_text("immediate|deferred|none");
}

std::string concealment_name(OggConcealment concealment) {
  for (const auto& [name, each] : concealments) {
    if (each == concealment) return name;
  }
  return "";
}

double parse_percentage(const std::string& option, const std::string& text) {
  std::string number = text;
  if (!number.empty() && number.back() == '%') number.pop_back();
  double percent = 0.0;
  if (CLI::detail::lexical_cast(number, percent) && percent >= 0.0 && percent <= 100.0) {
    return percent;
  }
  throw CLI::ValidationError(option, text + " is not a percentage from 0 to 100");
}

}  // namespace quel::tools
