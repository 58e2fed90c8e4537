#include "tools/output_names.h"

#include <set>

#include "tools/batch_inputs.h"

namespace quel::tools {
namespace {

const std::set<std::string> sounds = {".wav",  ".flac", ".ogg", ".oga",  ".opus", ".aif", ".aiff",
                                      ".aifc", ".au",   ".snd", ".rf64", ".w64",  ".caf", ".mp3",
                                      ".wve",  ".voc",  ".sph", ".nist", ".bwf"};
/// What nobody here reads or writes.
const std::set<std::string> others = {".aac", ".amr", ".awb", ".m4a",  ".mka", ".mp2",
                                      ".mp4", ".ra",  ".spx", ".webm", ".wma", ".wv"};

bool is_bare(const std::string& extension) {
  return extension == ".raw" || extension == ".pcm";
}

}  // namespace

bool is_sound_name(const std::filesystem::path& path) {
  return sounds.contains(lower_extension(path));
}

std::string refuse_coded_name(const std::string& name) {
  const std::string extension = lower_extension(name);
  if (!sounds.contains(extension) && !others.contains(extension) && !is_bare(extension)) return "";
  return name +
         " is the name of a sound file, and what is written is coded: name it .quel, or say "
         "--format quel";
}

std::string refuse_sound_name(const std::string& name) {
  const std::string extension = lower_extension(name);
  if (extension == ".quel" || extension == ".units") {
    return name +
           " is the name of a coded file, and what is written is sound: name it .wav, .flac, "
           ".raw or .pcm, or say --format";
  }
  if (extension == ".wav" || extension == ".flac" || extension == ".bwf") return "";
  if (!sounds.contains(extension) && !others.contains(extension)) return "";
  return name +
         ": no such file is written here: name it .wav, .flac, .raw or .pcm, or say --format";
}

}  // namespace quel::tools
