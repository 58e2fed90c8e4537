#pragma once

#include <string>
#include <vector>

namespace quel::tools {

/// The names that a list holds, in its order; empty ones are left out.
///
/// list             file with the names, "-" for standard input
/// null_terminated  whether a zero byte ends each, and not a line's end: names may hold anything
/// then
///
/// Throws FileError where the list cannot be read, holds no names or names standard input.
std::vector<std::string> read_file_list(const std::string& list, bool null_terminated);

}  // namespace quel::tools
