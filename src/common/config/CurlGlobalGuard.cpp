#include "common/config/CurlGlobalGuard.h"

#include "common/CurlTransfer.h"

namespace zuvia {

CurlGlobalGuard& CurlGlobalGuard::instance() {
  static CurlGlobalGuard guard;
  return guard;
}

MutexHold CurlGlobalGuard::acquireCurlGlobal() {
  MutexHold hold = acquireNamedMutex(kCurlGlobalMutexName, kCurlGlobalWaitMilliseconds);
  if (hold) {
    std::call_once(once_, [this] { initialisation_ = curl_global_init(CURL_GLOBAL_DEFAULT); });
  }
  return hold;
}

}  // namespace zuvia
