#pragma once

#include <dlfcn.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "support/sanitizers.h"

// Memory that fails on request, for one test program: the file that includes this replaces the
// program's malloc, free and operators new and delete. In a sanitizer's build, whose runtime owns
// malloc, it is the operators that count and fail.

namespace {

std::atomic<bool> counting{false};
std::atomic<int> allocations{0};
std::atomic<int> live{0};           // allocated and not freed while counting
std::atomic<int> first_bad{-1};     // of the allocations; -1: none fails
std::atomic<bool> only_one{false};  // whether those after it succeed

bool may_allocate() {
  if (!counting) return true;
  const int n = allocations++;
  const bool bad = first_bad >= 0 && (only_one ? n == first_bad : n >= first_bad);
  if (!bad) ++live;
  return !bad;
}

void note_free(const void* block) {
  if (counting && block != nullptr) --live;
}

}  // namespace

#if QUEL_SANITIZED_ADDRESS
inline constexpr bool malloc_fails = false;
static void* get(std::size_t size) {
  return may_allocate() ? std::malloc(size == 0 ? 1 : size) : nullptr;
}
static void give_back(void* block) {
  note_free(block);
  std::free(block);
}
#else
inline constexpr bool malloc_fails = true;
// By their place behind this program's, so that tools that replace the system's see these calls. To
// look for them may itself take memory and give it back: little, once, and this array has it.
template <typename Function>
static Function* behind(const char* name) {
  static Function* found = nullptr;
  static bool looking = false;
  if (found != nullptr || looking) return found;
  looking = true;
  found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  return found;
}
static struct {
  alignas(std::max_align_t) unsigned char bytes[4096];
  std::size_t used;
} early;
extern "C" void* malloc(std::size_t size) {
  auto* const next = behind<void*(std::size_t)>("malloc");
  if (next != nullptr) return may_allocate() ? next(size) : nullptr;
  const std::size_t at = early.used;
  early.used += (size + 15) / 16 * 16;
  return early.used <= sizeof early.bytes ? early.bytes + at : nullptr;
}
extern "C" void free(void* block) {
  auto* const next = behind<void(void*)>("free");
  const auto* const byte = static_cast<const unsigned char*>(block);
  if (next == nullptr || (byte >= early.bytes && byte < early.bytes + sizeof early.bytes)) return;
  note_free(block);
  next(block);
}
static void* get(std::size_t size) {
  return malloc(size == 0 ? 1 : size);
}
static void give_back(void* block) {
  free(block);
}
#endif

void* operator new(std::size_t size) {
  void* block = get(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return get(size);
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return get(size);
}
void operator delete(void* block) noexcept {
  give_back(block);
}
void operator delete(void* block, std::size_t) noexcept {
  give_back(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  give_back(block);
}
void operator delete[](void* block) noexcept {
  give_back(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  give_back(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  give_back(block);
}

namespace quel::test {

struct Outcome {
  int allocations;
  int left;  // blocks not freed
};

/// Runs `work` while allocations fail.
///
/// first  the first one that does, from 0; -1: none
/// one    those after it succeed
template <typename Work>
Outcome with_bad_memory(int first, bool one, Work work) {
  allocations = live = 0;
  first_bad = first;
  only_one = one;
  counting = true;
  work();
  counting = false;
  return {allocations, live};
}

template <typename Work>
Outcome with_memory(Work work) {
  return with_bad_memory(-1, false, work);
}

}  // namespace quel::test
