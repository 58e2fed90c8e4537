#pragma once

#include <string_view>
#include <vector>

namespace quel::tools {

/// A command line that can be run as it stands, and what it is for.
struct ManExample {
  const char* purpose;
  const char* line;
};

/// What a manual page says beyond the declarations of the command's options: plain text, an empty
/// line between paragraphs.
struct ManText {
  const char* name;                   ///< of the command; "" for the page of the whole program
  std::vector<const char*> synopsis;  ///< what follows "quel NAME"; empty: from the declarations
  const char* description;
  const char* failure;             ///< when the exit status is 1
  std::vector<const char*> files;  ///< names that it makes beside its outputs, a paragraph each
  std::vector<ManExample> examples;
};

/// Null where nothing is written on the command.
const ManText* man_text(std::string_view command);

}  // namespace quel::tools
