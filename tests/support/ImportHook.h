#pragma once

#include <windows.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/HookedEntries.h"
#include "support/Thunk.h"

// Replacing what a loaded module imports, for the length of a scope: the module's calls of that function
// reach the test, in the very binary that ships. Its code is left as it is.
//
// The run-time library and the libraries that are linked into a module share its import address table. A
// replacement is therefore called for their calls too: it decides by the arguments (a mutex by its name, a
// file by its path) and passes the rest on to the original. It runs on whichever thread calls, several at
// once, and must neither block for long nor use gtest's fatal assertions. Its last error is the caller's.
//
// Compilers read an entry once per function: a function of the module that is running when a hook comes or
// goes may use the old pointer until it returns. A pointer to a hook that has gone leads to the original.
//
// What a module looks up with GetProcAddress is not imported: LookupHook is for that.
//
//   ImportHook<decltype(CreateMutexW)> hook(plugin, "CreateMutexW",
//       [](auto* original, auto* attributes, BOOL owned, const wchar_t* name) -> HANDLE {
//         if (std::wstring_view(name) != kName) return original(attributes, owned, name);
//         SetLastError(ERROR_ACCESS_DENIED);
//         return nullptr;
//       });

namespace zuvia::test {

template <typename Function>
class ImportHook {
 public:
  using Replacement = typename Thunk<Function>::Callable;

  // Puts the replacement in the place of the named function in one module, which stays loaded for as long
  // as the hook lives. library narrows it to the import from one library ("KERNEL32.dll"); empty: any.
  // Throws std::runtime_error when the module does not import the function.
  ImportHook(HMODULE module, const std::string& name, Replacement replacement, const std::string& library = {})
      : entries_(module, name, library),
        thunk_(reinterpret_cast<Function*>(entries_.original()), std::move(replacement)) {
    entries_.replace(reinterpret_cast<void*>(thunk_.function()));
  }

  // Restores the function and waits for calls that are inside the replacement. Hooks of one function end in
  // the reverse order of their making; another order fails the test.
  ~ImportHook() {
    if (!entries_.restore()) thunk_.abandon();
  }

 private:
  HookedEntries entries_;
  Thunk<Function> thunk_;
};

// Replaces what a module finds when it looks a function up with GetProcAddress, by name, in whichever module.
// A module that keeps the pointer must not use it after the hook has ended.
template <typename Function>
class LookupHook {
 public:
  using Replacement = typename Thunk<Function>::Callable;

  // library, name: where the original is, for passing calls on; both must exist.
  LookupHook(HMODULE module, const std::string& library, const std::string& name, Replacement replacement)
      : thunk_(reinterpret_cast<Function*>(findFunction(library, name)), std::move(replacement)),
        lookup_(module, "GetProcAddress", [this, name](auto* original, HMODULE where, const char* wanted) {
          const bool byName = reinterpret_cast<std::uintptr_t>(wanted) > 0xFFFF;
          if (!byName || name != wanted) return original(where, wanted);
          return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(thunk_.function()));
        }) {}

 private:
  Thunk<Function> thunk_;
  ImportHook<decltype(GetProcAddress)> lookup_;
};

// What a function that is made to fail leaves behind.
struct Failure {
  DWORD lastError = ERROR_SUCCESS;
  int errnoValue = 0;         // for functions of the C library; 0 leaves errno alone
  std::size_t fromCall = 1;   // the first call that fails, counted from 1 among the calls that match
  std::size_t callCount = 1;  // how many fail from there on
};

inline constexpr std::size_t kEveryCall = static_cast<std::size_t>(-1);

template <typename Function>
class FailingImport;

// Makes chosen calls of an imported function fail, and counts them.
//
//   FailingImport<decltype(MoveFileExW)> failing(plugin, "MoveFileExW", FALSE, {.lastError = 0x80000005});
template <typename Result, typename... Args>
class FailingImport<Result(Args...)> {
 public:
  // Tells which calls are meant; the others are passed on and not counted. Empty: all.
  using Matcher = std::function<bool(Args...)>;

  // result: what a failing call returns. Throws as ImportHook does.
  FailingImport(HMODULE module, const std::string& name, Result result, Failure failure, Matcher matcher = {})
      : result_(result),
        failure_(failure),
        matcher_(std::move(matcher)),
        hook_(module, name, [this](auto* original, Args... args) { return call(original, args...); }) {}

  // How many calls matched so far, failed or not.
  std::size_t calls() const { return calls_.load(); }

  // How many of them failed. A test that means something looks at it.
  std::size_t failures() const { return failures_.load(); }

 private:
  Result call(Result (*original)(Args...), Args... args) {
    if (matcher_ && !matcher_(args...)) return original(args...);
    const std::size_t number = ++calls_;
    if (number < failure_.fromCall || number - failure_.fromCall >= failure_.callCount) return original(args...);
    ++failures_;
    if (failure_.errnoValue != 0) errno = failure_.errnoValue;
    SetLastError(failure_.lastError);
    return result_;
  }

  Result result_;
  Failure failure_;
  Matcher matcher_;
  std::atomic<std::size_t> calls_ = 0;
  std::atomic<std::size_t> failures_ = 0;
  ImportHook<Result(Args...)> hook_;
};

template <typename Function, typename Record>
class RecordedImport;

// Passes every call of an imported function on and keeps a record of each, made from its arguments before
// the call. A record must hold copies: what an argument points to may end with the call.
//
//   RecordedImport<decltype(DeleteFileW), std::wstring> deleted(plugin, "DeleteFileW",
//       [](const wchar_t* path) { return std::wstring(path); });
template <typename Result, typename... Args, typename Record>
class RecordedImport<Result(Args...), Record> {
 public:
  using Recorder = std::function<Record(Args...)>;

  // Throws as ImportHook does.
  RecordedImport(HMODULE module, const std::string& name, Recorder recorder)
      : recorder_(std::move(recorder)), hook_(module, name, [this](auto* original, Args... args) {
          add(recorder_(args...));
          return original(args...);
        }) {}

  // The records so far, in the order of the calls.
  std::vector<Record> records() const {
    const std::lock_guard lock(mutex_);
    return records_;
  }

 private:
  void add(Record record) {
    const std::lock_guard lock(mutex_);
    records_.push_back(std::move(record));
  }

  Recorder recorder_;
  mutable std::mutex mutex_;
  std::vector<Record> records_;
  ImportHook<Result(Args...)> hook_;
};

}  // namespace zuvia::test
