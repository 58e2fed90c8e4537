#include "tools/info_command.h"

#include <quelcodec/quelcodec.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <exception>
#include <optional>
#include <ostream>
#include <string>

#include "tools/command.h"
#include "tools/eval_text.h"
#include "tools/file_error.h"
#include "tools/flavor_name.h"
#include "tools/ogg_report.h"
#include "tools/text.h"

namespace quel::tools {
namespace {

std::string damage_text(const OggReport& report) {
  std::string text;
  for (const std::string& note : damage_notes(report)) text += (text.empty() ? "" : ", ") + note;
  return text.empty() ? "none" : text;
}

double overhead_percent(const OggInfo& info) {
  return 100.0 * (info.gross_bit_rate / info.net_bit_rate - 1.0);
}

std::string unsent_text(const OggReport& report) {
  const std::uint64_t all = report.units + report.unsent_units;
  const double share =
      all == 0 ? 0.0 : 100.0 * static_cast<double>(report.unsent_units) / static_cast<double>(all);
  return std::to_string(report.unsent_units) + " of " + counted(all, "unit") + ", " +
         fixed(share, 1) + " %";
}

OggInfo read(const std::string& path) {
  FileSource source(path);
  OggReader reader(source, shown(path));
  return read_info(reader);
}

}  // namespace

std::string info_text(const std::string& name, const OggInfo& info) {
  const OggHead& head = info.head;
  std::string text = printable(name) + "\n";
  const auto line = [&text](const std::string& what, const std::string& value) {
    text += "  " + what + std::string(12 - what.size(), ' ') + value + "\n";
  };
  line("flavor", flavor_name(head.flavor) + ", number " + std::to_string(head.flavor));
  line("duration", fixed(info.seconds, 3) + " s, " + counted(info.samples, "sample") + " at " +
                       std::to_string(info.rate) + " Hz");
  line("source",
       head.input_rate == 0 ? "of unknown rate" : std::to_string(head.input_rate) + " Hz");
  line("net rate", fixed(info.net_bit_rate, 0) + " bit/s");
  const double overhead = info.samples == 0 ? 0.0 : overhead_percent(info);
  line("gross rate", info.samples == 0 ? "none"
                                       : fixed(info.gross_bit_rate, 0) + " bit/s, " +
                                             fixed(std::abs(overhead), 2) +
                                             (overhead < 0.0 ? " % less" : " % more"));
  line("delay", std::to_string(info.delay) + " samples, " +
                    fixed(1000.0 * info.delay / info.rate, 1) + " ms");
  line("skipped", std::to_string(head.pre_skip) + " samples at the start");
  const std::optional<int> behaviour = behaviour_of(info.tags);
  line("bitstream", std::to_string(head.bitstream));
  line("encoder", (info.tags.encoder.empty() ? "unknown" : printable(info.tags.encoder)) +
                      ", behaviour " + (behaviour ? std::to_string(*behaviour) : "unknown"));
  bool told = behaviour.has_value();  // once is enough
  for (const auto& [key, value] : info.tags.comments) {
    if (told && names_behaviour(key)) {
      told = false;
      continue;
    }
    line("tag", printable(key) + "=" + printable(value));
  }
  if (head.unsent) line("not sent", unsent_text(info.report));
  line("damage", damage_text(info.report));
  if (info.report.foreign_pages > 0) {
    line("beside", counted(info.report.foreign_pages, "page") + " of other streams");
  }
  if (info.report.further_streams > 0) {
    line("further", counted(info.report.further_streams, "coded stream") + " not looked at");
  }
  return text;
}

std::string info_json(const std::string& name, const OggInfo& info) {
  const OggReport& report = info.report;
  const auto number = [](std::uint64_t value) { return std::to_string(value); };
  const std::optional<int> behaviour = behaviour_of(info.tags);
  std::string tags;
  for (const auto& [key, value] : info.tags.comments) {
    tags += (tags.empty() ? "" : ",") + std::string("{\"name\":") + json_string(key) +
            ",\"value\":" + json_string(value) + "}";
  }
  return "{\"file\":" + json_string(name) +
         ",\"flavor\":" + number(static_cast<std::uint64_t>(info.head.flavor)) + ",\"name\":" +
         json_string(std::string(quel_flavor_info(info.head.flavor)->name) + " kbit/s") +
         ",\"rate\":" + std::to_string(info.rate) +
         ",\"input_rate\":" + number(info.head.input_rate) +
         ",\"samples\":" + number(info.samples) + ",\"seconds\":" + shortest(info.seconds) +
         ",\"net_bit_rate\":" + shortest(info.net_bit_rate) +
         ",\"gross_bit_rate\":" + shortest(info.gross_bit_rate) +
         ",\"delay\":" + std::to_string(info.delay) +
         ",\"pre_skip\":" + number(info.head.pre_skip) +
         ",\"bitstream\":" + number(info.head.bitstream) +
         ",\"behaviour\":" + (behaviour ? std::to_string(*behaviour) : "null") +
         ",\"encoder\":" + json_string(info.tags.encoder) + ",\"tags\":[" + tags + "]" +
         ",\"bytes\":" + number(report.bytes) + ",\"units\":" + number(report.units) +
         ",\"unsent_units\":" + number(report.unsent_units) +
         ",\"damaged\":" + (report.damaged() ? "true" : "false") +
         ",\"complete\":" + (report.complete ? "true" : "false") +
         ",\"lost_units\":" + number(report.lost_units) + ",\"holes\":" + number(report.holes) +
         ",\"damaged_pages\":" + number(report.damaged_pages) +
         ",\"misplaced_pages\":" + number(report.misplaced_pages) +
         ",\"skipped_bytes\":" + number(report.skipped_bytes) +
         ",\"foreign_pages\":" + number(report.foreign_pages) +
         ",\"further_streams\":" + number(report.further_streams) +
         ",\"tags_error\":" + json_string(report.tags_error) + "}";
}

CLI::App* add_info_command(CLI::App& app, InfoJob& job) {
  auto* info =
      app.add_subcommand("info", "flavor, rates, duration, delay, tags and damage of coded files");
  info->footer(
      "The exit status is 0 where a file is damaged, too: to tell that is what this command is "
      "for. "
      "It is 1 where a file cannot be read at all.");
  info->add_option("input", job.inputs, "coded files, OUT.part included; - for standard input")
      ->required()
      ->option_text("FILE...");
  info->add_flag("--json", job.json, "a JSON list in place of text");
  return info;
}

int run_info_command(const InfoJob& job, std::ostream& out, std::ostream& err) {
  int status = exit_done;
  std::string separator = "[";
  for (const std::string& input : job.inputs) {
    try {
      const OggInfo info = read(input);
      if (job.json) {
        out << separator << '\n' << info_json(input, info);
        separator = ",";
      } else {
        out << info_text(shown(input), info);
      }
    } catch (const std::exception& error) {
      err << "quel: " << message_of(error, input) << '\n';
      status = exit_failed;
    }
  }
  if (job.json) out << (separator == "[" ? "[" : "") << "\n]\n";
  out.flush();
  if (out) return status;
  err << "quel: standard output: cannot be written\n";
  return exit_failed;
}

}  // namespace quel::tools
