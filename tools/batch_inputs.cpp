#include "tools/batch_inputs.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <system_error>
#include <utility>

#include "tools/file_error.h"

namespace quel::tools {
namespace {

namespace fs = std::filesystem;

/// What one folder holds, not what its folders do.
struct Listing {
  std::vector<fs::path> files, folders;
  std::error_code error;
};

// The standard's recursive walk ends at the first folder that it cannot read.
Listing list(const fs::path& folder, const std::function<bool(const fs::path&)>& takes) {
  Listing found;
  std::error_code unknown;
  fs::directory_iterator at(folder, found.error);
  for (; !found.error && at != fs::directory_iterator(); at.increment(found.error)) {
    if (at->is_directory(unknown) && !at->is_symlink(unknown)) {
      found.folders.push_back(at->path());
    } else if (at->is_regular_file(unknown) && takes(at->path())) {
      found.files.push_back(at->path());
    }
  }
  return found;
}

}  // namespace

std::vector<BatchInput> batch_inputs(const std::vector<std::string>& names,
                                     const std::function<bool(const fs::path&)>& takes) {
  std::vector<BatchInput> inputs;
  for (const std::string& name : names) {
    std::error_code unknown;
    if (!fs::is_directory(name, unknown)) {
      inputs.push_back({name, fs::path(name).filename(), ""});
      continue;
    }
    std::vector<BatchInput> found;
    std::vector<fs::path> folders = {name};
    while (!folders.empty()) {
      const fs::path folder = std::exchange(folders.back(), {});
      folders.pop_back();
      const Listing listing = list(folder, takes);
      folders.insert(folders.end(), listing.folders.begin(), listing.folders.end());
      for (const fs::path& path : listing.files) {
        found.push_back({path, path.lexically_relative(name), ""});
      }
      if (listing.error) {
        found.push_back({folder, "", FileError(folder, listing.error.message()).what()});
      }
    }
    if (found.empty()) found.push_back({name, "", "no inputs in " + name});
    std::sort(found.begin(), found.end(),
              [](const BatchInput& a, const BatchInput& b) { return a.path < b.path; });
    std::move(found.begin(), found.end(), std::back_inserter(inputs));
  }
  return inputs;
}

std::vector<BatchInput> listed_inputs(const std::vector<std::string>& names,
                                      const std::function<bool(const fs::path&)>& takes) {
  std::vector<BatchInput> inputs;
  for (const std::string& name : names) {
    std::error_code unknown;
    if (fs::is_directory(name, unknown)) {
      for (BatchInput& input : batch_inputs({name}, takes)) inputs.push_back(std::move(input));
      continue;
    }
    fs::path relative;
    for (const fs::path& step : fs::path(name).lexically_normal().relative_path()) {
      if (step != "..") relative /= step;
    }
    inputs.push_back({name, relative, ""});
  }
  return inputs;
}

std::string lower_extension(const fs::path& path) {
  std::string extension = path.extension();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

}  // namespace quel::tools
