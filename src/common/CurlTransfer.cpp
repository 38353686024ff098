// The two options that allow protocols as bits are marked deprecated by libcurl, whose newer ones
// take texts; every libcurl in use knows the bits.
#define CURL_DISABLE_DEPRECATION

#include "common/CurlTransfer.h"

#include <utility>

#include <openssl/crypto.h>

namespace zuvia {

// OpenSSL has random generators and more for each thread. Linked statically it does not see that a thread ends, and
// threads come and go with every fetch and update.
void CurlHandleCloser::operator()(CURL* handle) const {
  curl_easy_cleanup(handle);
  OPENSSL_thread_stop();
}

void CurlHeaders::append(const char* line) {
  if (curl_slist* const longer = curl_slist_append(list_, line)) {
    list_ = longer;
  }
}

void CurlHeaders::free() {
  curl_slist_free_all(std::exchange(list_, nullptr));
}

void CurlErrorText::attachTo(CURL* handle) {
  curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, buffer_.data());
}

const char* CurlErrorText::describe(CURLcode code) const {
  return buffer_[0] != '\0' ? buffer_.data() : curl_easy_strerror(code);
}

void allowHttpsOnly(CURL* handle) {
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTPS));
  curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS, static_cast<long>(CURLPROTO_HTTPS));
}

void verifyPeer(CURL* handle) {
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(handle, CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_NATIVE_CA));
}

}  // namespace zuvia
