#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace quel::tools {

/// A file of many, or a folder of which nothing came.
struct BatchInput {
  std::filesystem::path path;
  std::filesystem::path relative;  ///< to the folder in which it was found
  std::string failure;             ///< a whole message; empty for a file
};

/// The files that arguments name, and those of folders.
///
/// names  files and folders; a folder's files come sorted, links to folders in it are not followed
/// takes  which files of a folder; one that is named is taken whatever it is
///
/// A folder that cannot be read is a failure and ends nothing, so is one without files to take.
std::vector<BatchInput> batch_inputs(
    const std::vector<std::string>& names,
    const std::function<bool(const std::filesystem::path&)>& takes);

/// The same for names out of a list: a file's place is the name itself, without its root and
/// without what leads out of the current folder, so that equal names in two folders do not meet.
std::vector<BatchInput> listed_inputs(
    const std::vector<std::string>& names,
    const std::function<bool(const std::filesystem::path&)>& takes);

/// ".WAV" -> ".wav"
std::string lower_extension(const std::filesystem::path& path);

}  // namespace quel::tools
