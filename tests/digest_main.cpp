// Prints what this build makes of the conformance signal. Every build prints the same.
#include <cinttypes>
#include <cstdio>

#include "support/conformance.h"

int main() {
  for (const quel::test::Digest& digest : quel::test::conformance_digests()) {
    std::printf("%016" PRIx64 "  %s\n", digest.value, digest.name.c_str());
  }
  return 0;
}
