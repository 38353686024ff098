#pragma once

#include <new>

namespace zuvia {

// A listener that cannot be copied while `fails` is set.
struct Uncopyable {
  explicit Uncopyable(const bool& when) : fails(when) {}
  Uncopyable(const Uncopyable& other) : fails(other.fails) {
    if (fails) throw std::bad_alloc();
  }
  Uncopyable& operator=(const Uncopyable&) = delete;
  void operator()(const char*, const char*) const {}

  const bool& fails;
};

}  // namespace zuvia
