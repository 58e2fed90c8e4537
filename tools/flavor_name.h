#pragma once

#include <string>

namespace quel::tools {

/// What a flavor is called: "5k", "6k5", "8k5" or "16k". Throws Error where there is no such
/// flavor.
std::string flavor_name(int flavor);

}  // namespace quel::tools
