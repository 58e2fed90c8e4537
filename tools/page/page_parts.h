#pragma once

#include <string_view>

namespace quel::tools {

/// tools/page/page.css, the style of every page of this project.
extern const std::string_view page_style;

/// tools/page/page.js, which switches between the sounds of a section at one position.
extern const std::string_view page_script;

}  // namespace quel::tools
