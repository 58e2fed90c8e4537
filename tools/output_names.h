#pragma once

#include <filesystem>
#include <string>

namespace quel::tools {

/// Whether a name says that the file holds sound, of any kind that there is.
bool is_sound_name(const std::filesystem::path& path);

/// Why a name does not suit an output of coded speech: it says that it holds something else. Empty
/// where it does.
std::string refuse_coded_name(const std::string& name);

/// The same of an output of sound, WAV, FLAC or bare samples.
std::string refuse_sound_name(const std::string& name);

}  // namespace quel::tools
