#include "tools/interrupt.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

namespace quel::tools {

/// Entries are never freed, only used again: the handler may look at them at any time.
struct Unfinished::Entry {
  enum State : int { free, filling, waiting, begun, handled };
  std::atomic<int> state = free;
  std::string path, message;
  dev_t device = 0;
  ino_t number = 0;
  Entry* next = nullptr;
};

namespace {

using Entry = Unfinished::Entry;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<Entry*>::is_always_lock_free);

std::atomic<Entry*> entries = nullptr;
constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};

Entry* take_entry() {
  for (Entry* entry = entries; entry != nullptr; entry = entry->next) {
    int state = Entry::free;
    if (entry->state.compare_exchange_strong(state, Entry::filling)) return entry;
  }
  auto* const entry = new Entry;
  entry->state = Entry::filling;
  entry->next = entries;
  while (!entries.compare_exchange_weak(entry->next, entry)) {
  }
  return entry;
}

// Calls nothing but what a signal handler may.
void clean_up(Entry& entry) {
  int state = entry.state;
  if (state != Entry::waiting && state != Entry::begun) return;
  // Whoever finishes the file now waits for the end of the program.
  if (!entry.state.compare_exchange_strong(state, Entry::handled)) return;
  struct stat status {};
  if (lstat(entry.path.c_str(), &status) != 0) return;
  if (status.st_dev != entry.device || status.st_ino != entry.number) return;
  if (state == Entry::waiting ? status.st_size == 0 : entry.message.empty()) {
    unlink(entry.path.c_str());
  } else if (state == Entry::begun) {
    [[maybe_unused]] const ssize_t told =
        write(STDERR_FILENO, entry.message.data(), entry.message.size());
  }
}

void handle(int signal) {
  for (Entry* entry = entries; entry != nullptr; entry = entry->next) clean_up(*entry);
  // The default is back since the handler was called.
  raise(signal);
}

}  // namespace

void clean_up_when_interrupted() {
  for (const int signal : signals) {
    struct sigaction action {};
    // Who started us deaf to it, as nohup does, wants us to go on.
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = handle;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int other : signals) sigaddset(&action.sa_mask, other);
    sigaction(signal, &action, nullptr);
  }
}

Unfinished::Unfinished(const std::string& path, int descriptor, const std::string& reason)
    : entry_(take_entry()) {
  struct stat status {};
  fstat(descriptor, &status);
  entry_->path = path;
  entry_->message = reason.empty() ? "" : "quel: interrupted: " + path + " stays, " + reason + "\n";
  entry_->device = status.st_dev;
  entry_->number = status.st_ino;
  entry_->state = Entry::waiting;
}

Unfinished::~Unfinished() {
  for (;;) {
    int state = entry_->state;
    if (state == Entry::handled) {
      pause();
    } else if (entry_->state.compare_exchange_strong(state, Entry::free)) {
      return;
    }
  }
}

void Unfinished::begin() {
  int waiting = Entry::waiting;
  entry_->state.compare_exchange_strong(waiting, Entry::begun);
}

}  // namespace quel::tools
