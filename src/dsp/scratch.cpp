#include "dsp/scratch.h"

#include <cstdlib>

namespace quel {
namespace {

thread_local ScratchArea own_area;
thread_local std::ptrdiff_t used = 0;

}  // namespace

thread_local std::byte* i_heap = own_area.top();

void count_scratch(std::ptrdiff_t change) {
  used += change;
  if (used > static_cast<std::ptrdiff_t>(scratch_bytes)) std::abort();
}

}  // namespace quel
