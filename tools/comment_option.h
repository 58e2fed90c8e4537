#pragma once

#include "tools/ogg_tags.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace quel::tools {

/// Declares --comment TAG=VALUE, which parsing adds to `tags`; these live as long as `command`.
/// What is no comment or too much for a file is wrong use, and so is a second comment that tells
/// the behaviour.
CLI::Option* add_comment_option(CLI::App& command, OggTags& tags);

}  // namespace quel::tools
