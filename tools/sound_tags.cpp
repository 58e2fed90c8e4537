#include "tools/sound_tags.h"

#include <sndfile.h>

#include <algorithm>
#include <array>

#include "tools/bytes.h"
#include "tools/text.h"

namespace quel::tools {
namespace {

constexpr std::array<SoundTagKind, 9> kinds = {{{"TITLE", SF_STR_TITLE, "INAM"},
                                                {"ARTIST", SF_STR_ARTIST, "IART"},
                                                {"ALBUM", SF_STR_ALBUM, "IPRD"},
                                                {"DATE", SF_STR_DATE, "ICRD"},
                                                {"TRACKNUMBER", SF_STR_TRACKNUMBER, "ITRK"},
                                                {"GENRE", SF_STR_GENRE, "IGNR"},
                                                {"COMMENT", SF_STR_COMMENT, "ICMT"},
                                                {"COPYRIGHT", SF_STR_COPYRIGHT, "ICOP"},
                                                {"LICENSE", SF_STR_LICENSE, nullptr}}};

void append_text(std::vector<std::uint8_t>& bytes, std::string_view text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
}

std::string_view text_of(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

std::span<const SoundTagKind> sound_tag_kinds() {
  return kinds;
}

SoundTags known_tags(const SoundTags& comments) {
  SoundTags known;
  for (const SoundTagKind& kind : kinds) {
    const auto told = std::find_if(comments.begin(), comments.end(), [&](const auto& comment) {
      return same_name(comment.first, kind.name);
    });
    if (told != comments.end()) known.emplace_back(kind.name, told->second);
  }
  return known;
}

std::string unicode_text(std::string_view text) {
  if (is_utf8(text)) return std::string(text);
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x80) out += static_cast<char>(0xc0u | byte >> 6);
    out += static_cast<char>(byte < 0x80 ? byte : 0x80u | (byte & 0x3fu));
  }
  return out;
}

std::vector<std::uint8_t> info_chunk(const SoundTags& tags) {
  constexpr std::size_t head = 8;  // "LIST" and the length, put in at the end
  std::vector<std::uint8_t> chunk(head);
  append_text(chunk, "INFO");
  const std::size_t empty = chunk.size();
  for (const auto& [name, value] : tags) {
    const auto kind =
        std::find_if(kinds.begin(), kinds.end(),
                     [&tag = name](const SoundTagKind& each) { return tag == each.name; });
    if (kind == kinds.end() || kind->info == nullptr) continue;
    append_text(chunk, kind->info);
    append_little_endian(chunk, value.size() + 1, 4);
    append_text(chunk, value);
    chunk.resize(chunk.size() + (value.size() % 2 == 0 ? 2 : 1));  // a zero, to an even length
  }
  if (chunk.size() == empty) return {};
  std::vector<std::uint8_t> start;
  append_text(start, "LIST");
  append_little_endian(start, chunk.size() - head, 4);
  std::copy(start.begin(), start.end(), chunk.begin());
  return chunk;
}

void read_info(std::span<const std::uint8_t> body, SoundTags& tags) {
  if (body.size() < 4 || text_of(body.first(4)) != "INFO") return;
  body = body.subspan(4);
  while (body.size() >= 8) {
    const std::string_view id = text_of(body.first(4));
    const std::uint64_t size = little_endian(body.subspan(4, 4));
    body = body.subspan(8);
    if (size > body.size()) return;
    const std::string_view padded = text_of(body.first(static_cast<std::size_t>(size)));
    const std::string_view value = padded.substr(0, padded.find('\0'));
    for (const SoundTagKind& kind : kinds) {
      if (kind.info != nullptr && id == kind.info && !value.empty()) {
        tags.emplace_back(kind.name, unicode_text(value));
      }
    }
    body = body.subspan(std::min(body.size(), static_cast<std::size_t>(size + size % 2)));
  }
}

}  // namespace quel::tools
