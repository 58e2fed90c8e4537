#include "tools/comment_option.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace quel::tools {
namespace {

// What tells the encoder's behaviour is no matter of taste.
void check_behaviours(const OggTags& tags) {
  const auto count = std::count_if(tags.comments.begin(), tags.comments.end(),
                                   [](const auto& c) { return names_behaviour(c.first); });
  if (count < 2) return;
  throw std::invalid_argument("the comment " + std::string(behaviour_comment) +
                              " is there already and can be only once");
}

}  // namespace

CLI::Option* add_comment_option(CLI::App& command, OggTags& tags) {
  const std::function<void(const std::vector<std::string>&)> take =
      [&tags](const std::vector<std::string>& comments) {
        try {
          for (const std::string& comment : comments) add_comment(tags, comment);
          check_behaviours(tags);
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
