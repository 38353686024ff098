#include "integration/disk/DiskTest.h"

#include <json/json.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "integration/faults/FaultsTest.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const wchar_t* kTaskBegins = L"Try download plugin ver: ";

std::vector<WideText> wide(const Messages& messages) {
  return {messages.begin(), messages.end()};
}

}  // namespace

DiskTest::DiskTest()
    : guid_(module, "CoCreateGuid", [this](auto*, GUID* guid) {
        *guid = {number_, 0x4d, 0x0e0f, {}};
        return S_OK;
      }) {
  addVersion(L"2.0.0.45");
  server.serve("POST", "/configs/pc/post", Answer::respond(200, usual.answer()));
  server.serve("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, usual.package));
  invariants.emplace(tree);
  run({}, nothing);  // what is opened once per process
  published_ = listTree(target);
  EXPECT_EQ(readFile(modulePath(L"2.0.0.47")), content);
  clear();
}

void DiskTest::TearDown() {
  if (recovered_) return;
  addVersion(L"2.0.0.45");
  clear();
  live({});
  EXPECT_THAT(invariants->violations(), IsEmpty());
}

void DiskTest::live(const Life& expected, const Fault& fault) {
  const Messages decision = expected.decision.value_or(usualDecision());
  const Messages task = expected.task.value_or(usualTask());
  {
    const LeakCheck check(8);
    run(expected, fault);
  }
  invariants->hostSaid(log.messages());
  expectMessages(expected, decision, expected.laterTask ? expected.laterTask() : task);
  offered_ = usual;
  recovered_ = false;
}

void DiskTest::recover(const Life& expected) {
  EXPECT_THAT(invariants->violations(), IsEmpty());
  live(expected);
  EXPECT_THAT(checkContent(target, published_, false), IsEmpty());
  clear();
  recovered_ = true;
}

void DiskTest::watch() {
  invariants.emplace(tree);
  invariants->expectVersion(L"2.0.0.47", published_);
}

void DiskTest::takeBack() {
  removeTree(target);
  watch();
}

void DiskTest::clear() {
  removeTree(cacheDirectory);
  for (const WideText& path : leftovers()) removeTree(path);
  takeBack();
}

void DiskTest::offerOnce(const Offer& other) {
  offered_ = other;
  server.expect("POST", "/configs/pc/post", Answer::respond(200, other.answer()));
}

Messages DiskTest::usualDecision() const {
  Messages lines = {L"Directory not exist: " + target};
  if (!directoryExists(downloads)) lines.push_back(L"Directory not exist: " + downloads + L", create: 0");
  return lines;
}

Messages DiskTest::usualTask() const {
  return {L"Download success ver:  2.0.0.47", L"Unzip file success path: " + temporary(),
          L"Try published download plugin : false", L"MoveFileExW  published: true, dest: " + target, kTold};
}

Messages DiskTest::afterDownload(const Messages& lines) const {
  Messages all = {L"Download success ver:  2.0.0.47"};
  all.insert(all.end(), lines.begin(), lines.end());
  all.emplace_back(kSkipped);
  return all;
}

Messages DiskTest::afterUnpacking(const Messages& lines) const {
  Messages all = {L"Unzip file success path: " + temporary()};
  all.insert(all.end(), lines.begin(), lines.end());
  return afterDownload(all);
}

std::wstring DiskTest::fileStays(const std::wstring& path, unsigned error) {
  return L"Delete file fail! error: " + std::to_wstring(error) + L", path: " + path;
}

std::wstring DiskTest::directoryStays(const std::wstring& path, unsigned error) {
  return L"Remove directory fail! error: " + std::to_wstring(error) + L", path: " + path;
}

std::string DiskTest::sentHitSequence() const {
  Json::Value request;
  std::istringstream(lastConfigurationRequest()) >> request;
  return request["extendInfo"]["hitseq"].asString();
}

// By name only: what is in them may be held.
std::vector<WideText> DiskTest::leftovers() const {
  std::vector<WideText> paths;
  const auto add = [&](const std::filesystem::directory_entry& entry) { paths.emplace_back(entry.path().wstring()); };
  if (directoryExists(downloads)) {
    std::ranges::for_each(std::filesystem::directory_iterator(cachePath(L"update")), add);
  }
  for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.root())) {
    if (entry.path().wstring().starts_with(tree.root() + L"\\.update-")) add(entry);
  }
  return paths;
}

void DiskTest::run(const Life& expected, const Fault& fault) {
  clock_.advance(std::chrono::seconds(30));
  entry().onLoaded(nullptr);
  expectLoaded(expected);
  log.clear();
  const std::unique_ptr<ArmedFault> armed = fault(module);
  exchange();
  entry().onUnload();
  EXPECT_TRUE(armed->happened());
  ++number_;
}

void DiskTest::expectLoaded(const Life& expected) const {
  const std::wstring& directory = expected.directory.empty() ? expected.version : expected.directory;
  EXPECT_THAT(log.messages(), Contains(WideText(L"Load plugin success, path: " + modulePath(directory) +
                                                L", version: " + expected.version)));
}

void DiskTest::expectMessages(const Life& expected, const Messages& decision, const Messages& task) const {
  expectHostMessages(expected);
  const Messages fetch = fetchMessages(expected, decision);
  EXPECT_THAT(messagesOf(threadOf(L"DoFetchJob ")), ElementsAreArray(wide(fetch)));
  Messages update = task;
  if (!task.empty()) {
    update.insert(update.begin(), kTaskBegins + toWide(offered_.version) + L", url:  " + toWide(offered_.url));
    EXPECT_THAT(messagesOf(threadOf(kTaskBegins)), ElementsAreArray(wide(update)));
  }
  EXPECT_EQ(log.lines().size(), expected.host.size() + 3 + fetch.size() + update.size());
}

void DiskTest::expectHostMessages(const Life& expected) const {
  Messages host = {L"setHostInfo uid: 4711, ver: 9.1.2, env: true", L"setHostInfo path: " + tree.appPath()};
  host.insert(host.end(), expected.host.begin(), expected.host.end());
  host.emplace_back(L"onUnload");
  EXPECT_THAT(messagesOf(GetCurrentThreadId()), ElementsAreArray(wide(host)));
}

Messages DiskTest::fetchMessages(const Life& expected, const Messages& decision) const {
  Messages lines = {expected.stored.value_or(L"Stored cache to persistent file: " + cachePath(L"bbs.cache")),
                    L"DoFetchJob bssCode: zu_kx_anchor, ret: true, curlCode: 0, curlError: No error, url: "
                    L"https://localhost:18443/configs/pc/post, body: " +
                        toWide(lastConfigurationRequest()),
                    L"Fetch ZuUpdateConfig success str: [ver: " + toWide(offered_.version) + L", pmd5: " +
                        toWide(offered_.pmd5) + L", dmd5:" + toWide(offered_.dmd5) + L", url: " + toWide(offered_.url) +
                        L"]"};
  lines.insert(lines.end(), decision.begin(), decision.end());
  lines.push_back(L"onFetch success key: zu_plugin_update, value: " + toWide(offered_.entry()));
  return lines;
}

std::string DiskTest::lastConfigurationRequest() const {
  std::string body;
  for (const Request& request : server.requests()) {
    if (request.method == "POST") body = request.body;
  }
  return body;
}

std::wstring DiskTest::nameOfLife() const {
  std::array<wchar_t, 17> text = {};
  std::swprintf(text.data(), text.size(), L"%08lx004d0e0f", number_);
  return text.data();
}

}  // namespace zuvia::test
