#include "support/LockWatch.h"

#include <mutex>
#include <utility>

namespace zuvia::test {
namespace {

// What happens while it lives leaves no trace in the thread's last error.
class KeptError {
 public:
  KeptError() = default;
  KeptError(const KeptError&) = delete;
  KeptError& operator=(const KeptError&) = delete;
  ~KeptError() { SetLastError(error_); }

 private:
  const DWORD error_ = GetLastError();
};

}  // namespace

LockWatch::LockWatch(HMODULE module, Tell tell)
    : tell_(std::move(tell)),
      create_(module, "CreateMutexW",
              [this](auto* original, auto* attributes, BOOL owned, const wchar_t* name) {
                const HANDLE handle = original(attributes, owned, name);
                keep(handle, name);
                return handle;
              }),
      wait_(module, "WaitForSingleObject",
            [this](auto* original, HANDLE handle, DWORD milliseconds) { return wait(original, handle, milliseconds); }),
      release_(module, "ReleaseMutex",
               [this](auto* original, HANDLE handle) {
                 const BOOL released = original(handle);
                 say("left", handle);
                 return released;
               }),
      close_(module, "CloseHandle", [this](auto* original, HANDLE handle) {
        forget(handle);
        return original(handle);
      }) {}

DWORD LockWatch::wait(decltype(&WaitForSingleObject) original, HANDLE handle, DWORD milliseconds) {
  say("wants", handle);
  const DWORD result = original(handle, milliseconds);
  say(result == WAIT_OBJECT_0 || result == WAIT_ABANDONED ? "holds" : "left", handle);
  return result;
}

void LockWatch::say(const std::string& step, HANDLE handle) {
  const KeptError kept;
  if (const auto name = nameOf(handle)) tell_(step, *name);
}

// A null handle, or a mutex without a name, is not kept.
void LockWatch::keep(HANDLE handle, const wchar_t* name) {
  if (handle == nullptr || name == nullptr) return;
  const KeptError kept;
  const std::lock_guard lock(mutex_);
  names_[handle] = name;
}

void LockWatch::forget(HANDLE handle) {
  const std::lock_guard lock(mutex_);
  names_.erase(handle);
}

std::optional<std::wstring> LockWatch::nameOf(HANDLE handle) {
  const std::lock_guard lock(mutex_);
  const auto found = names_.find(handle);
  return found == names_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace zuvia::test
