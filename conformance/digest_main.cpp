// Prints what this build makes of the conformance signal. Every build prints the same.
#include <cinttypes>
#include <cstdio>

#include "conformance/conformance.h"

int main() {
  for (const quel::conformance::Digest& digest : quel::conformance::conformance_digests()) {
    std::printf("%016" PRIx64 "  %s\n", digest.value, digest.name.c_str());
  }
  return 0;
}
