#pragma once

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "tools/jobs.h"

namespace quel::tools {

/// Which files to work on, and how.
struct FileArguments {
  std::vector<std::string> files;  ///< input and output; with a folder for outputs, inputs
  std::string files_from;        ///< with a folder: list of further inputs, "-" for standard input
  bool null_terminated = false;  ///< each name in it ends with a zero byte, not with its line
  std::string output_dir;        ///< gets a tree as the inputs' one; empty: one input, one output
  std::string manifest;          ///< empty: quel-manifest.tsv in output_dir
  int jobs = 0;                  ///< threads; 0: as many as the machine has processors
  bool force = false;            ///< replace existing outputs
  bool quiet = false;            ///< no progress
};

/// What a command does with a file.
struct FileWork {
  /// Throws where it fails.
  std::function<JobResult(const std::string& input, OutputFile& output,
                          const std::string& output_name, const Meter& meter)>
      run;
  std::function<bool(const std::filesystem::path&)> takes;  ///< which files of a folder
  std::string extension;                                    ///< of outputs in a tree, ".quel"
  std::string settings;  ///< what outputs depend on beside the inputs, for the manifest

  /// Where an input has an output for each of its parts, counted from 1: how many parts it has, and
  /// what is done with one of them, or with all of them in one pass, each into the output that
  /// `open` gives. All three or none; they throw where they fail.
  std::function<int(const std::string& input)> parts;
  std::function<JobResult(const std::string& input, int part, OutputFile& output,
                          const Meter& meter)>
      run_part;
  std::function<JobResult(const std::string& input, const OpenPart& open, const Meter& meter)>
      run_parts;
};

/// "call.quel" -> "call.2.quel"
std::string part_name(const std::string& name, int part);

/// err  gets "quel: FILE: cause" for each failure
///
/// Returns the exit status: 1 where a file failed or was damaged; the others are finished.
int run_files(const FileArguments& arguments, const FileWork& work, std::ostream& err);

}  // namespace quel::tools
