#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace quel::test {

namespace stack_use_detail {

constexpr unsigned char paint = 0xa5;
constexpr std::size_t stack_bytes = 1 << 20;

template <typename Work>
struct Run {
  Work* work;
  unsigned char* stack;
  std::size_t use = 0;
};

// The thread paints the stack below itself and looks at it again before it ends: its start and its
// end use the stack too. Between them and the paint lie the frames of this and of memset.
__attribute__((noinline)) inline void paint_below(unsigned char* stack) {
  constexpr std::ptrdiff_t own = 256;
  auto* const here = static_cast<unsigned char*>(__builtin_frame_address(0));
  std::memset(stack, paint, static_cast<std::size_t>(here - own - stack));
}

__attribute__((noinline)) inline const unsigned char* lowest_used(const unsigned char* stack) {
  while (*stack == paint) ++stack;
  return stack;
}

template <typename Work>
__attribute__((noinline)) void* enter(void* argument) {
  auto* run = static_cast<Run<Work>*>(argument);
  const auto* const here = static_cast<const unsigned char*>(__builtin_frame_address(0));
  paint_below(run->stack);
  (*run->work)();
  run->use = static_cast<std::size_t>(here - lowest_used(run->stack));
  return nullptr;
}

}  // namespace stack_use_detail

/// Bytes of stack that `work` uses, its own frame included: how far down a painted stack has been
/// written to. What a frame reserves but never writes does not count where it lies deepest. `work`
/// should have run before, since the first call of a shared library's function finds its address on
/// this stack. Means nothing in a sanitizer's build.
template <typename Work>
std::size_t stack_use(Work work) {
  using namespace stack_use_detail;
  constexpr std::size_t page = 4096;
  std::vector<unsigned char> memory(stack_bytes + page);
  const auto at = reinterpret_cast<std::uintptr_t>(memory.data());
  unsigned char* const stack = memory.data() + (page - at % page);
  Run<Work> run{&work, stack};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstack(&attributes, stack, stack_bytes);
  pthread_t thread;
  const int error = pthread_create(&thread, &attributes, enter<Work>, &run);
  pthread_attr_destroy(&attributes);
  if (error != 0) throw std::runtime_error(std::strerror(error));
  pthread_join(thread, nullptr);
  return run.use;
}

}  // namespace quel::test
