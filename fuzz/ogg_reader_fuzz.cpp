// Files of any bytes, and sound files with changes: reading ends, nothing is read out of place, the
// accounts agree, a seek gives what reading on gives, and decoding keeps the length.
#include <ogg/ogg.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "tools/file_error.h"
#include "tools/ogg_decoder.h"
#include "tools/ogg_info.h"
#include "tools/ogg_reader.h"
#include "tools/ogg_writer.h"

namespace {

using namespace quel::tools;
using quel::fuzz::FuzzInput;
using quel::fuzz::require;
using Bytes = std::vector<std::uint8_t>;
using Kind = OggEvent::Kind;

// Gives a few bytes at a time, as a pipe may.
class Trickle : public MemorySource {
 public:
  using MemorySource::MemorySource;
  std::size_t read(std::span<std::uint8_t> bytes) override {
    return MemorySource::read(bytes.first(std::min<std::size_t>(bytes.size(), 7)));
  }
  bool seekable() const override { return false; }
};

// A sound file whose units tell their own number.
Bytes written_file(FuzzInput& input, bool& numbered) {
  const int flavor = input.range(0, 3);
  const auto unit_bytes = static_cast<std::size_t>(quel_bytes_per_unit(flavor));
  OggWriterOptions options;
  options.packet_ms = input.range(1, 300);
  options.page_ms = input.range(1, 1000);
  OggHead head = make_head(flavor, 8000);
  head.pre_skip = static_cast<std::uint16_t>(head.pre_skip + input.range(0, 3000));
  const auto samples = static_cast<std::uint64_t>(input.range(0, 3000));
  Bytes file;
  OggWriter writer([&file](auto page) { file.insert(file.end(), page.begin(), page.end()); }, head,
                   make_tags(), options);
  for (std::uint64_t i = 0; i < unit_count(head, samples); ++i) {
    Bytes unit(unit_bytes, static_cast<std::uint8_t>(i * 37));
    unit[0] = static_cast<std::uint8_t>(i);
    unit[1] = static_cast<std::uint8_t>(i >> 8);
    writer.write(unit);
  }
  writer.finish(samples);
  numbered = true;
  return file;
}

void change(FuzzInput& input, Bytes& file) {
  while (!input.empty() && !file.empty() && file.size() < 20000) {
    const auto at = static_cast<std::size_t>(input.range(0, static_cast<int>(file.size()) - 1));
    const auto from = file.begin() + static_cast<std::ptrdiff_t>(at);
    const auto length = std::min<std::size_t>(input.byte(), file.size() - at);
    switch (input.step() % 4) {
      case 0:
        file[at] ^= input.byte();
        break;
      case 1:
        file.erase(from, from + static_cast<std::ptrdiff_t>(length));
        break;
      case 2: {
        const Bytes copy(from, from + static_cast<std::ptrdiff_t>(length));
        file.insert(from, copy.begin(), copy.end());
        break;
      }
      default: {
        const Bytes noise = input.bytes(8);
        std::copy_n(noise.begin(), std::min(noise.size(), file.size() - at), from);
      }
    }
  }
}

// Rights the checksum of everything that has a page's shape.
void seal(Bytes& file) {
  for (std::size_t at = 0; at + 27 <= file.size(); ++at) {
    if (std::memcmp(file.data() + at, "OggS", 4) != 0) continue;
    const std::size_t segments = file[at + 26];
    if (at + 27 + segments > file.size()) continue;
    std::size_t body = 0;
    for (std::size_t i = 0; i < segments; ++i) body += file[at + 27 + i];
    if (at + 27 + segments + body > file.size()) continue;
    ogg_page page{file.data() + at, static_cast<long>(27 + segments),
                  file.data() + at + 27 + segments, static_cast<long>(body)};
    ogg_page_checksum_set(&page);
  }
}

struct Outcome {
  std::uint64_t position = 0;
  OggReport report;
  /// First unit and bytes of each run received.
  std::vector<std::pair<std::uint64_t, Bytes>> runs;
};

Outcome read_on(OggReader& reader, std::size_t file_bytes, std::uint64_t position, bool numbered) {
  const auto unit_bytes = static_cast<std::size_t>(quel_bytes_per_unit(reader.head().flavor));
  Outcome outcome;
  for (std::size_t events = 0;; ++events) {
    require(events <= file_bytes);
    const OggEvent event = reader.next();
    if (event.kind == Kind::end) break;
    require(event.units > 0);
    if (event.kind == Kind::units) {
      require(event.bytes.size() == event.units * unit_bytes);
      for (std::size_t i = 0; numbered && i < event.units; ++i) {
        const std::uint64_t number =
            event.bytes[i * unit_bytes] + event.bytes[i * unit_bytes + 1] * 256u;
        require(number == position + i);
      }
      outcome.runs.emplace_back(position, Bytes(event.bytes.begin(), event.bytes.end()));
    }
    position += event.units;
    require(reader.position() == position);
  }
  require(reader.next().kind == Kind::end);
  outcome.position = position;
  reader.drain();
  outcome.report = reader.report();
  return outcome;
}

void check_accounts(const Outcome& outcome, const OggHead& head, std::size_t file_bytes) {
  const OggReport& report = outcome.report;
  const auto unit_bytes = static_cast<std::uint64_t>(quel_bytes_per_unit(head.flavor));
  const auto hour = 3600 * static_cast<std::uint64_t>(quel_sampling_rate(head.flavor)) /
                    static_cast<std::uint64_t>(quel_samples_per_unit(head.flavor));
  require(report.bytes == file_bytes);
  require(report.skipped_bytes <= file_bytes);
  require(report.units * unit_bytes <= file_bytes);
  require(report.units + report.lost_units == outcome.position);
  // An hour on the word of one page, a day where two agree.
  require(report.lost_units <= 25 * hour + file_bytes / unit_bytes);
  require(report.holes <= report.lost_units);
}

void check_seek(const Bytes& file, const Outcome& whole, std::uint64_t sample, bool numbered) {
  MemorySource source(file);
  OggReader reader(source, "f");
  const std::uint64_t unit = reader.seek(sample);
  require(unit <= whole.position);
  const Outcome rest = read_on(reader, file.size(), unit, numbered);
  require(rest.position == whole.position);
  require(rest.report.lost_units == whole.report.lost_units);
  const auto unit_bytes = static_cast<std::size_t>(quel_bytes_per_unit(reader.head().flavor));
  // The runs end alike; the first may have lost its start.
  require(rest.runs.size() <= whole.runs.size());
  for (std::size_t i = 0; i < rest.runs.size(); ++i) {
    const auto& [start, bytes] = rest.runs[rest.runs.size() - 1 - i];
    const auto& [whole_start, whole_bytes] = whole.runs[whole.runs.size() - 1 - i];
    require(start == std::max(whole_start, unit) && bytes.size() <= whole_bytes.size());
    require(start * unit_bytes + bytes.size() == whole_start * unit_bytes + whole_bytes.size());
    require(std::equal(bytes.rbegin(), bytes.rend(), whole_bytes.rbegin()));
  }
}

void check_decoder(const Bytes& file, OggConcealment concealment, std::uint64_t lose_one_in) {
  // Concealed time takes as long as received time, and a file may claim a day of it.
  constexpr std::uint64_t enough = 2400;
  MemorySource source(file);
  OggReader reader(source, "f");
  OggDecodeOptions options;
  options.concealment = concealment;
  std::uint64_t count = 0;
  options.lose = [&] { return lose_one_in > 0 && ++count % lose_one_in == 0; };
  OggDecoder decoder(reader, options);
  while (decoder.samples() < enough && !decoder.next().empty()) continue;
  if (decoder.samples() >= enough) return;
  MemorySource again(file);
  OggReader second(again, "f");
  require(decoder.samples() == read_info(second).samples);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const auto mode = input.byte();
  const auto sample = static_cast<std::uint64_t>(input.range(0, 10000));
  const auto concealment = static_cast<OggConcealment>(input.range(0, 2));
  const auto lose_one_in = static_cast<std::uint64_t>(input.range(0, 9));
  const bool sealed = (mode & 1) != 0;
  bool numbered = false;
  Bytes file;
  if ((mode & 6) != 0) {
    file = written_file(input, numbered);
    change(input, file);
  } else {
    file = input.rest();
  }
  if (sealed) seal(file);
  // Pages that were cut out or put in whole still stand where they say; other sealed changes lie.
  numbered = numbered && !sealed;
  bool readable = false;
  try {
    MemorySource source(file);
    OggReader reader(source, "f");
    const Outcome whole = read_on(reader, file.size(), 0, numbered);
    check_accounts(whole, reader.head(), file.size());
    readable = true;
    Trickle trickle(file);
    OggReader slow(trickle, "f");
    const Outcome same = read_on(slow, file.size(), 0, numbered);
    require(same.runs == whole.runs && same.position == whole.position);
    require(same.report.skipped_bytes == whole.report.skipped_bytes);
    require(same.report.misplaced_pages == whole.report.misplaced_pages);
    check_seek(file, whole, sample, numbered);
    // Decoding takes most of the time, so not every input gets there.
    if ((mode & 0x78) == 0) check_decoder(file, concealment, lose_one_in);
  } catch (const FileError& error) {
    require(!readable);
    require(error.what()[0] == 'f');
  }
  if ((mode & 6) != 0) {
    quel::fuzz::check_seed(input);
  } else {
    quel::fuzz::check_seed(readable ? 1 : 0);
  }
  return 0;
}
