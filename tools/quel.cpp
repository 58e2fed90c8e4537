#include <cstdio>
#include <iostream>
#include <new>

#include "tools/command.h"
#include "tools/quel_main.h"

int main(int argc, char** argv) {
  try {
    return quel::tools::run_quel(argc, argv, std::cout, std::cerr);
  } catch (const std::bad_alloc&) {
    // Without streams, which might allocate.
    std::fputs("quel: out of memory\n", stderr);
    return quel::tools::exit_failed;
  }
}
