#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "tools/batch.h"

namespace quel::tools {

/// One input, one output, as run_files().
int run_one(const FileArguments& arguments, const FileWork& work, std::ostream& err);

/// In bytes; 0 for what is no regular file.
std::uint64_t size_of(const std::string& path);

}  // namespace quel::tools
