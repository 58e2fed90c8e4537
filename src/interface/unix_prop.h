#pragma once

#include <cstdint>

#include "interface/property.h"

namespace quel {

/// The property object whose texts are compiled in.
class CUnixProp : public CProp {
 public:
  void _Imp_init() override {}
  std::int32_t _Imp_get_string(std::uint16_t flavor, std::uint16_t id, char* dst,
                               std::int32_t maxLen) override;
};

}  // namespace quel
