#include "platform/NamedMutex.h"

namespace zuvia {

void MutexHold::release() {
  if (!mutex_) {
    return;
  }
  ReleaseMutex(mutex_.get());
  mutex_.reset();
}

MutexHold acquireNamedMutex(const std::wstring& name, DWORD milliseconds) {
  MutexHandle mutex(CreateMutexW(nullptr, FALSE, name.c_str()));
  if (!mutex) {
    return {};
  }
  const DWORD result = WaitForSingleObject(mutex.get(), milliseconds);
  if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED) {
    return {};
  }
  return MutexHold(std::move(mutex));
}

}  // namespace zuvia
