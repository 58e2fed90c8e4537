#include <iostream>

#include "tools/quel_main.h"

int main(int argc, char** argv) {
  return quel::tools::run_quel(argc, argv, std::cout, std::cerr);
}
