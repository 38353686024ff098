#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "ConfigTest.h"
#include "CurlMutexWatch.h"
#include "RecordingClient.h"
#include "common/Text.h"
#include "common/config/OsVersion.h"
#include "support/SecondProcess.h"
#include "support/WideText.h"

namespace zuvia::test {

inline constexpr const char* kAnswer = R"({"configs":{"the_key":"the value"}})";

// A client and what its fetches say. The fetches run on the test's own thread.
class FetchTest : public ConfigTest {
 protected:
  // The body of its requests, by the version that they carry and the rest of "extendInfo".
  static std::string body(const std::string& version = "9.8.7", const std::string& extendInfo = {}) {
    return R"({"bssCode":"the_code","bssMode":"all","bssVersion":"0","client":"pc","extendInfo":{)" + extendInfo +
           R"("zuuid":"1234567890123"},"osVersion":")" + WideToAnsi(osVersionString()) + R"(","version":")" + version +
           "\"}";
  }

  // The line about a transfer, and its first and last parts for those whose error text is not fixed.
  static std::wstring transferLine(int code, const std::string& error, const std::string& url) {
    return lineBeforeError(code) + toWide(error) + lineAfterError(url);
  }
  static std::wstring lineBeforeError(int code) {
    return std::wstring(L"DoFetchJob bssCode: the_code, ret: ") + (code == 0 ? L"true" : L"false") + L", curlCode: " +
           std::to_wstring(code) + L", curlError: ";
  }
  static std::wstring lineAfterError(const std::string& url) { return toWide(", url: " + url + ", body: " + body()); }

  // How the curl mutex stands, as another process sees it.
  static MutexState curlMutex() { return SecondProcess().tryMutex(kCurlMutex); }

  std::string cacheContent() const { return readFile(cachePath()); }
  static std::vector<std::string> journal() { return Journal::instance().events(); }

  RecordingClient client;
};

}  // namespace zuvia::test
