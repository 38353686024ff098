#pragma once

#include <curl/curl.h>

// The product's calls of libcurl. In a program with CurlCalls.cpp the linker leads them here (see
// CMakeLists.txt); they are written into the journal and passed on:
//
//   "curl_global_init 3", "curl_easy_init", "PROTOCOLS 2", "URL https://…", "HTTPHEADER one | two",
//   "ERRORBUFFER", "curl_easy_perform", "curl_slist_free_all", "curl_easy_cleanup"
//
// Of the lists, only those that were set as headers are written down.

namespace zuvia::test {

// What the next calls answer instead of being passed on. Set it before the call, on one thread.
struct CurlFaults {
  CURLcode globalInit = CURLE_OK;
  bool easyInit = false;
};

CurlFaults& curlFaults();

}  // namespace zuvia::test
