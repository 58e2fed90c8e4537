#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "tools/audio_file.h"
#include "tools/quality.h"

namespace {

using quel::Concealment;
using quel::tools::DecodeOptions;
using quel::tools::Summary;
using quel::tools::Trial;

/// Files as given; of a folder, the sounds directly in it, by name.
std::vector<std::string> expand(const std::vector<std::string>& names) {
  namespace fs = std::filesystem;
  std::vector<std::string> files;
  for (const std::string& name : names) {
    if (!fs::is_directory(name)) {
      files.push_back(name);
      continue;
    }
    std::vector<std::string> inside;
    for (const fs::directory_entry& entry : fs::directory_iterator(name)) {
      const std::string extension = entry.path().extension();
      if (extension == ".wav" || extension == ".flac") inside.push_back(entry.path());
    }
    std::sort(inside.begin(), inside.end());
    files.insert(files.end(), inside.begin(), inside.end());
  }
  return files;
}

void print_line(int flavor, const std::string& name, const Summary& summary) {
  std::printf("%6d  %-32s %8.1f %8.0f", flavor, name.c_str(), summary.total().coded_seconds,
              summary.bit_rate());
  if (summary.files() > 0) {
    std::printf(" %8.2f %8.2f", summary.snr(), summary.segmental());
  } else {
    std::printf(" %8s %8s", "-", "-");
  }
  std::printf(" %8.0f %8.0f", summary.encode_speed(), summary.decode_speed());
  std::printf(" %11s\n",
              (std::to_string(summary.total().lost) + "/" + std::to_string(summary.total().frames))
                  .c_str());
}

void report(const std::vector<std::string>& files, int flavor, int effort,
            const DecodeOptions& options, bool only_mean) {
  Summary all;
  for (const std::string& file : files) {
    const auto pcm = quel::tools::read_audio(file, quel::check(quel_sampling_rate(flavor)));
    if (pcm.empty()) continue;
    const Trial trial = quel::tools::try_codec(flavor, effort, pcm, options);
    all.add(trial);
    if (only_mean) continue;
    Summary single;
    single.add(trial);
    print_line(flavor, std::filesystem::path(file).filename(), single);
  }
  if (all.total().frames > 0) {
    print_line(flavor, "mean of " + std::to_string(all.files()) + " files", all);
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Quality and speed of the codec on recordings"};
  app.name("quel_report");
  std::vector<std::string> names;
  std::vector<int> flavors = {0, 1, 2, 3};
  int effort = 0;
  bool only_mean = false, no_header = false;
  DecodeOptions options;
  const std::map<std::string, Concealment> concealments = {{"immediate", Concealment::immediate},
                                                           {"deferred", Concealment::deferred}};
  app.add_option("files", names, "audio files, or folders of .wav and .flac")->required();
  app.add_option("--flavor", flavors, "flavors to try, by default all")
      ->check(CLI::Range(0, 3))
      ->delimiter(',');
  app.add_option("--effort", effort, "of the encoder")
      ->check(CLI::Range(0, QUEL_MAX_EFFORT))
      ->capture_default_str();
  app.add_option("--loss", options.loss_percent, "percentage of the frames to lose")
      ->check(CLI::Range(0.0, 100.0));
  app.add_option("--seed", options.seed, "of the losses")->capture_default_str();
  app.add_option("--conceal", options.concealment, "immediate or deferred")
      ->transform(CLI::Transformer(concealments))
      ->option_text("immediate|deferred");
  app.add_flag("--enhance", options.enhance, "let the decoder's postfilter enhance speech");
  app.add_flag("--mean", only_mean, "only the means over the files");
  app.add_flag("--no-header", no_header, "no line of column names");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  try {
    const std::vector<std::string> files = expand(names);
    if (!no_header) {
      std::printf("%6s  %-32s %8s %8s %8s %8s %8s %8s %11s\n", "flavor", "file", "seconds", "bit/s",
                  "SNR dB", "seg. dB", "enc. x", "dec. x", "lost");
    }
    for (const int flavor : flavors) report(files, flavor, effort, options, only_mean);
  } catch (const std::exception& error) {
    std::cerr << "quel_report: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
