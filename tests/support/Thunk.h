#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>

namespace zuvia::test {

template <typename Function>
class Thunk;

// A plain function pointer that runs a callable with state of its own, for as long as the object lives.
//
// Each signature has a fixed number of function bodies, of which a thunk takes a free one; nothing is
// generated at run time. Windows x64 has one calling convention, so every function fits.
template <typename Result, typename... Args>
class Thunk<Result(Args...)> {
 public:
  using Function = Result(Args...);

  // What runs. original is what the function pointer stands in for, for passing a call on.
  using Callable = std::function<Result(Function* original, Args...)>;

  static constexpr std::size_t kMostAtOnce = 32;

  // Throws std::runtime_error when kMostAtOnce thunks of this signature live already.
  Thunk(Function* original, Callable callable) : index_(take()) {
    slot().original.store(original);
    slot().state.store(std::make_shared<State>(std::move(callable)));
  }

  // Later calls go to the original. Returns when no call is inside the callable any more, so that what it
  // refers to may end; a call that stays there for kLongestCall fails the test instead.
  ~Thunk() {
    const std::shared_ptr<State> state = slot().state.exchange(nullptr);
    for (DWORD waited = 0; state.use_count() > 1 && waited < kLongestCall; ++waited) Sleep(1);
    if (state.use_count() > 1) ADD_FAILURE() << "A hook ended while a call was inside it";
    if (!abandoned_) slot().taken.store(false);
  }

  Thunk(const Thunk&) = delete;
  Thunk& operator=(const Thunk&) = delete;

  // The function pointer. It outlives the object, and then leads to the original, until another thunk takes
  // its place: nothing may keep it, or abandon() must be called.
  Function* function() const { return kEntries[index_]; }

  // Never gives the function body to another thunk.
  void abandon() { abandoned_ = true; }

 private:
  static constexpr DWORD kLongestCall = 10000;  // milliseconds

  struct State {
    explicit State(Callable value) : callable(std::move(value)) {}
    Callable callable;
  };

  struct Slot {
    std::atomic<bool> taken = false;
    std::atomic<Function*> original = nullptr;
    std::atomic<std::shared_ptr<State>> state;
  };

  template <std::size_t Index>
  static Result enter(Args... args) {
    Slot& own = slots()[Index];
    Function* original = own.original.load();
    const std::shared_ptr<State> state = own.state.load();
    if (state == nullptr) return original(std::forward<Args>(args)...);
    return state->callable(original, std::forward<Args>(args)...);
  }

  template <std::size_t... Indexes>
  static constexpr std::array<Function*, kMostAtOnce> makeEntries(std::index_sequence<Indexes...>) {
    return {&enter<Indexes>...};
  }

  static std::array<Slot, kMostAtOnce>& slots() {
    // Never destroyed: a thread may still pass through while the process ends.
    static auto& all = *new std::array<Slot, kMostAtOnce>;
    return all;
  }

  // In turn, so that a thread that fetched a function pointer just before its thunk ended meets no other one.
  static std::size_t take() {
    static std::atomic<std::size_t> next = 0;
    for (std::size_t tried = 0; tried < kMostAtOnce; ++tried) {
      const std::size_t index = next++ % kMostAtOnce;
      if (!slots()[index].taken.exchange(true)) return index;
    }
    throw std::runtime_error("Too many hooks of functions of one signature");
  }

  Slot& slot() const { return slots()[index_]; }

  static inline const std::array<Function*, kMostAtOnce> kEntries =
      makeEntries(std::make_index_sequence<kMostAtOnce>());

  std::size_t index_;
  bool abandoned_ = false;
};

}  // namespace zuvia::test
