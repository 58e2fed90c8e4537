#include "train/options.h"

#include <charconv>
#include <cstring>
#include <exception>
#include <iostream>
#include <vector>

namespace quel::train {
namespace {

template <typename T>
bool parse_number(const char* text, T& value) {
  const char* end = text + std::strlen(text);
  const auto result = std::from_chars(text, end, value);
  return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

std::string Options::command(const std::string& program) const {
  return program + " SPEECH_DIR OUT_DIR --seed " + std::to_string(seed) + " --every " +
         std::to_string(every);
}

Options parse_options(int argc, char** argv, Options given) {
  std::vector<std::string> folders;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const char* value = i + 1 < argc ? argv[i + 1] : "";
    if (word.rfind("--", 0) != 0) {
      folders.push_back(word);
      continue;
    }
    bool good = false;
    if (word == "--seed") good = parse_number(value, given.seed);
    if (word == "--every") good = parse_number(value, given.every) && given.every > 0;
    if (!good) {
      given.error = word + " " + value + ": not understood";
      return given;
    }
    ++i;
  }
  if (folders.size() != 2) {
    given.error = "two folders are needed";
    return given;
  }
  given.speech_dir = folders[0];
  given.out_dir = folders[1];
  return given;
}

int run_trainer(int argc, char** argv, const Options& defaults, void (*work)(const Options&)) {
  const Options options = parse_options(argc, argv, defaults);
  if (!options.error.empty()) {
    std::cerr << argv[0] << ": " << options.error << "\nusage: " << argv[0]
              << " SPEECH_DIR OUT_DIR [--seed N] [--every N]\n";
    return 2;
  }
  try {
    work(options);
  } catch (const std::exception& failure) {
    std::cerr << argv[0] << ": " << failure.what() << '\n';
    return 1;
  }
  return 0;
}

}  // namespace quel::train
