#include "tools/encode_command.h"

#include <quelcodec/quelcodec.h>
#include <CLI/CLI.hpp>
#include <charconv>
#include <system_error>

#include "tools/batch_inputs.h"
#include "tools/comment_option.h"
#include "tools/eval_text.h"
#include "tools/file_arguments.h"
#include "tools/output_names.h"

namespace quel::tools {
namespace {

bool is_bare_file(const std::filesystem::path& path) {
  const std::string extension = lower_extension(path);
  return extension == ".raw" || extension == ".pcm";
}

/// Everything that the bytes of an output depend on beside its input.
std::string text_of(const EncodeCommand& command) {
  const EncodeSettings& s = command.settings;
  std::string text = "encode encoder=" + s.tags.encoder;
  if (s.flavor) text += " flavor=" + std::to_string(*s.flavor);
  if (s.effort) text += " effort=" + std::to_string(*s.effort);
  if (s.audio.raw_rate > 0) {
    text += " raw=" + std::to_string(s.audio.raw_rate) + "," +
            std::to_string(s.audio.raw_channels) + "," + command.endianness;
  }
  if (!command.channel.empty()) text += " channel=" + command.channel;
  if (s.gain_db != 0.0) text += " gain=" + shortest(s.gain_db);
  if (s.dtx) text += " dtx";
  text += s.raw ? " bare" : " packet=" + std::to_string(s.packet_ms);
  if (!s.raw && s.page_ms != EncodeSettings().page_ms) text += " page=" + std::to_string(s.page_ms);
  if (!s.source_tags) text += " no-tags";
  for (const auto& [name, value] : s.tags.comments) text += " comment=" + name + "=" + value;
  return text;
}

void check_channel(EncodeCommand& command) {
  if (command.channel.empty()) return;
  const auto fail = [](const std::string& text) { throw CLI::ValidationError("--channel", text); };
  if (command.channel == "each") {
    const bool to_output = command.files.output_dir.empty() && command.files.files.at(1) == "-";
    if (to_output) fail("each channel needs a file of its own, and - is one output");
    return;
  }
  int channel = 0;
  const char* const end = command.channel.data() + command.channel.size();
  const auto [stop, error] = std::from_chars(command.channel.data(), end, channel);
  if (error != std::errc{} || stop != end || channel < 1 || channel > 1024) {
    fail(command.channel + " is neither a channel, from 1, nor each");
  }
  command.settings.audio.channel = channel;
  command.channel = std::to_string(channel);
}

void check_command(EncodeCommand& command, const CLI::App& app) {
  check_file_arguments(command.files);
  command.settings.audio.raw_big_endian = command.endianness == "big";
  check_channel(command);
  if (command.format == "quel" && command.settings.raw) {
    throw CLI::ValidationError("--format", "quel is what --raw does without");
  }
  if (command.format == "units") command.settings.raw = true;
  if (command.format.empty() && !command.settings.raw && command.files.output_dir.empty()) {
    const std::string refusal = refuse_coded_name(command.files.files.at(1));
    if (!refusal.empty()) throw CLI::ValidationError(refusal);
  }
  command.settings.source_tags = !command.no_tags;
  const bool bare_input = command.settings.audio.raw_rate > 0;
  for (const char* option : {"--raw-chan", "--raw-endianness"}) {
    if (!bare_input && app.count(option) > 0) {
      throw CLI::ValidationError(option, "needs --raw-rate");
    }
  }
  for (const char* option : {"--comment", "--dtx", "--no-tags", "--packet-ms", "--page-ms"}) {
    if (command.settings.raw && app.count(option) > 0) {
      throw CLI::ValidationError(option, "has no place among bare coded units (--raw)");
    }
  }
}

}  // namespace

CLI::App* add_encode_command(CLI::App& app, EncodeCommand& command) {
  EncodeSettings& settings = command.settings;
  auto* encode = app.add_subcommand("encode", "sound in, coded speech out");
  encode->footer(
      "A file that was cut short is coded as far as it goes; a message says so, and the "
      "exit status is 1.");
  add_file_arguments(*encode, command.files, "audio file of any kind, rate and number of channels",
                     "coded file, .quel");
  add_flavor_option(*encode, settings.flavor,
                    "by default 16k for inputs of 16 kHz and above, else 8k5; ");
  encode
      ->add_option("--effort", settings.effort,
                   "how long to search for speech that sounds closer to the input, 0 to 3; more "
                   "takes more time, and any decoder decodes it")
      ->check(CLI::Range(0, QUEL_MAX_EFFORT))
      ->option_text("0..3");
  encode
      ->add_option(
          "--channel", command.channel,
          "take this channel, from 1, instead of the mean of all; each: code every channel "
          "into a file of its own, call.1.quel and call.2.quel where call.quel is asked for")
      ->option_text("N|each");
  add_gain_option(*encode, settings.gain_db);
  encode->add_flag("--dtx", settings.dtx,
                   "leave out the pauses: one unit in 160 ms of background is kept, and decoding "
                   "puts noise like it between");
  add_comment_option(*encode, settings.tags);
  encode->add_flag("--no-tags", command.no_tags,
                   "leave out what the input says of itself: title, artist, date and the like");
  encode
      ->add_option("--packet-ms", settings.packet_ms,
                   "length of a packet aimed at, 1 to 10000 ms, by default 240")
      ->check(CLI::Range(1, 10000))
      ->option_text("MS");
  encode
      ->add_option("--page-ms", settings.page_ms,
                   "length of a page aimed at, 1 to 60000 ms, by default 2000: what a wrong bit "
                   "costs, and how late a pipe gets it")
      ->check(CLI::Range(1, 60000))
      ->option_text("MS");
  encode
      ->add_option("--format", command.format,
                   "of the output, whatever its name: quel, or units as with --raw")
      ->check(CLI::IsMember({"quel", "units"}))
      ->option_text("quel|units");
  encode->add_flag("--raw", settings.raw, "write bare coded units, without a file around them");
  encode
      ->add_option("--raw-rate", settings.audio.raw_rate,
                   "the input is bare 16-bit samples at this rate")
      ->check(CLI::Range(1000, 1000000))
      ->option_text("HZ");
  encode->add_option("--raw-chan", settings.audio.raw_channels, "their channels, by default 1")
      ->check(CLI::Range(1, 1024))
      ->option_text("N");
  encode->add_option("--raw-endianness", command.endianness, "their byte order, by default little")
      ->check(CLI::IsMember({"little", "big"}))
      ->option_text("little|big");
  encode->final_callback([encode, &command] { check_command(command, *encode); });
  return encode;
}

int run_encode_command(const EncodeCommand& command, std::ostream& err) {
  const EncodeSettings& settings = command.settings;
  FileWork work;
  work.run = [&](const std::string& input, OutputFile& output, const std::string&,
                 const Meter& meter) { return encode_sound(settings, input, output, meter); };
  if (command.channel == "each") {
    work.parts = [&](const std::string& input) {
      return AudioSource(input, settings.audio).channels();
    };
    work.run_part = [&](const std::string& input, int part, OutputFile& output,
                        const Meter& meter) {
      EncodeSettings one = settings;
      one.audio.channel = part;
      return encode_sound(one, input, output, meter);
    };
    work.run_parts = [&](const std::string& input, const OpenPart& open, const Meter& meter) {
      return encode_channels(settings, input, open, meter);
    };
  }
  work.takes = settings.audio.raw_rate > 0 ? is_bare_file : is_sound_name;
  work.extension = settings.raw ? ".units" : ".quel";
  work.settings = text_of(command);
  return run_files(command.files, work, err);
}

}  // namespace quel::tools
