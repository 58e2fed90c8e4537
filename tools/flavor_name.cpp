#include "tools/flavor_name.h"

#include <quelcodec/quelcodec.hpp>

namespace quel::tools {

std::string flavor_name(int flavor) {
  const quel_flavor* info = quel_flavor_info(flavor);
  if (info == nullptr) throw Error(QUEL_ERROR_FLAVOR);
  std::string name = info->name;  // its rate in kbit/s
  const std::size_t point = name.find('.');
  if (point == std::string::npos) return name + 'k';
  name[point] = 'k';
  return name;
}

}  // namespace quel::tools
