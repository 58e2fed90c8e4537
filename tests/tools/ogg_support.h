#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <quelcodec/quelcodec.hpp>
#include <string>
#include <vector>

#include "support/signals.h"
#include "tools/file_error.h"
#include "tools/ogg_decoder.h"
#include "tools/ogg_reader.h"
#include "tools/ogg_writer.h"

namespace quel::test {

using Bytes = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

/// Packets of 60 ms and pages of 180 ms, so that short files have many.
inline tools::OggWriterOptions small_pages() {
  tools::OggWriterOptions options;
  options.packet_ms = 60;
  options.page_ms = 180;
  return options;
}

/// n coded units of speech_like.
inline std::vector<Bytes> coded_units(int flavor, std::uint64_t n, std::uint64_t seed = 1) {
  Encoder encoder(flavor);
  const int samples = quel_samples_per_unit(flavor);
  const Pcm pcm = speech_like_pcm(static_cast<int>(n) * samples, seed, quel_sampling_rate(flavor));
  std::vector<Bytes> units;
  for (auto from = pcm.begin(); from != pcm.end(); from += samples) {
    units.push_back(encoder.encode(Pcm(from, from + samples)));
  }
  return units;
}

/// The file of a source of so many samples that the first of `units` code.
inline Bytes ogg_file(int flavor, const std::vector<Bytes>& units, std::uint64_t samples,
                      const tools::OggWriterOptions& options = small_pages(),
                      const tools::OggTags& tags = tools::make_tags()) {
  Bytes file;
  const auto sink = [&file](auto page) { file.insert(file.end(), page.begin(), page.end()); };
  const tools::OggHead head = tools::make_head(flavor, 44100);
  tools::OggWriter writer(sink, head, tags, options);
  for (std::uint64_t i = 0; i < tools::unit_count(head, samples); ++i) writer.write(units.at(i));
  writer.finish(samples);
  return file;
}

/// Most samples of a source that n units hold.
inline std::uint64_t samples_of(int flavor, std::uint64_t n) {
  return n * static_cast<std::uint64_t>(quel_samples_per_unit(flavor)) -
         static_cast<std::uint64_t>(quel_delay(flavor));
}

/// What a plain stream makes of units, those marked lost concealed at once; the delay is cut off.
inline Pcm plain_decode(int flavor, const std::vector<Bytes>& units,
                        const std::vector<bool>& lost = {}) {
  Decoder decoder(flavor);
  Pcm pcm;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const bool gone = i < lost.size() && lost[i];
    const Pcm heard = gone ? decoder.conceal() : decoder.decode(units[i]);
    pcm.insert(pcm.end(), heard.begin(), heard.end());
  }
  pcm.erase(pcm.begin(), pcm.begin() + quel_delay(flavor));
  return pcm;
}

inline Pcm take_all(tools::OggDecoder& decoder) {
  Pcm pcm;
  for (auto chunk = decoder.next(); !chunk.empty(); chunk = decoder.next()) {
    pcm.insert(pcm.end(), chunk.begin(), chunk.end());
  }
  return pcm;
}

inline Pcm ogg_decode(const Bytes& file, const tools::OggDecodeOptions& options = {}) {
  tools::MemorySource source(file);
  tools::OggReader reader(source, "f");
  tools::OggDecoder decoder(reader, options);
  return take_all(decoder);
}

/// The message with which a file is refused; empty where it is not.
inline std::string refusal(const Bytes& file) {
  try {
    tools::MemorySource source(file);
    tools::OggReader reader(source, "f");
  } catch (const tools::FileError& error) {
    return error.what();
  }
  return "";
}

/// Where a page lies in a file.
struct PageSpan {
  std::size_t start = 0;
  std::size_t size = 0;
  std::size_t end() const { return start + size; }
};

/// The pages of a sound file, from their lengths alone.
inline std::vector<PageSpan> page_spans(const Bytes& file) {
  std::vector<PageSpan> pages;
  for (std::size_t at = 0; at < file.size(); at = pages.back().end()) {
    const std::size_t segments = file.at(at + 26);
    std::size_t size = 27 + segments;
    for (std::size_t i = 0; i < segments; ++i) size += file.at(at + 27 + i);
    pages.push_back({at, size});
  }
  return pages;
}

/// The checksum that a page should have: polynomial 0x04c11db7, bit by bit, its own field zero.
inline std::uint32_t page_checksum(const Bytes& file, const PageSpan& page) {
  std::uint32_t crc = 0;
  for (std::size_t i = 0; i < page.size; ++i) {
    const bool own = i >= 22 && i < 26;
    crc ^= static_cast<std::uint32_t>(own ? 0 : file[page.start + i]) << 24;
    for (int bit = 0; bit < 8; ++bit) {
      crc = (crc << 1) ^ ((crc & 0x80000000u) != 0 ? 0x04c11db7u : 0u);
    }
  }
  return crc;
}

inline void put_number(Bytes& file, std::size_t at, std::uint64_t value, std::size_t bytes) {
  for (std::size_t i = 0; i < bytes; ++i)
    file.at(at + i) = static_cast<std::uint8_t>(value >> 8 * i);
}

inline std::uint64_t get_number(const Bytes& file, std::size_t at, std::size_t bytes) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < bytes; ++i) {
    value |= static_cast<std::uint64_t>(file.at(at + i)) << 8 * i;
  }
  return value;
}

/// Makes a page that was changed by hand sound again.
inline void seal(Bytes& file, const PageSpan& page) {
  put_number(file, page.start + 22, page_checksum(file, page), 4);
}

inline std::uint64_t granule_of(const Bytes& file, const PageSpan& page) {
  return get_number(file, page.start + 6, 8);
}
inline void set_granule(Bytes& file, const PageSpan& page, std::uint64_t granule) {
  put_number(file, page.start + 6, granule, 8);
  seal(file, page);
}
inline void set_serial(Bytes& file, std::uint32_t serial) {
  for (const PageSpan& page : page_spans(file)) {
    put_number(file, page.start + 14, serial, 4);
    seal(file, page);
  }
}

/// A page of whole packets of fewer than 255 bytes each.
///
/// flags  1 continued, 2 first, 4 last
inline Bytes make_page(std::uint32_t serial, std::uint32_t number, std::uint64_t granule, int flags,
                       const std::vector<Bytes>& packets) {
  Bytes page = {'O', 'g', 'g', 'S', 0, static_cast<std::uint8_t>(flags)};
  page.resize(27);
  put_number(page, 6, granule, 8);
  put_number(page, 14, serial, 4);
  put_number(page, 18, number, 4);
  page[26] = static_cast<std::uint8_t>(packets.size());
  for (const Bytes& packet : packets) page.push_back(static_cast<std::uint8_t>(packet.size()));
  for (const Bytes& packet : packets) page.insert(page.end(), packet.begin(), packet.end());
  seal(page, {0, page.size()});
  return page;
}

inline Bytes joined(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

inline Bytes without(const Bytes& file, const PageSpan& page) {
  Bytes rest = file;
  const auto from = rest.begin() + static_cast<std::ptrdiff_t>(page.start);
  rest.erase(from, from + static_cast<std::ptrdiff_t>(page.size));
  return rest;
}

}  // namespace quel::test
