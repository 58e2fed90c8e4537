#include "tools/mux.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <stdexcept>

#include "tools/dump.h"
#include "tools/file_error.h"
#include "tools/ogg_reader.h"
#include "tools/ogg_report.h"
#include "tools/ogg_source.h"
#include "tools/ogg_writer.h"
#include "tools/output_file.h"

namespace quel::tools {
namespace {

void mux_dump(const MuxJob& job, OutputFile& output) {
  std::ifstream file;
  if (job.input != "-") {
    if (std::filesystem::is_directory(job.input)) throw FileError(job.input, std::strerror(EISDIR));
    file.open(job.input, std::ios::binary);
    if (!file) throw FileError(job.input, std::strerror(errno));
  }
  const DumpedFile dump = parse_dump(job.input == "-" ? std::cin : file, job.input);
  const FileFrame& frame = dump.frame;
  OggWriterOptions options;
  options.serial = frame.serial;
  options.packet_units = frame.packet_units;
  options.page_packets = frame.page_packets;
  OggWriter writer([&](auto page) { output.write(page); }, frame.head, frame.tags, options);
  for (const auto& unit : dump.units) writer.write(unit);
  writer.finish(frame.samples);
}

// Appends units as they come, and counts them.
std::uint64_t copy_units(FileSource& source, const std::string& input, int flavor,
                         OggWriter& writer) {
  const auto unit_bytes = static_cast<std::size_t>(check(quel_bytes_per_unit(flavor)));
  std::vector<std::uint8_t> buffer(4096 * unit_bytes);
  std::size_t filled = 0;
  std::uint64_t units = 0;
  while (const std::size_t count = source.read(std::span(buffer).subspan(filled))) {
    filled += count;
    std::size_t used = 0;
    for (; filled - used >= unit_bytes; used += unit_bytes, ++units) {
      writer.write(std::span(buffer).subspan(used, unit_bytes));
    }
    std::copy(buffer.begin() + static_cast<std::ptrdiff_t>(used),
              buffer.begin() + static_cast<std::ptrdiff_t>(filled), buffer.begin());
    filled -= used;
  }
  if (filled > 0) {
    throw FileError(input, std::to_string(units * unit_bytes + filled) +
                               " bytes are no whole number of units of " +
                               std::to_string(unit_bytes) + " bytes");
  }
  return units;
}

void mux_units(const MuxJob& job, OutputFile& output) {
  const int flavor = job.flavor.value();
  const OggHead head = make_head(flavor, job.input_rate);
  OggWriterOptions options;
  options.packet_ms = job.packet_ms;
  options.page_ms = job.page_ms;
  FileSource source(job.input);
  OggWriter writer([&](auto page) { output.write(page); }, head, job.tags, options);
  const std::uint64_t units = copy_units(source, job.input, flavor, writer);
  const auto unit_samples = static_cast<std::uint64_t>(check(quel_samples_per_unit(flavor)));
  const std::uint64_t most = units * unit_samples - (units > 0 ? head.pre_skip : 0u);
  const std::uint64_t samples = job.samples.value_or(most);
  if (unit_count(head, samples) != units) {
    throw FileError(job.input, "has " + std::to_string(units) + " units; " +
                                   std::to_string(samples) + " samples and the delay take " +
                                   std::to_string(unit_count(head, samples)));
  }
  writer.finish(samples);
}

}  // namespace

void run_mux(const MuxJob& job) {
  OutputFile output(job.output, job.force, job.input);
  try {
    if (job.from_dump) {
      mux_dump(job, output);
    } else {
      mux_units(job, output);
    }
  } catch (const std::invalid_argument& error) {
    throw FileError(job.input, error.what());
  }
  output.commit();
}

bool run_demux(const DemuxJob& job, std::ostream& log) {
  FileSource source(job.input);
  OggReader reader(source, shown(job.input));
  if (reader.head().unsent) {
    throw FileError(shown(job.input),
                    "may lack units that were not sent, for which bare units have no place");
  }
  OutputFile output(job.output, job.force, job.input);
  const std::vector<std::uint8_t> zeros(
      static_cast<std::size_t>(check(quel_bytes_per_unit(reader.head().flavor))));
  for (OggEvent event = reader.next(); event.kind != OggEvent::Kind::end; event = reader.next()) {
    if (event.kind == OggEvent::Kind::units) output.write(event.bytes);
    if (event.kind == OggEvent::Kind::lost) {
      for (std::uint64_t u = 0; u < event.units; ++u) output.write(zeros);
    }
  }
  // What follows the stream, so far as nobody has to wait for it.
  if (reader.seekable()) reader.drain();
  output.commit();
  const OggReport report = reader.report();
  for (const std::string& note : content_notes(report)) {
    log << "quel: " << shown(job.input) << ": " << note << '\n';
  }
  return !report.damaged();
}

}  // namespace quel::tools
