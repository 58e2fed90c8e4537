// The program quel in one process: a command line and file contents out of the input, in a folder
// that the arguments cannot name a way out of. It ends with a status it may have and a message
// where that is a failure, takes what it opened with it, leaves no part of an output, and does not
// touch its inputs.
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "tools/audio_source.h"
#include "tools/ogg_info.h"
#include "tools/ogg_source.h"
#include "tools/quel_main.h"

namespace {

namespace fs = std::filesystem;
using namespace quel::tools;
using quel::fuzz::require;

/// Longer sound is work, not trouble.
constexpr double longest_seconds = 1.0;
constexpr std::size_t most_arguments = 12;
constexpr std::size_t longest_argument = 100;
constexpr rlim_t largest_file = 1 << 20;

/// Parts the file called "a" from the one called "b".
constexpr std::string_view separator = "\n%%\n";

struct Case {
  std::vector<std::string> arguments;
  std::string a, b;
};

// The first line holds the arguments, parted by spaces, the rest the files.
Case parse(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::size_t line = std::min(text.find('\n'), size);
  Case result;
  std::string argument;
  for (const char c : text.substr(0, line)) {
    if (c == ' ') {
      result.arguments.push_back(argument);
      argument.clear();
    } else {
      argument += c == '\0' ? ' ' : c;
    }
  }
  result.arguments.push_back(argument);
  result.arguments.resize(std::min(result.arguments.size(), most_arguments));
  const std::string_view files = text.substr(std::min(line + 1, size));
  const std::size_t split = std::min(files.find(separator), files.size());
  result.a = files.substr(0, split);
  result.b = files.substr(std::min(split + separator.size(), files.size()));
  return result;
}

// One name in this folder or in its folder d, no list of many.
void tame(std::string& argument) {
  argument.resize(std::min(argument.size(), longest_argument));
  std::replace(argument.begin() + (argument.starts_with("d/") ? 2 : 0), argument.end(), '/', '_');
  for (std::size_t at; (at = argument.find("..")) != std::string::npos;) argument[at] = '_';
  constexpr std::ptrdiff_t most_commas = 2;
  while (std::count(argument.begin(), argument.end(), ',') > most_commas) {
    argument.erase(argument.rfind(','));
  }
}

bool mentions(const Case& c, std::string_view text) {
  return std::any_of(c.arguments.begin(), c.arguments.end(), [text](const std::string& argument) {
    return argument.find(text) != std::string::npos;
  });
}

void write_file(const std::string& name, std::string_view bytes) {
  std::ofstream(name, std::ios::binary)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string read_file(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

const char* const inputs[] = {"a",       "a.wav",    "a.quel",    "a.units",  "a.raw",
                              "d/c.wav", "d/c.quel", "d/c.units", "d/e/f.pcm"};

void fill_folder(const Case& c) {
  std::error_code gone;
  for (const auto& entry : fs::directory_iterator(".")) fs::remove_all(entry.path(), gone);
  fs::create_directories("d/e");
  write_file(inputs[0], c.a);
  for (const char* name : std::span(inputs).subspan(1)) fs::create_hard_link(inputs[0], name);
  write_file("b", c.b);
}

// Short inputs that stand for hours of sound: a file may say that a day of it was lost.
bool too_long(const Case& c) {
  const bool many = mentions(c, "eval");  // codes it once for each flavor and loss
  const double most = many ? longest_seconds / 4 : longest_seconds;
  for (const char* name : {"a", "b"}) {
    try {
      const AudioSource source(name, {});
      if (static_cast<double>(source.frames().value_or(0)) > most * source.rate()) return true;
    } catch (const std::exception&) {
    }
    try {
      FileSource source(name);
      OggReader reader(source, name);
      if (read_info(reader).seconds > most) return true;
    } catch (const std::exception&) {
    }
  }
  return false;
}

void redirect(int descriptor, const char* name, int flags) {
  const int file = open(name, flags | O_CLOEXEC, 0600);
  require(file >= 0 && dup2(file, descriptor) == descriptor);
  close(file);
}

// Standard input is file a, for every other length out of a pipe.
void feed_standard_input(const std::string& bytes) {
  __fpurge(stdin);
  clearerr(stdin);
  std::cin.clear();
  constexpr std::size_t pipe_holds = 60000;
  if (bytes.size() % 2 == 0 || bytes.size() > pipe_holds) {
    redirect(STDIN_FILENO, "a", O_RDONLY);
    return;
  }
  int ends[2];
  require(pipe(ends) == 0);
  require(write(ends[1], bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
  dup2(ends[0], STDIN_FILENO);
  close(ends[0]);
  close(ends[1]);
}

int lowest_free_descriptor() {
  const int descriptor = dup(STDIN_FILENO);
  close(descriptor);
  return descriptor;
}

struct Outcome {
  int status = 0;
  std::string out, err;
};

Outcome run(const std::vector<std::string>& arguments) {
  std::vector<const char*> argv = {"quel"};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  std::ostringstream out, err;
  Outcome outcome;
  outcome.status = run_quel(static_cast<int>(argv.size()) - 1, argv.data(), out, err);
  outcome.out = out.str();
  outcome.err = err.str();
  return outcome;
}

void check_folder(const Case& c) {
  const bool may_replace =
      mentions(c, "--manifest") ||
      std::any_of(c.arguments.begin(), c.arguments.end(), [](const std::string& argument) {
        const bool flags = argument.starts_with("-") && !argument.starts_with("--");
        return argument.starts_with("--force") ||
               (flags && argument.find('f') != std::string::npos);
      });
  if (!may_replace) require(read_file("a") == c.a && read_file("b") == c.b);
  if (mentions(c, "part")) return;
  for (const auto& entry : fs::recursive_directory_iterator(".")) {
    require(entry.path().extension() != ".part");
  }
}

// What a dump says comes back out of the file that is made of it.
void check_dump(const std::string& text) {
  write_file("t", text);
  const Outcome made = run({"mux", "--from-dump", "-f", "t", "u"});
  if (made.status != 0) {
    // Lost frames have nothing to write; nothing else is in the way.
    require(!made.err.empty() && text.find(" lost\n") != std::string::npos);
    return;
  }
  const Outcome again = run({"dump", "u"});
  require(again.status == 0);
  const auto indices = [](const std::string& dump) {
    std::istringstream lines(dump);
    std::string out;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("indices") || line.starts_with("frame")) out += line + "\n";
    }
    return out;
  };
  require(indices(again.out) == indices(text));
}

void run_case(const Case& c) {
  fill_folder(c);
  if (too_long(c)) {
    quel::fuzz::check_seed(-1);
    return;
  }
  feed_standard_input(c.a);
  __fpurge(stdout);
  redirect(STDOUT_FILENO, "o", O_RDWR | O_CREAT | O_TRUNC);
  std::rewind(stdout);
  const int descriptor = lowest_free_descriptor();
  const Outcome outcome = run(c.arguments);
  std::fflush(stdout);
  quel::fuzz::check_seed(outcome.status);
  require(outcome.status >= 0 && outcome.status <= 2);
  const bool generated = c.arguments[0] == "--man" || c.arguments[0] == "--completions";
  if (outcome.status != 0 && !generated) require(!outcome.err.empty());
  require(lowest_free_descriptor() == descriptor);
  check_folder(c);
  const bool dump = c.arguments[0] == "dump" && !mentions(c, "--json") && !mentions(c, "-h") &&
                    !mentions(c, "-V") && !mentions(c, "--v");
  if (dump && outcome.status == 0) check_dump(outcome.out);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The fuzzer's own files are named from here and may be longer.
  static const int home = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  static const std::string folder = [] {
    std::string name = (fs::temp_directory_path() / "quel-fuzz-XXXXXX").string();
    require(mkdtemp(name.data()) != nullptr);
    return name;
  }();
  Case c = parse(data, size);
  std::for_each(c.arguments.begin(), c.arguments.end(), tame);
  if (mentions(c, "selftest") && !mentions(c, "-h"))
    return 0;                                               // takes seconds, whatever comes with it
  if (mentions(c, "play") && !mentions(c, "-h")) return 0;  // takes as long as the sound
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{largest_file, before.rlim_max};
  require(chdir(folder.c_str()) == 0 && setrlimit(RLIMIT_FSIZE, &small) == 0);
  run_case(c);
  require(fchdir(home) == 0 && setrlimit(RLIMIT_FSIZE, &before) == 0);
  return 0;
}
