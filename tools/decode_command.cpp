#include "tools/decode_command.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <ostream>

#include "tools/batch_inputs.h"
#include "tools/command.h"
#include "tools/eval_text.h"
#include "tools/file_arguments.h"
#include "tools/file_error.h"
#include "tools/loss.h"
#include "tools/output_names.h"
#include "tools/sha256.h"

namespace quel::tools {
namespace {

/// "5%,3": percentage lost and mean run.
LossPattern parse_bursts(const std::string& text, std::uint64_t seed) {
  const std::string option = "--loss-burst";
  const std::size_t comma = text.find(',');
  if (comma == std::string::npos) {
    throw CLI::ValidationError(option, text + " is not a percentage, a comma and a mean run");
  }
  const double percent = parse_percentage(option, text.substr(0, comma));
  const std::string run_text = text.substr(comma + 1);
  double run = 0.0;
  if (!CLI::detail::lexical_cast(run_text, run) || !(run >= 1.0 && run <= 1e6)) {
    throw CLI::ValidationError(option, run_text + " is not a mean run from 1 to 1000000 frames");
  }
  if (run < shortest_run(percent)) {
    throw CLI::ValidationError(option, "runs of " + run_text + " frames cannot make up " +
                                           shortest(percent) + "%: at least " +
                                           shortest(shortest_run(percent)) + " are due");
  }
  return LossPattern::bursts(percent, run, seed);
}

void check_command(DecodeCommand& command) {
  DecodeSettings& settings = command.settings;
  check_file_arguments(command.files);
  if (command.format.empty() && command.files.output_dir.empty()) {
    const std::string refusal = refuse_sound_name(command.files.files.at(1));
    if (!refusal.empty()) throw CLI::ValidationError(refusal);
  }
  settings.tags = !command.no_tags;
  if (command.raw && !settings.flavor) throw CLI::ValidationError("--raw", "needs --flavor");
  if (!command.raw && settings.flavor) {
    throw CLI::ValidationError("--flavor", "is for --raw; a coded file tells its own");
  }
  const bool big_endian = command.endianness == "big";
  if (command.format == "wav") settings.format = SoundFormat::wav;
  if (command.format == "flac") settings.format = SoundFormat::flac;
  if (command.format == "raw") {
    settings.format = big_endian ? SoundFormat::raw_big_endian : SoundFormat::raw;
  }
  if (big_endian && command.format.empty() && command.files.output_dir.empty() &&
      format_of(command.files.files.at(1)) == SoundFormat::raw) {
    settings.format = SoundFormat::raw_big_endian;
  }
  if (big_endian && settings.format != SoundFormat::raw_big_endian) {
    throw CLI::ValidationError("--raw-endianness", "is for outputs of bare samples");
  }
  const bool flac = command.format.empty() && command.files.output_dir.empty()
                        ? format_of(command.files.files.at(1)) == SoundFormat::flac
                        : settings.format == SoundFormat::flac;
  if (flac && settings.rate > 65535 && (settings.rate > 655350 || settings.rate % 10 != 0)) {
    throw CLI::ValidationError("--rate",
                               "FLAC holds at most 655350 Hz, above 65535 Hz in steps of 10");
  }
  if (!command.loss.empty()) {
    settings.losses = LossPattern(parse_percentage("--loss", command.loss), command.seed);
  }
  if (!command.loss_burst.empty()) {
    settings.losses = parse_bursts(command.loss_burst, command.seed);
  }
  settings.report_losses =
      !command.loss.empty() || !command.loss_burst.empty() || !command.loss_file.empty();
}

/// Every row of a manifest has it, so that it must be short however long the list is.
std::string digest_of(const std::vector<bool>& listed) {
  const std::vector<std::uint8_t> bytes(listed.begin(), listed.end());
  Sha256 digest;
  digest.add(bytes);
  return digest.hex();
}

/// Everything that the bytes of an output depend on beside its input.
std::string text_of(const DecodeCommand& command, const std::vector<bool>& listed) {
  const DecodeSettings& s = command.settings;
  std::string text = "decode behaviour=" + std::to_string(quel_behaviour());
  if (s.flavor) text += " flavor=" + std::to_string(*s.flavor);
  if (!command.loss.empty()) text += " loss=" + command.loss;
  if (!command.loss_burst.empty()) text += " burst=" + command.loss_burst;
  if (s.report_losses && listed.empty()) text += " seed=" + std::to_string(command.seed);
  if (!listed.empty()) text += " lost=" + digest_of(listed);
  if (s.concealment == OggConcealment::deferred) text += " deferred";
  if (s.concealment == OggConcealment::none) text += " unconcealed";
  if (s.enhance) text += " enhanced";
  if (s.gain_db != 0.0) text += " gain=" + shortest(s.gain_db);
  if (s.rate > 0) text += " rate=" + std::to_string(s.rate);
  if (s.start > 0.0) text += " start=" + shortest(s.start);
  if (s.length) text += " length=" + shortest(*s.length);
  if (!s.tags) text += " no-tags";
  if (!command.format.empty()) text += " format=" + command.format + "," + command.endianness;
  return text;
}

void add_loss_options(CLI::App& decode, DecodeCommand& command) {
  auto* loss = decode.add_option("--loss", command.loss, "lose so many of the frames, by chance")
                   ->option_text("PERCENT");
  auto* burst = decode
                    .add_option("--loss-burst", command.loss_burst,
                                "lose so many of the frames in runs of this mean length")
                    ->option_text("PERCENT,RUN")
                    ->excludes(loss);
  decode
      .add_option("--loss-file", command.loss_file,
                  "lose frames as a file tells, 0 (received) or 1 (lost) for each; it is read "
                  "over and over again")
      ->option_text("FILE")
      ->excludes(loss)
      ->excludes(burst);
  add_seed_option(decode, command.seed);
  add_concealment_option(decode, command.settings.concealment);
}

template <class Seconds>
void add_seconds(CLI::App& decode, const std::string& name, Seconds& seconds,
                 const std::string& text) {
  take_seconds(decode.add_option(name, seconds, text + ", 0 to 1e9 seconds; 12.5 for one"));
}

}  // namespace

CLI::App* add_decode_command(CLI::App& app, DecodeCommand& command) {
  auto* decode = app.add_subcommand("decode", "coded speech in, sound out");
  decode->footer(
      "A damaged or cut file is decoded as far as it goes; a message says so, and the exit status "
      "is "
      "1.");
  add_file_arguments(*decode, command.files, "coded file",
                     "16-bit mono WAV, FLAC or bare samples, by its name: .flac, .raw or .pcm, "
                     "else WAV");
  decode
      ->add_option("--rate", command.settings.rate,
                   "sampling rate of the output; by default the flavor's, 8000 or 16000")
      ->check(CLI::Range(1000, 1000000))
      ->option_text("HZ");
  add_gain_option(*decode, command.settings.gain_db);
  add_seconds(*decode, "--start", command.settings.start, "leave out what comes before this time");
  add_seconds(*decode, "--length", command.settings.length, "stop after so much sound");
  decode->add_option("--format", command.format, "of the output, whatever its name")
      ->check(CLI::IsMember({"wav", "flac", "raw"}))
      ->option_text("wav|flac|raw");
  decode
      ->add_option("--raw-endianness", command.endianness,
                   "byte order of bare samples, by default little")
      ->check(CLI::IsMember({"little", "big"}))
      ->option_text("little|big");
  decode->add_flag("--no-tags", command.no_tags,
                   "leave out what the coded file says of the recording: title, artist, date and "
                   "the like, which WAV and FLAC get otherwise");
  decode->add_flag("--raw", command.raw, "the input is bare coded units of the flavor given");
  add_flavor_option(*decode, command.settings.flavor, "of --raw: ");
  add_loss_options(*decode, command);
  decode->add_flag("--enhance", command.settings.enhance,
                   "let a postfilter make voiced speech sound cleaner; 6k5 and 8k5 have "
                   "none");
  decode->final_callback([&command] { check_command(command); });
  return decode;
}

int run_decode_command(const DecodeCommand& command, std::ostream& err) {
  DecodeSettings settings = command.settings;
  std::vector<bool> listed;
  try {
    if (!command.loss_file.empty()) {
      listed = read_losses(command.loss_file);
      settings.losses = LossPattern::listed(listed);
    }
  } catch (const std::exception& error) {
    err << "quel: " << message_of(error, command.loss_file) << '\n';
    return exit_failed;
  }
  FileWork work;
  work.run = [&](const std::string& input, OutputFile& output, const std::string& name,
                 const Meter& meter) { return decode_sound(settings, input, output, name, meter); };
  const std::string units = command.raw ? ".units" : ".quel";
  work.takes = [&](const std::filesystem::path& path) { return lower_extension(path) == units; };
  work.extension = command.format.empty() ? ".wav" : "." + command.format;
  work.settings = text_of(command, listed);
  return run_files(command.files, work, err);
}

}  // namespace quel::tools
