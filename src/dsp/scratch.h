#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace quel {

/// Bytes of a scratch area below its top, where `i_heap` starts.
inline constexpr std::size_t scratch_bytes = 8188;

/// A scratch area: working arrays are carved from its top downwards.
struct ScratchArea {
  alignas(float) std::byte bytes[scratch_bytes] = {};
  std::byte* top() { return bytes + scratch_bytes; }
};

/// Top of this thread's scratch stack, 4-byte aligned. Starts at an area of the thread's own; an
/// init driver points it at the codec's area, a stream at its own for the length of a call.
extern thread_local std::byte* i_heap;

/// Points `i_heap` at the top of `area` for the rest of the scope.
class ScratchSwitch {
 public:
  explicit ScratchSwitch(ScratchArea& area) : saved_(i_heap) { i_heap = area.top(); }
  ~ScratchSwitch() { i_heap = saved_; }
  ScratchSwitch(const ScratchSwitch&) = delete;
  ScratchSwitch& operator=(const ScratchSwitch&) = delete;

 private:
  std::byte* saved_;
};

/// In builds without NDEBUG: stops the program where this thread's scratch use, counted from an
/// empty stack, would pass `scratch_bytes`. `change` is in bytes, negative when given back.
void count_scratch(std::ptrdiff_t change);

/// An array of `n` floats (or 32-bit integers) carved from the scratch stack for the rest of the
/// scope. The content is undefined until written. Scopes nest, so what was taken last is given
/// back first.
///
/// Overflow is a defect of the caller, not an input error: the deepest use of every coder is fixed
/// and pinned by a test.
template <typename T = float>
class Scratch {
  static_assert(std::is_same_v<T, float> || std::is_same_v<T, std::int32_t>,
                "the stack is 4-byte aligned and holds nothing that needs construction");

 public:
  explicit Scratch(int n) : top_(i_heap), bytes_(static_cast<std::ptrdiff_t>(n) * 4) {
#ifndef NDEBUG
    count_scratch(bytes_);
#endif
    top_ -= bytes_;
    data_ = reinterpret_cast<T*>(top_);
  }
  ~Scratch() {
    top_ += bytes_;
#ifndef NDEBUG
    count_scratch(-bytes_);
#endif
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  T* data() {
    return data_;
  }
  T& operator[](int i) {
    return data_[i];
  }

 private:
  std::byte*& top_;  // this thread's, looked up once: in a shared library that is a call
  std::ptrdiff_t bytes_;
  T* data_;
};

/// A struct of such arrays, carved in one piece: whoever needs several takes them so, since finding
/// a thread's stack costs more than moving its top.
template <typename T>
class ScratchStruct {
  static_assert(std::is_trivial_v<T> && alignof(T) == alignof(float));

 public:
  T* operator->() { return reinterpret_cast<T*>(memory_.data()); }
  T& operator*() { return *operator->(); }

 private:
  Scratch<float> memory_{static_cast<int>(sizeof(T) / sizeof(float))};
};

}  // namespace quel
