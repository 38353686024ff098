#pragma once

#include <mutex>

#include <curl/curl.h>

#include "platform/NamedMutex.h"

namespace zuvia {

// The configuration client's way to libcurl: the session-wide curl mutex, and libcurl's global
// initialisation, which runs once while the mutex is held for the first time.
class CurlGlobalGuard {
 public:
  // The one of the process.
  static CurlGlobalGuard& instance();

  // Waits at most 60 s for the mutex. An empty hold when it cannot be had. Otherwise
  // initialisation() is known. Any thread. Logs nothing.
  MutexHold acquireCurlGlobal();

  // How the initialisation ended; read only while a hold from acquireCurlGlobal() lives.
  CURLcode initialisation() const { return initialisation_; }

 private:
  std::once_flag once_;
  CURLcode initialisation_ = CURLE_FAILED_INIT;
};

}  // namespace zuvia
