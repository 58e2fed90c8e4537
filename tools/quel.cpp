#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <new>

#include "tools/command.h"
#include "tools/interrupt.h"
#include "tools/quel_main.h"

namespace {

/// Standard input, output and error that the caller closed would be the next files opened: an
/// output would be read as input, messages would run into it. What stands there instead cannot be
/// read (0) or written (1, 2), so that whoever tries learns of it.
void fill_closed_standard_files() {
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(standard, F_GETFD) < 0) {
      // The lowest free number, which is this one.
      open("/dev/null", standard == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  fill_closed_standard_files();
  quel::tools::clean_up_when_interrupted();
  try {
    return quel::tools::run_quel(argc, argv, std::cout, std::cerr);
  } catch (const std::bad_alloc&) {
    // Without streams, which might allocate.
    std::fputs("quel: out of memory\n", stderr);
    return quel::tools::exit_failed;
  }
}
