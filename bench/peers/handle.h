#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>

namespace quel::bench {

template <auto destroy>
struct Destroy {
  template <class State>
  void operator()(State* state) const {
    destroy(state);
  }
};

/// A C library's object, destroyed by its function.
template <class State, auto destroy>
using Handle = std::unique_ptr<State, Destroy<destroy>>;

/// A pointer that a C library gave. Throws where it gave none.
template <class State>
State* got(State* state) {
  if (state == nullptr) throw std::runtime_error("a peer's state cannot be made");
  return state;
}

/// A count of bytes that a C library gave. Throws where there are none.
inline std::size_t made(int bytes) {
  if (bytes <= 0) throw std::runtime_error("a peer's encoder fails");
  return static_cast<std::size_t>(bytes);
}

/// Throws where a C library says anything but 0.
inline void need(int status, const char* what) {
  if (status != 0) throw std::runtime_error(what);
}

}  // namespace quel::bench
