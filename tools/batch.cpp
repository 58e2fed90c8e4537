#include "tools/batch.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <map>
#include <new>
#include <optional>
#include <ostream>
#include <set>
#include <system_error>
#include <thread>
#include <tuple>
#include <utility>

#include "tools/batch_inputs.h"
#include "tools/batch_manifest.h"
#include "tools/command.h"
#include "tools/file_error.h"
#include "tools/file_list.h"
#include "tools/output_file.h"
#include "tools/progress.h"
#include "tools/run_one.h"
#include "tools/sha256.h"
#include "tools/text.h"

namespace quel::tools {
namespace {

namespace fs = std::filesystem;

/// One file of many.
struct Task {
  std::string input;
  std::string output;  ///< relative to the output folder
  int part = 0;        ///< of the input, from 1; 0 is all of it
};

/// What became of a task.
struct Outcome {
  ManifestRow row;      ///< for the manifest
  std::string failure;  ///< or damage; empty where there is none
};

std::string join(const std::vector<std::string>& notes) {
  std::string text;
  for (const std::string& note : notes) text += (text.empty() ? "" : "; ") + note;
  return text;
}

class Batch {
 public:
  Batch(const FileArguments& arguments, const std::vector<std::string>& listed,
        const FileWork& work)
      : arguments_(arguments),
        listed_(listed),
        work_(work),
        manifest_(arguments.manifest.empty()
                      ? (fs::path(arguments.output_dir) / "quel-manifest.tsv").string()
                      : arguments.manifest),
        progress_(progress_stream(arguments.quiet), terminal_width()) {}

  int run(std::ostream& err);

 private:
  void find_tasks();
  int parts_of(const std::string& input) const;
  void add_task(const Task& task);
  void check_manifest() const;
  Outcome failed(const Task& task, const std::string& message) const;
  std::string journal_name() const;
  void read_old_rows();
  void work_through();
  Outcome do_task(std::size_t index);
  ManifestRow make(std::size_t index, const std::string& target);
  bool done_before(const Task& task, const std::string& target, ManifestRow& row) const;
  const ManifestRow* still_good(const Task& task, const std::string& target) const;
  void write_manifest();
  int report(std::ostream& err) const;

  const FileArguments& arguments_;
  const std::vector<std::string>& listed_;
  const FileWork& work_;
  std::string manifest_;
  Progress progress_;
  std::vector<Task> tasks_;
  std::set<std::string> inputs_;
  std::map<std::string, std::string> owners_;  // output -> input
  std::map<std::string, ManifestRow> old_;     // by output
  std::vector<Outcome> outcomes_;              // by task
  std::vector<Outcome> refused_;               // no task came of these
  std::atomic<std::size_t> next_ = 0;
  Journal journal_;
};

int Batch::run(std::ostream& err) {
  bool worked = false;
  std::string failure;
  try {
    fs::create_directories(arguments_.output_dir);
    journal_.open(journal_name());
    read_old_rows();
    find_tasks();
    check_manifest();
    journal_.start();
    std::vector<std::uint64_t> sizes;
    for (const Task& task : tasks_) sizes.push_back(size_of(task.input));
    progress_.plan(sizes);
    work_through();
    worked = true;
    write_manifest();
  } catch (const fs::filesystem_error& error) {
    failure = FileError(error.path1().string(), error.code().message()).what();
  } catch (const std::exception& error) {
    failure = message_of(error, manifest_);
  }
  progress_.clear();
  const int status = worked ? report(err) : exit_failed;
  if (failure.empty()) return status;
  err << "quel: " << failure << '\n';
  return exit_failed;
}

void Batch::find_tasks() {
  std::vector<BatchInput> inputs = batch_inputs(arguments_.files, work_.takes);
  for (BatchInput& input : listed_inputs(listed_, work_.takes)) inputs.push_back(std::move(input));
  for (const BatchInput& input : inputs) {
    const std::string name = input.path.string();
    if (!inputs_.insert(name).second) continue;
    if (!input.failure.empty()) {
      refused_.push_back(failed({name, "", 0}, input.failure));
      continue;
    }
    const std::string output = fs::path(input.relative).replace_extension(work_.extension).string();
    const int parts = work_.parts ? parts_of(name) : 0;
    if (parts == 0) add_task({name, output, 0});
    for (int part = 1; part <= parts; ++part) add_task({name, part_name(output, part), part});
  }
}

// A file that cannot be read has one part, whose own run will tell why.
int Batch::parts_of(const std::string& input) const {
  try {
    return fs::is_regular_file(input) ? work_.parts(input) : 1;
  } catch (const std::exception&) {
    return 1;
  }
}

void Batch::add_task(const Task& task) {
  const auto [owner, is_new] = owners_.emplace(task.output, task.input);
  if (is_new) {
    tasks_.push_back(task);
    outcomes_.push_back(failed(task, task.input + ": not enough memory"));
  } else {
    refused_.push_back(failed({task.input, "", 0}, task.input + ": would be written to " +
                                                       task.output + ", as " + owner->second));
  }
}

void Batch::check_manifest() const {
  const fs::path place = output_place(manifest_);
  for (const Task& task : tasks_) {
    std::optional<fs::path> output;
    try {
      output = output_place((fs::path(arguments_.output_dir) / task.output).string());
    } catch (const FileError&) {  // which that file's own run will meet
    }
    if (output == place) {
      throw FileError(manifest_, "is one of the outputs; the manifest needs another name");
    }
  }
}

Outcome Batch::failed(const Task& task, const std::string& message) const {
  Outcome outcome;
  outcome.row.input = task.input;
  outcome.row.output = task.output;
  if (!task.output.empty()) outcome.row.settings = work_.settings;
  outcome.row.status = "failed";
  outcome.row.message = outcome.failure = message;
  return outcome;
}

// By whatever name: one manifest, one journal.
std::string Batch::journal_name() const {
  const bool is_link = fs::is_symlink(fs::symlink_status(manifest_));
  return (is_link ? output_place(manifest_).string() : manifest_) + ".journal";
}

void Batch::read_old_rows() {
  for (ManifestRow& row : read_manifest(manifest_)) old_[row.output] = row;
  for (ManifestRow& row : read_journal(journal_name())) old_[row.output] = row;
  old_.erase("");
}

void Batch::work_through() {
  const auto worker = [this] {
    for (std::size_t i; (i = next_++) < tasks_.size();) {
      try {
        outcomes_[i] = do_task(i);
      } catch (const std::bad_alloc&) {
        // Not even a message could be made: what stands there already says so.
      }
    }
  };
  const unsigned processors = std::max(1u, std::thread::hardware_concurrency());
  const std::size_t wanted =
      arguments_.jobs > 0 ? static_cast<std::size_t>(arguments_.jobs) : processors;
  std::vector<std::thread> threads;
  threads.reserve(wanted);
  try {
    for (std::size_t i = 1; i < std::min(wanted, tasks_.size()); ++i) threads.emplace_back(worker);
  } catch (const std::exception&) {
    // The system gives no more of them: those that there are do the work.
  }
  worker();
  for (std::thread& thread : threads) thread.join();
}

Outcome Batch::do_task(std::size_t index) {
  const Task& task = tasks_[index];
  const std::string target = (fs::path(arguments_.output_dir) / task.output).string();
  progress_.start(index, task.input);
  Outcome outcome;
  try {
    outcome.row = make(index, target);
    if (outcome.row.status != "done") outcome.failure = outcome.row.message;
    progress_.finish(index);
    return outcome;
  } catch (const std::exception& error) {
    outcome = failed(task, message_of(error, task.input));
  }
  try {
    // A slip must not cost what earlier runs made: where their output stands, so does its row.
    if (const ManifestRow* good = still_good(task, target)) outcome.row = *good;
    journal_.write(outcome.row);
  } catch (const std::exception&) {
    // Nothing is lost: the next run would try the file again all the same.
  }
  progress_.finish(index);
  return outcome;
}

ManifestRow Batch::make(std::size_t index, const std::string& target) {
  const Task& task = tasks_[index];
  std::error_code unknown;
  const fs::file_status kind = fs::status(task.input, unknown);
  // It is read twice, which a pipe cannot be.
  if (fs::exists(kind) && !fs::is_regular_file(kind)) {
    throw FileError(task.input, "not a regular file, which --output-dir needs");
  }
  ManifestRow row;
  if (done_before(task, target, row)) return row;
  const fs::path folder = fs::path(target).parent_path();
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) throw FileError(folder.string(), error.message());
  if (fs::exists(target) && !fs::is_regular_file(target)) {
    throw FileError(target, "not a regular file, which --output-dir needs");
  }
  // An output that this command made of this input, and nobody touched since, is only out of date.
  const ManifestRow* const was = still_good(task, target);
  const bool outdated =
      was != nullptr && was->settings == work_.settings && was->input == task.input;
  OutputFile output(target, arguments_.force || outdated, task.input);
  output.hold_back();
  const FileDigest source = digest_file(task.input);
  const Meter meter = [&](double seconds, auto share) { progress_.update(index, seconds, share); };
  const JobResult result = task.part > 0 ? work_.run_part(task.input, task.part, output, meter)
                                         : work_.run(task.input, output, target, meter);
  const FileDigest made = digest_file(output.part());
  row.input = task.input;
  row.output = task.output;
  row.settings = work_.settings;
  row.status = result.damaged ? "damaged" : "done";
  row.input_bytes = source.bytes;
  row.input_sha256 = source.sha256;
  row.output_bytes = made.bytes;
  row.output_sha256 = made.sha256;
  row.samples = result.samples;
  if (!result.notes.empty()) row.message = task.input + ": " + join(result.notes);
  // First the journal: a run that is killed in between does the file again, whereas a file that
  // the journal did not know would be somebody else's.
  journal_.write(row);
  output.release();
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

/// The row of an output that no later run touched, null where there is none.
const ManifestRow* Batch::still_good(const Task& task, const std::string& target) const {
  const auto old = old_.find(task.output);
  if (old == old_.end() || old->second.output_sha256.empty()) return nullptr;
  const ManifestRow& was = old->second;
  if (size_of(target) != was.output_bytes || !fs::exists(target)) return nullptr;
  return digest_file(target).sha256 == was.output_sha256 ? &was : nullptr;
}

void Batch::write_manifest() {
  std::vector<ManifestRow> all;
  for (const Outcome& refused : refused_) all.push_back(refused.row);
  for (const Outcome& outcome : outcomes_) old_[outcome.row.output] = outcome.row;
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
  std::vector<std::string> failures;
  for (const auto* outcomes : {&outcomes_, &refused_}) {
    for (const auto& [row, failure] : *outcomes) {
      if (!failure.empty()) {
        failures.push_back(failure);
      } else if (!row.message.empty()) {
        err << "quel: " << printable(row.message) << '\n';
      }
    }
  }
  if (failures.empty()) return exit_done;
  err << "quel: " << failures.size() << " of " << outcomes_.size() + refused_.size()
      << " files failed or were damaged:\n";
  for (const std::string& failure : failures) {
    err << "quel: " << printable(failure) << '\n';
  }
  return exit_failed;
}

}  // namespace

int run_files(const FileArguments& arguments, const FileWork& work, std::ostream& err) {
  if (arguments.output_dir.empty()) return run_one(arguments, work, err);
  std::vector<std::string> listed;
  try {
    if (!arguments.files_from.empty()) {
      listed = read_file_list(arguments.files_from, arguments.null_terminated);
    }
  } catch (const std::exception& error) {
    err << "quel: " << message_of(error, arguments.files_from) << '\n';
    return exit_failed;
  }
  return Batch(arguments, listed, work).run(err);
}

}  // namespace quel::tools
