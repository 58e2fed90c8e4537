#include "tools/run_one.h"

#include <exception>
#include <filesystem>
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

int run_one(const FileArguments& arguments, const FileWork& work, std::ostream& err) {
  const std::string& input = arguments.files.at(0);
  Progress progress(progress_stream(arguments.quiet), terminal_width());
  progress.plan({size_of(input)});
  progress.start(0, input);
  try {
    OutputFile output(arguments.files.at(1), arguments.force, input);
    const JobResult result =
        work.run(input, output, arguments.files[1],
                 [&](double seconds, auto share) { progress.update(0, seconds, share); });
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
