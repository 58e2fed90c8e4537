#include "train/report.h"

#include <cstdio>
#include <utility>

#include "train/table_file.h"

namespace quel::train {

std::vector<Recording> read_folders(const std::string& speech_dir,
                                    const std::vector<std::string>& folders, int rate, int every) {
  std::vector<Recording> all;
  int n = 0;
  for (const auto& folder : folders) {
    for (auto& recording : read_folder(speech_dir, folder, rate)) {
      if (n++ % every == 0) all.push_back(std::move(recording));
    }
  }
  return all;
}

std::string describe(const DistortionCount& count) {
  char text[120];
  std::snprintf(text, sizeof text, "mean %.3f dB, 2-4 dB %.2f %%, > 4 dB %.3f %% (%ld frames).",
                count.mean(), count.percent2(), count.percent4(), count.frames);
  return text;
}

std::string describe(const GainDistortion& distortion) {
  char text[120];
  std::snprintf(text, sizeof text,
                "%.2f %% of the energy lost, %.2f %% subframe by subframe (%ld subframes).",
                100.0 * distortion.lost, 100.0 * distortion.lost_apiece, distortion.samples);
  return text;
}

std::string describe_size(const std::vector<Recording>& recordings, int rate, std::size_t frames) {
  char text[80];
  std::snprintf(text, sizeof text, "%.2f hours, %zu frames", hours(recordings, rate), frames);
  return text;
}

std::function<void(int done, double loss)> print_progress(const std::string& title) {
  return [title, sum = 0.0](int done, double loss) mutable {
    constexpr int every = 100;
    sum += loss;
    if (done % every != 0) return;
    std::printf("%s: step %d, loss %.4f\n", title.c_str(), done, sum / every);
    std::fflush(stdout);
    sum = 0.0;
  };
}

void write_codebooks(const std::string& out_dir, const SpectrumQuantizer& q,
                     const std::string& suffix, int digits,
                     const std::vector<std::string>& comment) {
  for (std::size_t k = 0; k < q.books.size(); ++k) {
    const Codebook& book = q.books[k];
    TableFile file;
    file.name = "dico" + std::to_string(k + 1) + suffix;
    file.comment = comment;
    file.width = book.width;
    file.digits = digits;
    file.values = book.table;
    write_table(out_dir, file);
  }
}

}  // namespace quel::train
