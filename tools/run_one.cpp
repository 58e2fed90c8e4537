#include "tools/run_one.h"

#include <exception>
#include <filesystem>
#include <memory>
#include <ostream>
#include <system_error>

#include "tools/command.h"
#include "tools/file_error.h"
#include "tools/output_file.h"
#include "tools/progress.h"

namespace quel::tools {

std::uint64_t size_of(const std::string& path) {
  std::error_code unknown;
  if (!std::filesystem::is_regular_file(path, unknown)) return 0;
  const std::uintmax_t size = std::filesystem::file_size(path, unknown);
  return unknown ? 0 : size;
}

std::string part_name(const std::string& name, int part) {
  const std::filesystem::path path(name);
  const std::string numbered =
      path.stem().string() + "." + std::to_string(part) + path.extension().string();
  return (path.parent_path() / numbered).string();
}

int run_one(const FileArguments& arguments, const FileWork& work, std::ostream& err) {
  const std::string& input = arguments.files.at(0);
  Progress progress(progress_stream(arguments.quiet), terminal_width());
  progress.plan({size_of(input)});
  progress.start(0, input);
  try {
    const std::string& name = arguments.files.at(1);
    const Meter meter = [&](double seconds, auto share) { progress.update(0, seconds, share); };
    JobResult result;
    if (work.run_parts) {
      const auto open = [&](int part) {
        return std::make_unique<OutputFile>(part_name(name, part), arguments.force, input);
      };
      result = work.run_parts(input, open, meter);
    } else {
      OutputFile output(name, arguments.force, input);
      result = work.run(input, output, name, meter);
    }
    progress.clear();
    for (const std::string& note : result.notes) {
      err << "quel: " << shown(input) << ": " << note << '\n';
    }
    return result.damaged ? exit_failed : exit_done;
  } catch (const std::exception& error) {
    progress.clear();
    err << "quel: " << message_of(error, input) << '\n';
    return exit_failed;
  }
}

}  // namespace quel::tools
