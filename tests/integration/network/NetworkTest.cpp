#include "integration/network/NetworkTest.h"

#include <json/json.h>

#include <chrono>
#include <sstream>

#include "support/Files.h"

namespace zuvia::test {

unsigned short deadPort() {
  const TestServer gone;
  return gone.port();
}

NetworkTest::NetworkTest()
    : guid_(module, "CoCreateGuid", [](auto*, GUID* guid) {
        *guid = {0x89abcdef, 0x0123, 0x4567, {}};
        return S_OK;
      }) {
  writeFile(cachePath(L"hit.cache"), "0123456789ABCDEF");
  load();
  entry().onUnload();
  log.clear();
}

NetworkTest::Detour::Detour(HMODULE module, unsigned short port)
    : hook_(module, "connect", [port](auto* original, SOCKET socket, const sockaddr* address, int size) {
        auto target = *reinterpret_cast<const sockaddr_in*>(address);
        const bool toService = target.sin_family == AF_INET && target.sin_port == htons(18443);
        if (!toService) return original(socket, address, size);
        target.sin_port = htons(port);
        return original(socket, reinterpret_cast<const sockaddr*>(&target), sizeof target);
      }) {}

void NetworkTest::begin() {
  log.clear();
  entry().onLoaded(nullptr);
  send("setHostInfo", hostInformation());
}

std::vector<WideText> NetworkTest::end(const std::wstring& start, unsigned milliseconds) {
  if (!log.waitForStart(start, milliseconds)) {
    ADD_FAILURE() << toUtf8(start) << " is not in " << testing::PrintToString(log.messages());
    return {};
  }
  const unsigned long thread = threadOf(start);
  entry().onUnload();
  clock_.advance(std::chrono::seconds(31));
  return messagesOf(thread);
}

std::vector<WideText> NetworkTest::live(const std::wstring& start) {
  begin();
  return end(start);
}

std::wstring NetworkTest::requestLine(int code, const std::string& error, const std::string& body) const {
  return L"DoFetchJob bssCode: zu_kx_anchor, ret: " + std::wstring(code == 0 ? L"true" : L"false") + L", curlCode: " +
         std::to_wstring(code) + L", curlError: " + toWide(error) +
         L", url: https://localhost:18443/configs/pc/post, body: " + toWide(body);
}

std::vector<std::string> NetworkTest::cachedAnswers() const {
  std::istringstream content(readFile(cachePath(L"bbs.cache")));
  if (content.str().empty()) return {};
  Json::Value cache;
  content >> cache;
  std::vector<std::string> answers;
  for (const Json::Value& exchange : cache["entries"]) {
    EXPECT_EQ(exchange["key_url"].asString(), "https://localhost:18443/configs/pc/post");
    answers.push_back(exchange["response_data"].asString());
  }
  return answers;
}

void NetworkTest::expectNothingLeft() {
  const std::wstring downloads = cachePath(L"update");
  EXPECT_EQ(directoryExists(downloads) ? listTree(downloads) : TreeListing(), TreeListing());
  EXPECT_EQ(second_.tryMutex(kTransferLock), MutexState::Free);
}

}  // namespace zuvia::test
