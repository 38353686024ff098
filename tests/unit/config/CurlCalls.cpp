#include "CurlCalls.h"

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <string>

#include <curl/options.h>

#include "Journal.h"

extern "C" {

CURLcode __real_curl_global_init(long flags);
CURL* __real_curl_easy_init();
CURLcode __real_curl_easy_setopt(CURL* handle, CURLoption option, ...);
CURLcode __real_curl_easy_perform(CURL* handle);
void __real_curl_slist_free_all(curl_slist* list);
void __real_curl_easy_cleanup(CURL* handle);

CURLcode __wrap_curl_global_init(long flags);
CURL* __wrap_curl_easy_init();
CURLcode __wrap_curl_easy_setopt(CURL* handle, CURLoption option, ...);
CURLcode __wrap_curl_easy_perform(CURL* handle);
void __wrap_curl_slist_free_all(curl_slist* list);
void __wrap_curl_easy_cleanup(CURL* handle);
}

namespace zuvia::test {
namespace {

std::atomic<void*> headers = nullptr;
thread_local bool performing = false;  // libcurl makes a handle for itself meanwhile

std::string describe(curl_slist* list) {
  std::string text;
  for (; list != nullptr; list = list->next) text += (text.empty() ? "" : " | ") + std::string(list->data);
  return text;
}

std::string describe(const curl_easyoption& option, void* value) {
  const std::string name = option.name;
  switch (option.type) {
    case CURLOT_LONG:
    case CURLOT_VALUES:
      return name + ' ' + std::to_string(static_cast<int32_t>(reinterpret_cast<intptr_t>(value)));
    case CURLOT_STRING:
      return name + ' ' + static_cast<const char*>(value);
    case CURLOT_SLIST:
      return name + ' ' + describe(static_cast<curl_slist*>(value));
    default:
      return option.id == CURLOPT_POSTFIELDS ? name + ' ' + static_cast<const char*>(value) : name;
  }
}

}  // namespace

CurlFaults& curlFaults() {
  static CurlFaults faults;
  return faults;
}

}  // namespace zuvia::test

using zuvia::test::curlFaults;
using zuvia::test::Journal;

CURLcode __wrap_curl_global_init(long flags) {
  Journal::instance().add("curl_global_init " + std::to_string(flags));
  return curlFaults().globalInit != CURLE_OK ? curlFaults().globalInit : __real_curl_global_init(flags);
}

CURL* __wrap_curl_easy_init() {
  if (zuvia::test::performing) return __real_curl_easy_init();
  Journal::instance().add("curl_easy_init");
  return curlFaults().easyInit ? nullptr : __real_curl_easy_init();
}

// On Windows x64 every argument takes 64 bits, so that one kind of value stands for all.
CURLcode __wrap_curl_easy_setopt(CURL* handle, CURLoption option, ...) {
  va_list arguments;
  va_start(arguments, option);
  void* const value = va_arg(arguments, void*);
  va_end(arguments);
  Journal::instance().add(zuvia::test::describe(*curl_easy_option_by_id(option), value));
  if (option == CURLOPT_HTTPHEADER) zuvia::test::headers = value;
  return __real_curl_easy_setopt(handle, option, value);
}

CURLcode __wrap_curl_easy_perform(CURL* handle) {
  Journal::instance().add("curl_easy_perform");
  zuvia::test::performing = true;
  const CURLcode code = __real_curl_easy_perform(handle);
  zuvia::test::performing = false;
  return code;
}

void __wrap_curl_slist_free_all(curl_slist* list) {
  if (list != nullptr && list == zuvia::test::headers) Journal::instance().add("curl_slist_free_all");
  __real_curl_slist_free_all(list);
}

void __wrap_curl_easy_cleanup(CURL* handle) {
  Journal::instance().add("curl_easy_cleanup");
  __real_curl_easy_cleanup(handle);
}
