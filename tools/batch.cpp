#include "tools/batch.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <map>
#include <ostream>
#include <set>
#include <system_error>
#include <thread>
#include <tuple>
#include <utility>

#include "tools/batch_manifest.h"
#include "tools/command.h"
#include "tools/file_error.h"
#include "tools/output_file.h"
#include "tools/progress.h"
#include "tools/sha256.h"

namespace quel::tools {
namespace {

namespace fs = std::filesystem;

/// One file of many.
struct Task {
  std::string input;
  std::string output;  ///< relative to the output folder
};

std::uint64_t size_of(const std::string& path) {
  std::error_code unknown;
  if (!fs::is_regular_file(path, unknown)) return 0;
  const std::uintmax_t size = fs::file_size(path, unknown);
  return unknown ? 0 : size;
}

std::string join(const std::vector<std::string>& notes) {
  std::string text;
  for (const std::string& note : notes) text += (text.empty() ? "" : "; ") + note;
  return text;
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
    err << "quel: " << error.what() << '\n';
    return exit_failed;
  }
}

class Batch {
 public:
  Batch(const FileArguments& arguments, const FileWork& work)
      : arguments_(arguments),
        work_(work),
        manifest_(arguments.manifest.empty()
                      ? (fs::path(arguments.output_dir) / "quel-manifest.tsv").string()
                      : arguments.manifest),
        progress_(progress_stream(arguments.quiet), terminal_width()) {}

  int run(std::ostream& err);

 private:
  void find_tasks();
  void add_task(const fs::path& input, const fs::path& relative);
  void read_old_rows();
  void work_through();
  ManifestRow do_task(std::size_t index);
  bool done_before(const Task& task, const std::string& target, ManifestRow& row) const;
  void write_manifest();
  int report(std::ostream& err) const;

  const FileArguments& arguments_;
  const FileWork& work_;
  std::string manifest_;
  Progress progress_;
  std::vector<Task> tasks_;
  std::set<std::string> inputs_;
  std::map<std::string, std::string> owners_;  // output -> input
  std::map<std::string, ManifestRow> old_;     // by output
  std::vector<ManifestRow> rows_;              // by task
  std::vector<ManifestRow> refused_;           // no task came of these
  std::atomic<std::size_t> next_ = 0;
  Journal journal_;
};

int Batch::run(std::ostream& err) {
  bool worked = false;
  std::string failure;
  try {
    fs::create_directories(arguments_.output_dir);
    read_old_rows();
    find_tasks();
    journal_.open(manifest_ + ".journal");
    rows_.resize(tasks_.size());
    std::vector<std::uint64_t> sizes;
    for (const Task& task : tasks_) sizes.push_back(size_of(task.input));
    progress_.plan(sizes);
    work_through();
    worked = true;
    write_manifest();
  } catch (const fs::filesystem_error& error) {
    failure = FileError(error.path1().string(), error.code().message()).what();
  } catch (const std::exception& error) {
    failure = error.what();
  }
  progress_.clear();
  const int status = worked ? report(err) : exit_failed;
  if (failure.empty()) return status;
  err << "quel: " << failure << '\n';
  return exit_failed;
}

void Batch::find_tasks() {
  for (const std::string& name : arguments_.files) {
    std::error_code unknown;
    if (!fs::is_directory(name, unknown)) {
      add_task(name, fs::path(name).filename());
      continue;
    }
    std::vector<fs::path> found;
    for (const auto& entry : fs::recursive_directory_iterator(name)) {
      if (entry.is_regular_file(unknown) && work_.takes(entry.path()))
        found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    for (const fs::path& path : found) add_task(path, path.lexically_relative(name));
  }
}

void Batch::add_task(const fs::path& input, const fs::path& relative) {
  if (!inputs_.insert(input.string()).second) return;
  fs::path output = relative;
  output.replace_extension(work_.extension);
  const auto [owner, is_new] = owners_.emplace(output.string(), input.string());
  if (is_new) {
    tasks_.push_back({input.string(), output.string()});
    return;
  }
  ManifestRow row;
  row.input = input.string();
  row.status = "failed";
  row.message = row.input + ": would be written to " + output.string() + ", as " + owner->second;
  refused_.push_back(row);
}

void Batch::read_old_rows() {
  for (ManifestRow& row : read_manifest(manifest_)) old_[row.output] = row;
  for (ManifestRow& row : read_journal(manifest_ + ".journal")) old_[row.output] = row;
  old_.erase("");
}

void Batch::work_through() {
  const auto worker = [this] {
    for (std::size_t i; (i = next_++) < tasks_.size();) rows_[i] = do_task(i);
  };
  const unsigned processors = std::max(1u, std::thread::hardware_concurrency());
  const std::size_t wanted =
      arguments_.jobs > 0 ? static_cast<std::size_t>(arguments_.jobs) : processors;
  std::vector<std::thread> threads;
  for (std::size_t i = 1; i < std::min(wanted, tasks_.size()); ++i) threads.emplace_back(worker);
  worker();
  for (std::thread& thread : threads) thread.join();
}

ManifestRow Batch::do_task(std::size_t index) {
  const Task& task = tasks_[index];
  const std::string target = (fs::path(arguments_.output_dir) / task.output).string();
  progress_.start(index, task.input);
  ManifestRow row;
  row.input = task.input;
  row.output = task.output;
  row.settings = work_.settings;
  try {
    if (done_before(task, target, row)) {
      progress_.finish(index);
      return row;
    }
    std::error_code exists;
    fs::create_directories(fs::path(target).parent_path(), exists);
    OutputFile output(target, arguments_.force, task.input);
    output.hold_back();
    const FileDigest source = digest_file(task.input);
    row.input_bytes = source.bytes;
    row.input_sha256 = source.sha256;
    const JobResult result = work_.run(task.input, output, target, [&](double seconds, auto share) {
      progress_.update(index, seconds, share);
    });
    const FileDigest made = digest_file(output.part());
    row.output_bytes = made.bytes;
    row.output_sha256 = made.sha256;
    row.samples = result.samples;
    row.status = result.damaged ? "damaged" : "done";
    if (result.damaged) row.message = task.input + ": " + join(result.notes);
    // First the journal: a run that is killed in between does the file again, whereas a file that
    // the journal did not know would be somebody else's.
    journal_.write(row);
    output.release();
    progress_.finish(index);
    return row;
  } catch (const std::exception& error) {
    row.status = "failed";
    row.message = error.what();
    row.output_bytes = 0;
    row.output_sha256.clear();
  }
  try {
    journal_.write(row);
  } catch (const std::exception&) {
    // Nothing is lost: the next run would try the file again all the same.
  }
  progress_.finish(index);
  return row;
}

bool Batch::done_before(const Task& task, const std::string& target, ManifestRow& row) const {
  const auto old = old_.find(task.output);
  if (arguments_.force || old == old_.end()) return false;
  const ManifestRow& was = old->second;
  if (was.output_sha256.empty() || was.settings != work_.settings) return false;
  // Sizes first: digests read the whole files.
  if (size_of(task.input) != was.input_bytes || size_of(target) != was.output_bytes) return false;
  if (!fs::exists(target)) return false;
  if (digest_file(task.input).sha256 != was.input_sha256) return false;
  if (digest_file(target).sha256 != was.output_sha256) return false;
  row = was;
  row.input = task.input;
  return true;
}

void Batch::write_manifest() {
  for (const ManifestRow& row : rows_) old_[row.output] = row;
  std::vector<ManifestRow> all = refused_;
  for (const auto& [output, row] : old_) all.push_back(row);
  std::sort(all.begin(), all.end(), [](const ManifestRow& a, const ManifestRow& b) {
    return std::tie(a.output, a.input) < std::tie(b.output, b.input);
  });
  const std::string text = manifest_text(manifest_, all);
  OutputFile file(manifest_, /*force=*/true, "");
  file.write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  file.commit();
  journal_.remove();
}

int Batch::report(std::ostream& err) const {
  std::vector<std::string> messages;
  for (const auto* rows : {&rows_, &refused_}) {
    for (const ManifestRow& row : *rows) {
      if (row.status != "done") messages.push_back(row.message);
    }
  }
  if (messages.empty()) return exit_done;
  err << "quel: " << messages.size() << " of " << rows_.size() + refused_.size()
      << " files failed or were damaged:\n";
  for (const std::string& message : messages) err << "quel: " << message << '\n';
  return exit_failed;
}

}  // namespace

int run_files(const FileArguments& arguments, const FileWork& work, std::ostream& err) {
  if (arguments.output_dir.empty()) return run_one(arguments, work, err);
  return Batch(arguments, work).run(err);
}

}  // namespace quel::tools
