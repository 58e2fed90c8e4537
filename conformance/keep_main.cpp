// Writes the files that every later version has to decode to the same sound, two of each flavor,
// and prints a line of conformance/kept.h for each. scripts/keep runs it, once for a bitstream
// number.
//   quel_keep FOLDER
#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <quelcodec/quelcodec.hpp>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "conformance/conformance.h"
#include "conformance/random.h"
#include "tools/frame_analyser.h"
#include "tools/ogg_decoder.h"
#include "tools/ogg_reader.h"
#include "tools/ogg_source.h"
#include "tools/ogg_writer.h"

namespace {

using namespace quel;
using Bytes = std::vector<std::uint8_t>;

// Three seconds of the conformance signal in which speech ends, silence, noise and tones follow.
std::vector<Bytes> sound_units(int flavor) {
  const auto rate = static_cast<std::size_t>(check(quel_sampling_rate(flavor)));
  const auto signal = conformance::conformance_signal(static_cast<int>(rate));
  const auto sound = std::span(signal).subspan(4 * rate, 3 * rate);
  Encoder encoder(flavor);
  const std::size_t samples = encoder.samples_per_unit();
  std::vector<Bytes> units;
  for (std::size_t at = 0; at + samples <= sound.size(); at += samples) {
    units.push_back(encoder.encode(sound.subspan(at, samples)));
  }
  return units;
}

// Every index walks through all its values in odd steps, the widest that chooses from a table in as
// many frames as there are. What has two values changes once, so that the other tables are walked
// through with either.
std::vector<Bytes> walk_units(int flavor) {
  const int frames = flavor == QUEL_FLAVOR_16K ? 512 : 256;
  const auto widths = tools::index_widths(flavor);
  std::vector<Bytes> units;
  std::vector<tools::FrameParameters> unit;
  for (int number = 0; number < frames; ++number) {
    tools::FrameParameters frame;
    int index = 0;
    for (const int width : widths) {
      const int step = width == 1 ? 0 : number * (2 * index + 1) + 37 * index;
      frame.indices.push_back(width == 1 ? 2 * number / frames : step % (1 << width));
      ++index;
    }
    unit.push_back(frame);
    if (static_cast<int>(unit.size()) < check(quel_frames_per_unit(flavor))) continue;
    units.push_back(tools::pack_unit(flavor, unit));
    unit.clear();
  }
  return units;
}

Bytes file_of(int flavor, const std::vector<Bytes>& units) {
  const auto rate = static_cast<std::uint32_t>(check(quel_sampling_rate(flavor)));
  const tools::OggHead head = tools::make_head(flavor, rate);
  Bytes file;
  const auto sink = [&file](auto page) { file.insert(file.end(), page.begin(), page.end()); };
  tools::OggWriter writer(sink, head, tools::make_tags());
  for (const Bytes& unit : units) writer.write(unit);
  const auto unit_samples = static_cast<std::size_t>(check(quel_samples_per_unit(flavor)));
  writer.finish(units.size() * unit_samples - head.pre_skip);
  return file;
}

std::uint64_t digest_of_sound(const Bytes& file) {
  tools::MemorySource source(file);
  tools::OggReader reader(source, "kept file");
  tools::OggDecoder decoder(reader);
  Bytes bytes;
  for (auto pcm = decoder.next(); !pcm.empty(); pcm = decoder.next()) {
    for (const std::int16_t sample : pcm) {
      bytes.push_back(static_cast<std::uint8_t>(sample & 0xff));
      bytes.push_back(static_cast<std::uint8_t>(sample >> 8 & 0xff));
    }
  }
  return conformance::digest(bytes.data(), bytes.size());
}

void keep(const std::string& folder, int flavor, const std::string& what,
          const std::vector<Bytes>& units) {
  const std::string name = "bitstream-" + std::to_string(quel_bitstream()) + "-flavor-" +
                           std::to_string(flavor) + "-" + what + ".quel";
  const Bytes bytes = file_of(flavor, units);
  std::ofstream file(folder + "/" + name, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error(folder + "/" + name + " cannot be written");
  std::printf("    {\"%s\", 0x%016" PRIx64 "},\n", name.c_str(), digest_of_sound(bytes));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: quel_keep FOLDER\n");
    return 2;
  }
  try {
    for (int flavor = 0; flavor < 4; ++flavor) {
      keep(argv[1], flavor, "sound", sound_units(flavor));
      keep(argv[1], flavor, "indices", walk_units(flavor));
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quel_keep: %s\n", error.what());
    return 1;
  }
  return 0;
}
