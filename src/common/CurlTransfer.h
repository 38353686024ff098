#pragma once

#include <array>
#include <memory>

#include <curl/curl.h>

namespace zuvia {

// Every transfer of every process of the session holds this mutex, from before its handle is made
// until after it was closed. It is waited for this long.
inline constexpr const wchar_t* kCurlGlobalMutexName = L"Local\\ZuviaPluginCurlGlobal";
inline constexpr unsigned long kCurlGlobalWaitMilliseconds = 60'000;

// Closes the handle, and frees what the TLS library keeps for the calling thread, which made the transfer.
struct CurlHandleCloser {
  void operator()(CURL* handle) const;
};
using CurlHandle = std::unique_ptr<CURL, CurlHandleCloser>;

// A list of request headers; must outlive the transfer that sends them.
class CurlHeaders {
 public:
  CurlHeaders() = default;
  CurlHeaders(const CurlHeaders&) = delete;
  CurlHeaders& operator=(const CurlHeaders&) = delete;
  ~CurlHeaders() { free(); }

  // Appends one header line. It is left out when there is no memory for it.
  void append(const char* line);
  curl_slist* get() const { return list_; }

  // Frees the list now.
  void free();

 private:
  curl_slist* list_ = nullptr;
};

// Where libcurl puts its words about a transfer; must outlive it.
class CurlErrorText {
 public:
  // Hands the buffer to a transfer.
  void attachTo(CURL* handle);

  // The words about this transfer, or, where there are none, those about the code in general.
  // Valid as long as this object.
  const char* describe(CURLcode code) const;

 private:
  std::array<char, CURL_ERROR_SIZE> buffer_ = {};
};

// Allows a transfer, and any redirect that it follows, HTTPS and nothing else.
void allowHttpsOnly(CURL* handle);

// Has the peer's certificate and name checked against the operating system's certificate store.
void verifyPeer(CURL* handle);

}  // namespace zuvia
