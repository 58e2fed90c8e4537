#include "tools/dump.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <ostream>
#include <quelcodec/quelcodec.hpp>

#include "tools/eval_text.h"
#include "tools/file_error.h"
#include "tools/frame_analyser.h"
#include "tools/ogg_info.h"
#include "tools/ogg_pages.h"
#include "tools/ogg_reader.h"

namespace quel::tools {
namespace {

// The first packet tells how the writer fills packets. Pages that are full before they have all
// their packets may end with one more where the last packet is short, so the fullest page counts.
void read_layout(std::span<const std::uint8_t> file, FileFrame& frame) {
  const auto unit_bytes = static_cast<std::size_t>(check(quel_bytes_per_unit(frame.head.flavor)));
  MemorySource source(file);
  OggPages pages(source);
  OggPage page;
  bool found = false;
  frame.page_packets = 0;
  while (pages.next(page)) {
    if (!found) {
      found = page.first && page.packets.size() == 1 && looks_like_head(page.packets[0]);
      frame.serial = page.serial;
      continue;
    }
    if (page.serial != frame.serial || page.packets.empty()) continue;
    if (looks_like_tags(page.packets[0])) continue;
    if (frame.page_packets == 0) frame.packet_units = page.packets[0].size() / unit_bytes;
    frame.page_packets = std::max<std::uint64_t>(frame.page_packets, page.packets.size());
    if (page.last) break;
  }
  frame.packet_units = std::max<std::uint64_t>(1, frame.packet_units);
  frame.page_packets = std::max<std::uint64_t>(1, frame.page_packets);
}

OggInfo info_of(std::span<const std::uint8_t> file, const std::string& name) {
  MemorySource source(file);
  OggReader reader(source, name);
  if (reader.head().unsent) {
    throw FileError(name, "may lack units that were not sent, for which a dump has no place");
  }
  return read_info(reader);
}

FileFrame frame_of(std::span<const std::uint8_t> file, const OggInfo& info) {
  FileFrame frame;
  frame.head = info.head;
  frame.tags = info.tags;
  frame.samples = info.samples;
  read_layout(file, frame);
  return frame;
}

// Gives every frame of a file in turn.
void read_frames(std::span<const std::uint8_t> file, const std::string& name,
                 const std::function<void(const FrameParameters&)>& take) {
  MemorySource source(file);
  OggReader reader(source, name);
  const int flavor = reader.head().flavor;
  const auto unit_bytes = static_cast<std::size_t>(check(quel_bytes_per_unit(flavor)));
  FrameAnalyser analyser(flavor);
  for (OggEvent event = reader.next(); event.kind != OggEvent::Kind::end; event = reader.next()) {
    for (std::uint64_t u = 0; u < event.units; ++u) {
      const auto unit =
          event.kind == OggEvent::Kind::lost
              ? std::span<const std::uint8_t>{}
              : event.bytes.subspan(static_cast<std::size_t>(u) * unit_bytes, unit_bytes);
      for (const FrameParameters& frame : analyser.next(unit)) take(frame);
    }
  }
}

double lag_of(const SubframeParameters& subframe) {
  return subframe.lag + subframe.lag_thirds / 3.0;
}

// A line has no room for line ends, and a comment may hold them.
std::string one_line(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\\\";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\r') {
      out += "\\r";
    } else {
      out += c;
    }
  }
  return out;
}

void write_text(std::span<const std::uint8_t> file, const std::string& name, const FileFrame& frame,
                std::ostream& out) {
  out << "quel-dump 1\n"
      << "flavor " << frame.head.flavor << '\n'
      << "bitstream " << frame.head.bitstream << '\n'
      << "input-rate " << frame.head.input_rate << '\n'
      << "pre-skip " << frame.head.pre_skip << '\n'
      << "samples " << frame.samples << '\n'
      << "serial " << frame.serial << '\n'
      << "packet-units " << frame.packet_units << '\n'
      << "page-packets " << frame.page_packets << '\n'
      << "encoder " << one_line(frame.tags.encoder) << '\n';
  for (const auto& [key, value] : frame.tags.comments) {
    out << "comment " << one_line(key) << '=' << one_line(value) << '\n';
  }
  std::uint64_t number = 0;
  read_frames(file, name, [&](const FrameParameters& parameters) {
    out << "frame " << number++ << (parameters.lost ? " lost" : "") << '\n';
    if (parameters.lost) return;
    out << "indices";
    for (const std::int32_t index : parameters.indices) out << ' ' << index;
    out << "\nfrequencies";
    for (const float hz : parameters.frequencies) out << ' ' << fixed(hz, 2);
    out << '\n';
    for (const SubframeParameters& subframe : parameters.subframes) {
      out << "subframe lag " << fixed(lag_of(subframe), 2) << " pitch-gain "
          << fixed(subframe.pitch_gain, 4) << " code-gain " << fixed(subframe.code_gain, 3)
          << " pulses";
      for (const Pulse& pulse : subframe.pulses) {
        out << ' ' << (pulse.amplitude < 0 ? '-' : '+');
        if (std::abs(pulse.amplitude) != 1) out << std::abs(pulse.amplitude) << '*';
        out << pulse.position;
      }
      out << '\n';
    }
  });
}

// "[a,b,c]"
template <typename Values, typename Print>
std::string json_list(const Values& values, Print print) {
  std::string out = "[";
  for (const auto& value : values) {
    if (out.size() > 1) out += ',';
    out += print(value);
  }
  return out + "]";
}

std::string json_frame(const FrameParameters& parameters) {
  const auto pulse = [](const Pulse& p) {
    return std::string("[") + std::to_string(p.position) + "," + std::to_string(p.amplitude) + "]";
  };
  const auto subframe = [&](const SubframeParameters& s) {
    return "{\"lag\":" + fixed(lag_of(s), 4) + ",\"pitch_gain\":" + shortest(s.pitch_gain) +
           ",\"code_gain\":" + shortest(s.code_gain) + ",\"pulses\":" + json_list(s.pulses, pulse) +
           "}";
  };
  return "\"indices\":" +
         json_list(parameters.indices, [](std::int32_t index) { return std::to_string(index); }) +
         ",\"frequencies\":" +
         json_list(parameters.frequencies, [](float hz) { return fixed(hz, 3); }) +
         ",\"subframes\":" + json_list(parameters.subframes, subframe);
}

void write_json(std::span<const std::uint8_t> file, const std::string& name, const FileFrame& frame,
                std::ostream& out) {
  const double rate = check(quel_sampling_rate(frame.head.flavor));
  const auto comment = [](const auto& c) {
    return "{\"name\":" + json_string(c.first) + ",\"value\":" + json_string(c.second) + "}";
  };
  const std::optional<int> behaviour = behaviour_of(frame.tags);
  out << "{\"quel_dump\":1,\"flavor\":" << frame.head.flavor
      << ",\"bitstream\":" << frame.head.bitstream
      << ",\"behaviour\":" << (behaviour ? std::to_string(*behaviour) : "null")
      << ",\"rate\":" << shortest(rate) << ",\"input_rate\":" << frame.head.input_rate
      << ",\"pre_skip\":" << frame.head.pre_skip << ",\"samples\":" << frame.samples
      << ",\"serial\":" << frame.serial << ",\"packet_units\":" << frame.packet_units
      << ",\"page_packets\":" << frame.page_packets
      << ",\"encoder\":" << json_string(frame.tags.encoder)
      << ",\"comments\":" << json_list(frame.tags.comments, comment) << ",\n\"frames\":[";
  const double length = check(quel_samples_per_frame(frame.head.flavor));
  double start = -static_cast<double>(frame.head.pre_skip);
  const char* separator = "\n";
  read_frames(file, name, [&](const FrameParameters& parameters) {
    out << separator << "{\"time\":" << fixed(start / rate, 4) << ','
        << (parameters.lost ? std::string("\"lost\":true") : json_frame(parameters)) << '}';
    start += length;
    separator = ",\n";
  });
  out << "\n]}\n";
}

}  // namespace

OggReport write_dump(std::span<const std::uint8_t> file, const std::string& name, bool json,
                     std::ostream& out) {
  const OggInfo info = info_of(file, name);
  (json ? write_json : write_text)(file, name, frame_of(file, info), out);
  return info.report;
}

}  // namespace quel::tools
