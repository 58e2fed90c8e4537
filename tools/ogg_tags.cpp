#include "tools/ogg_tags.h"

#include <quelcodec/quelcodec.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <string_view>

#include "tools/bytes.h"
#include "tools/text.h"
#include "tools/version.h"

namespace quel::tools {
namespace {

constexpr std::array<std::uint8_t, 8> magic = {'Q', 'u', 'e', 'l', 'T', 'a', 'g', 's'};

[[noreturn]] void refuse(const std::string& cause) {
  throw std::invalid_argument(cause);
}

void check_comment(const std::string& name, const std::string& value) {
  if (name.empty()) refuse("a comment has no name");
  const auto allowed = [](char c) { return c >= 0x20 && c <= 0x7d && c != '='; };
  if (!std::all_of(name.begin(), name.end(), allowed)) {
    refuse("a comment's name has other characters than ASCII's from space to }");
  }
  if (!is_utf8(value)) refuse("the comment " + name + " is not UTF-8");
}

void split_comment(OggTags& tags, const std::string& comment) {
  const std::size_t equals = comment.find('=');
  if (equals == std::string::npos) refuse("a comment is not of the form NAME=value");
  const std::string name = comment.substr(0, equals), value = comment.substr(equals + 1);
  check_comment(name, value);
  tags.comments.emplace_back(name, value);
}

void append_text(std::vector<std::uint8_t>& packet, std::string_view text) {
  if (text.size() > ogg_max_packet) refuse("a comment is longer than a page holds");
  append_little_endian(packet, text.size(), 4);
  packet.insert(packet.end(), text.begin(), text.end());
}

// Takes a packet apart from its start.
class Cursor {
 public:
  explicit Cursor(std::span<const std::uint8_t> rest) : rest_(rest) {}

  std::uint64_t number(const char* what) {
    if (rest_.size() < 4) refuse(std::string("the comments end within ") + what);
    const std::uint64_t value = little_endian(rest_.first(4));
    rest_ = rest_.subspan(4);
    return value;
  }

  std::string text(const char* what) {
    const std::uint64_t length = number(what);
    if (length > rest_.size()) {
      refuse(std::string("the length of ") + what + " is more than the comments hold");
    }
    const auto bytes = rest_.first(static_cast<std::size_t>(length));
    rest_ = rest_.subspan(bytes.size());
    return {bytes.begin(), bytes.end()};
  }

  std::size_t left() const { return rest_.size(); }

 private:
  std::span<const std::uint8_t> rest_;
};

}  // namespace

OggTags make_tags() {
  OggTags tags = make_tags_of_foreign_units();
  tags.comments.emplace_back(behaviour_comment, std::to_string(quel_behaviour()));
  return tags;
}

OggTags make_tags_of_foreign_units() {
  return {"quelcodec " + version_text(), {}};
}

bool names_behaviour(std::string_view name) {
  return same_name(name, behaviour_comment);
}

std::optional<int> behaviour_of(const OggTags& tags) {
  const auto told =
      std::find_if(tags.comments.begin(), tags.comments.end(),
                   [](const auto& comment) { return names_behaviour(comment.first); });
  if (told == tags.comments.end()) return std::nullopt;
  const std::string& text = told->second;
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = error == std::errc{} && end == text.data() + text.size();
  if (!whole || number < 1 || number > 65535) return std::nullopt;
  return number;
}

void add_comment(OggTags& tags, const std::string& comment) {
  split_comment(tags, comment);
}

std::vector<std::uint8_t> pack_tags(const OggTags& tags) {
  if (!is_utf8(tags.encoder)) refuse("the encoder's name is not UTF-8");
  std::vector<std::uint8_t> packet(magic.begin(), magic.end());
  append_text(packet, tags.encoder);
  append_little_endian(packet, tags.comments.size(), 4);
  for (const auto& [name, value] : tags.comments) {
    check_comment(name, value);
    append_text(packet, name + "=" + value);
    if (packet.size() > ogg_max_packet) break;
  }
  if (packet.size() > ogg_max_packet) {
    refuse("the comments take more than " + std::to_string(ogg_max_packet) + " bytes");
  }
  return packet;
}

bool looks_like_tags(std::span<const std::uint8_t> packet) {
  return packet.size() >= magic.size() && std::equal(magic.begin(), magic.end(), packet.begin());
}

OggTags unpack_tags(std::span<const std::uint8_t> packet) {
  if (!looks_like_tags(packet)) refuse("the second packet holds no comments");
  Cursor cursor(packet.subspan(magic.size()));
  OggTags tags;
  tags.encoder = cursor.text("the encoder's name");
  if (!is_utf8(tags.encoder)) refuse("the encoder's name is not UTF-8");
  const std::uint64_t count = cursor.number("their count");
  for (std::uint64_t i = 0; i < count; ++i) split_comment(tags, cursor.text("a comment"));
  if (cursor.left() != 0) refuse("bytes follow the last comment");
  return tags;
}

}  // namespace quel::tools
