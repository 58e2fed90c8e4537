#include "tools/ogg_head.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <quelcodec/quelcodec.hpp>

#include "tools/bytes.h"
#include "tools/file_error.h"
#include "tools/text.h"
#include "tools/version.h"

namespace quel::tools {
namespace {

constexpr std::array<std::uint8_t, 8> magic = {'Q', 'u', 'e', 'l', 'H', 'e', 'a', 'd'};
constexpr std::size_t head_bytes = 21, newest_head_bytes = 22;
constexpr std::uint8_t flag_unsent = 1;
constexpr int major_version = OggHead::ogg_newest_version >> 4;
constexpr std::uint8_t channels = 1;
constexpr std::uint32_t lowest_rate = 1000, highest_rate = 1000000;

std::string decibels(std::uint64_t gain) {
  const int q8 = static_cast<std::int16_t>(gain);
  const int hundredths = std::abs(q8) * 100 / 256;
  const std::string fraction = std::to_string(100 + hundredths % 100).substr(1);
  return std::string(q8 < 0 ? "-" : "") + std::to_string(hundredths / 100) + "." + fraction + " dB";
}

void check_version(const std::string& name, std::uint8_t version) {
  const int major = version >> 4;
  if (major > major_version) {
    throw FileError(name, "its format is version " + std::to_string(major) + "." +
                              std::to_string(version & 15) +
                              "; this program reads version 1, a newer one is needed");
  }
  if (major < major_version) {
    throw FileError(name, "its format is version " + std::to_string(major) + "." +
                              std::to_string(version & 15) + ", which never was");
  }
}

// A newer minor version may add fields behind ours.
void check_size(const std::string& name, std::span<const std::uint8_t> packet) {
  const std::uint8_t version =
      packet.size() > magic.size() ? packet[magic.size()] : OggHead::ogg_plain_version;
  const std::size_t due = version == OggHead::ogg_plain_version ? head_bytes : newest_head_bytes;
  const bool newer = version > OggHead::ogg_newest_version;
  if (packet.size() == due || (newer && packet.size() > due)) return;
  throw FileError(name, "its header has " + std::to_string(packet.size()) + " bytes instead of " +
                            std::to_string(due));
}

}  // namespace

OggHead make_head(int flavor, std::uint32_t input_rate) {
  OggHead head;
  head.flavor = flavor;
  head.input_rate = input_rate;
  head.pre_skip = static_cast<std::uint16_t>(check(quel_delay(flavor)));
  return head;
}

std::vector<std::uint8_t> pack_head(const OggHead& head) {
  std::vector<std::uint8_t> packet(magic.begin(), magic.end());
  packet.push_back(head.unsent ? OggHead::ogg_newest_version : OggHead::ogg_plain_version);
  packet.push_back(channels);
  append_little_endian(packet, head.bitstream, 2);
  append_little_endian(packet, head.input_rate, 4);
  append_little_endian(packet, head.pre_skip, 2);
  append_little_endian(packet, 0, 2);  // gain
  packet.push_back(static_cast<std::uint8_t>(head.flavor));
  if (head.unsent) packet.push_back(flag_unsent);
  return packet;
}

bool looks_like_head(std::span<const std::uint8_t> packet) {
  return packet.size() >= magic.size() && std::equal(magic.begin(), magic.end(), packet.begin());
}

OggHead unpack_head(const std::string& name, std::span<const std::uint8_t> packet) {
  if (!looks_like_head(packet)) throw FileError(name, "its first packet is no quel header");
  if (packet.size() > magic.size()) check_version(name, packet[8]);
  check_size(name, packet);
  OggHead head;
  head.version = packet[8];
  head.bitstream = static_cast<std::uint16_t>(little_endian(packet.subspan(10, 2)));
  // What looks wrong may have come with a later bitstream, and then that is the cause to name.
  const auto refuse = [&](const std::string& cause) {
    check_bitstream(name, head, "");
    throw FileError(name, cause);
  };
  if (packet[9] != channels) {
    refuse("it has " + std::to_string(packet[9]) + " channels; there can be only 1");
  }
  head.input_rate = static_cast<std::uint32_t>(little_endian(packet.subspan(12, 4)));
  if (head.input_rate != 0 && (head.input_rate < lowest_rate || head.input_rate > highest_rate)) {
    refuse("its source's rate of " + std::to_string(head.input_rate) +
           " Hz is not one of 1000 to 1000000");
  }
  head.flavor = packet[20];
  if (quel_delay(head.flavor) < 0) {
    refuse("its flavor " + std::to_string(head.flavor) + " is not one of 0 to 3");
  }
  head.pre_skip = static_cast<std::uint16_t>(little_endian(packet.subspan(16, 2)));
  if (head.pre_skip < quel_delay(head.flavor)) {
    refuse("it skips " + std::to_string(head.pre_skip) +
           " samples at its start, which is less than its flavor's delay of " +
           std::to_string(quel_delay(head.flavor)));
  }
  if (const std::uint64_t gain = little_endian(packet.subspan(18, 2)); gain != 0) {
    refuse("it asks for a gain of " + decibels(gain) + "; there can be none");
  }
  head.unsent = packet.size() > head_bytes && (packet[21] & flag_unsent) != 0;
  return head;
}

void check_bitstream(const std::string& name, const OggHead& head, const std::string& encoder) {
  if (head.bitstream == quel_bitstream()) return;
  if (head.bitstream == 0) throw FileError(name, "its bitstream is number 0, which never was");
  std::string cause = "its sound is coded in bitstream " + std::to_string(head.bitstream) +
                      " and this program, quelcodec " + version_text() + ", reads bitstream " +
                      std::to_string(quel_bitstream());
  if (head.bitstream == 1) {
    cause += "; quelcodec 0.1.0 is the version that reads it";
  } else {
    cause += "; a newer one is needed";
    if (!encoder.empty()) cause += ", such as the one that wrote it: " + printable(encoder);
  }
  throw FileError(name, cause);
}

}  // namespace quel::tools
