#include "interface/unix_prop.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "bitstream/flavor.h"

namespace quel {
namespace {

constexpr const char* flavor_names_audioencoder[] = {
    "Veltrane 5.0 - 6.5 Kbps Voice",
    "Veltrane 5.0 - 8.5 Kbps Voice",
    "Veltrane 5.0 - 5 Kbps Voice",
    "Veltrane 5.0 - 16 Kbps Voice - Wideband",
};
constexpr const char* flavor_desc[] = {
    "Use for speech and speech with background music based video content\n"
    "over 28.8 Kbps modems.\n"
    "Frequency Response : 4 kHz.",
    "Use for speech and speech with background music based video content\n"
    "over 56.6 Kbps modems or ISDN connections.\n"
    "Frequency Response : 4 kHz.",
    "Use for speech or for video-based content with speech over 28.8 Kbps\n"
    "modems.\n"
    "Frequency Response : 4 kHz.",
    "Use this audio option for speech or speech with background music over\n"
    "28.8 Kbps modems or for video-based content with speech at higher bit rates.\n"
    "Frequency Response : 8 kHz.",
};

const char* text_of(std::uint16_t flavor, std::uint16_t id) {
  if (flavor >= flavor_count) return nullptr;
  switch (static_cast<Property>(id)) {
    case Property::long_name:
      return flavor_names_audioencoder[flavor];
    case Property::description:
    case Property::description_again:
      return flavor_desc[flavor];
    case Property::short_name:
    case Property::text_name:
      return flavors[flavor].title;
    default:
      return nullptr;
  }
}

}  // namespace

std::int32_t CUnixProp::_Imp_get_string(std::uint16_t flavor, std::uint16_t id, char* dst,
                                        std::int32_t maxLen) {
  const char* text = text_of(flavor, id);
  if (text == nullptr) return 0;
  const auto n = static_cast<std::int32_t>(std::strlen(text));
  const std::int32_t copied = n <= maxLen ? n + 1 : std::max(maxLen, 0);
  std::memcpy(dst, text, static_cast<std::size_t>(copied));
  return n;
}

}  // namespace quel
