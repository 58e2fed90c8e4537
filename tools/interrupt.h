#pragma once

#include <string>

namespace quel::tools {

/// Makes Ctrl-C, hanging up and termination end the program as ever, but not before every
/// unfinished file is removed or a message has said why it stays. For main alone, once.
void clean_up_when_interrupted();

/// A file that is being written and should not outlive an interruption.
class Unfinished {
 public:
  /// path        of the file
  /// descriptor  of the same file: what else has its name by then is left alone
  /// reason      why it stays, "with what came so far"; empty where it is to be removed
  Unfinished(const std::string& path, int descriptor, const std::string& reason);
  ~Unfinished();
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;

  /// Until then an interruption removes it only where it is empty.
  void begin();

  struct Entry;

 private:
  Entry* entry_;
};

}  // namespace quel::tools
