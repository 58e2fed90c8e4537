// Header and comment packets: any bytes are either refused with a message or come back as they
// were when they are packed again.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

#include "fuzz/fuzz_input.h"
#include "tools/file_error.h"
#include "tools/ogg_head.h"
#include "tools/ogg_tags.h"

namespace {

using namespace quel::tools;
using quel::fuzz::require;

// These two tell whether it is one.
bool try_head(std::span<const std::uint8_t> packet) {
  try {
    const OggHead head = unpack_head("f", packet);
    const auto again = pack_head(head);
    require(packet.size() >= again.size());
    // What a later version says beyond this one is not kept, and neither is its number.
    constexpr std::size_t version = 8, plain = 21;
    for (std::size_t i = 0; i < plain; ++i) require(i == version || again[i] == packet[i]);
    if (head.version == OggHead::ogg_plain_version) {
      require(std::equal(again.begin(), again.end(), packet.begin(), packet.end()));
    }
    require(!head.unsent || (packet[plain] & again[plain]) == again[plain]);
    require(head.unsent == (again.size() > plain));
    check_bitstream("f", head, "e");
    return true;
  } catch (const FileError& error) {
    require(error.what()[0] == 'f');
    return false;
  }
}

bool try_tags(std::span<const std::uint8_t> packet) {
  try {
    const OggTags tags = unpack_tags(packet);
    const auto again = pack_tags(tags);
    require(std::equal(again.begin(), again.end(), packet.begin(), packet.end()));
    const auto behaviour = behaviour_of(tags);
    require(!behaviour || (*behaviour >= 1 && *behaviour <= 65535));
    return true;
  } catch (const std::invalid_argument& error) {
    require(error.what()[0] != '\0');
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> packet(data, std::min(size, ogg_max_packet));
  const bool head = try_head(packet), tags = try_tags(packet);
  quel::fuzz::check_seed((head ? 1 : 0) + (tags ? 2 : 0));
  return 0;
}
