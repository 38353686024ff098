#include "integration/faults/MutexFault.h"

#include <utility>

namespace zuvia::test {

MutexFault::MutexFault(HMODULE plugin, std::wstring name, MutexTrouble trouble)
    : name_(std::move(name)),
      trouble_(std::move(trouble)),
      open_(plugin, "CreateMutexW", [this](auto* original, auto... all) { return open(original, all...); }),
      wait_(plugin, "WaitForSingleObject", [this](auto* original, auto... all) { return wait(original, all...); }),
      release_(plugin, "ReleaseMutex", [this](auto* original, auto... all) { return release(original, all...); }),
      close_(plugin, "CloseHandle", [this](auto* original, auto... all) { return close(original, all...); }) {}

std::vector<std::string> MutexFault::steps() const {
  const std::lock_guard lock(mutex_);
  return steps_;
}

HANDLE MutexFault::open(decltype(CreateMutexW)* original, SECURITY_ATTRIBUTES* attributes, BOOL owned,
                        const wchar_t* name) {
  if (name == nullptr || name_ != name || ++uses_ != trouble_.use) return original(attributes, owned, name);
  add(owned ? "open owned" : "open");
  if (!trouble_.creationError) return handle_ = original(attributes, owned, name);
  happened_ = true;
  SetLastError(*trouble_.creationError);
  return nullptr;
}

DWORD MutexFault::wait(decltype(WaitForSingleObject)* original, HANDLE object, DWORD milliseconds) {
  if (!isMine(object)) return original(object, milliseconds);
  add("wait " + std::to_string(milliseconds));
  happened_ = true;
  trouble_.beforeWait();
  const DWORD result = trouble_.waitResult ? *trouble_.waitResult : original(object, milliseconds);
  trouble_.afterWait();
  if (trouble_.waitResult) SetLastError(trouble_.waitError);
  return result;
}

BOOL MutexFault::release(decltype(ReleaseMutex)* original, HANDLE object) {
  if (isMine(object)) add("release");
  return original(object);
}

BOOL MutexFault::close(decltype(CloseHandle)* original, HANDLE object) {
  if (isMine(object)) {
    add("close");
    handle_ = nullptr;
  }
  return original(object);
}

void MutexFault::add(const std::string& step) {
  const std::lock_guard lock(mutex_);
  steps_.push_back(step);
}

}  // namespace zuvia::test
