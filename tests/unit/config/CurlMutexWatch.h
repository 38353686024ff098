#pragma once

#include <windows.h>

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

#include "Journal.h"
#include "support/ImportHook.h"

namespace zuvia::test {

inline constexpr const wchar_t* kCurlMutex = L"Local\\ZuviaPluginCurlGlobal";

// What is done with the mutex of all transfers, into the journal: "mutex opened", "mutex waited for 60000",
// "mutex released", "mutex closed". One watch, and one use of the mutex, at a time.
class CurlMutexWatch {
 public:
  // What opening it, or waiting for it, is to answer instead of the truth.
  struct Faults {
    bool opening = false;
    std::optional<DWORD> waiting = {};
    DWORD lastError = ERROR_SUCCESS;
  };

  CurlMutexWatch() : CurlMutexWatch(Faults()) {}
  explicit CurlMutexWatch(const Faults& faults) {
    hooks().faults = faults;
    hooks().watching = true;
  }
  ~CurlMutexWatch() { hooks().watching = false; }

  CurlMutexWatch(const CurlMutexWatch&) = delete;
  CurlMutexWatch& operator=(const CurlMutexWatch&) = delete;

 private:
  // They stay for the rest of the process: at any time some thread may be inside a long wait for another object.
  struct Hooks {
    static HMODULE self() { return GetModuleHandleW(nullptr); }
    bool isMine(HANDLE object) const { return object != nullptr && object == handle; }

    HANDLE onOpen(decltype(CreateMutexW)* original, LPSECURITY_ATTRIBUTES attributes, BOOL owned, const wchar_t* name) {
      if (!watching || name == nullptr || std::wstring_view(name) != kCurlMutex) {
        return original(attributes, owned, name);
      }
      Journal::instance().add(owned ? "mutex opened and owned" : "mutex opened");
      handle = faults.opening ? nullptr : original(attributes, owned, name);
      if (faults.opening) SetLastError(faults.lastError);
      return handle;
    }

    DWORD onWait(decltype(WaitForSingleObject)* original, HANDLE object, DWORD milliseconds) const {
      if (!isMine(object)) return original(object, milliseconds);
      Journal::instance().add("mutex waited for " + std::to_string(milliseconds));
      if (!faults.waiting) return original(object, milliseconds);
      SetLastError(faults.lastError);
      return *faults.waiting;
    }

    BOOL onRelease(decltype(ReleaseMutex)* original, HANDLE object) const {
      if (isMine(object)) Journal::instance().add("mutex released");
      return original(object);
    }

    BOOL onClose(decltype(CloseHandle)* original, HANDLE object) {
      if (isMine(object)) {
        Journal::instance().add("mutex closed");
        handle = nullptr;
      }
      return original(object);
    }

    Faults faults;
    std::atomic<bool> watching = false;
    std::atomic<HANDLE> handle = nullptr;
    ImportHook<decltype(CreateMutexW)> open{self(), "CreateMutexW",
                                            [this](auto* original, auto... args) { return onOpen(original, args...); }};
    ImportHook<decltype(WaitForSingleObject)> wait{
        self(), "WaitForSingleObject", [this](auto* original, auto... args) { return onWait(original, args...); }};
    ImportHook<decltype(ReleaseMutex)> release{
        self(), "ReleaseMutex", [this](auto* original, auto... args) { return onRelease(original, args...); }};
    ImportHook<decltype(CloseHandle)> close{
        self(), "CloseHandle", [this](auto* original, auto... args) { return onClose(original, args...); }};
  };

  static Hooks& hooks() {
    static Hooks& all = *new Hooks;
    return all;
  }
};

}  // namespace zuvia::test
