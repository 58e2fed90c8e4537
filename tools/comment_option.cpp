#include "tools/comment_option.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace quel::tools {

CLI::Option* add_comment_option(CLI::App& command, OggTags& tags) {
  const std::function<void(const std::vector<std::string>&)> take =
      [&tags](const std::vector<std::string>& comments) {
        try {
          for (const std::string& comment : comments) add_comment(tags, comment);
          pack_tags(tags);
        } catch (const std::invalid_argument& error) {
          throw CLI::ValidationError("--comment", error.what());
        }
      };
  return command
      .add_option_function("--comment", take,
                           "say something of the recording, TITLE=Tea for one; may be repeated")
      ->allow_extra_args(false)
      ->option_text("TAG=VALUE");
}

}  // namespace quel::tools
