#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <vector>

#include <json/reader.h>

#include "ConfigTest.h"
#include "FakeClock.h"
#include "RecordingClient.h"
#include "support/HandleCount.h"
#include "support/ImportHook.h"
#include "support/SecondProcess.h"
#include "support/WideText.h"

#include <shlobj.h>  // after windows.h

namespace zuvia {
namespace {

using test::directoryExists;
using test::FailingImport;
using test::FakeClock;
using test::ImportHook;
using test::kEveryCall;
using test::LogLine;
using test::readFile;
using test::RecordedImport;
using test::writeFile;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

constexpr int64_t kStart = 1'700'000'000 * FakeClock::kSecond;
constexpr const wchar_t* kTooFast = L"Stored cache too fastest, just ignore! ";

Json::Value parse(const std::string& text) {
  std::istringstream stream(text);
  Json::Value document;
  std::string errors;
  EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &document, &errors)) << errors;
  return document;
}

// ---- Where the file lies.

using BssConfigCachePath = test::ConfigTest;

TEST_F(BssConfigCachePath, IsBelowTheApplicationPath) {
  const test::RecordingClient client;
  EXPECT_TRUE(test::fileExists(cachePath()));
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(BssConfigCachePath, TakesABackslashAtTheEndOfTheApplicationPath) {
  hostInfo().appPathW = tree.appPath() + L"\\";
  RecordedImport<decltype(CreateFileW), std::wstring> opened(self(), "CreateFileW",
                                                             [](const wchar_t* path, auto...) { return path; });
  const test::RecordingClient client;
  EXPECT_THAT(opened.records(), ElementsAre(cachePath()));
}

TEST_F(BssConfigCachePath, IsBelowTheTemporaryDirectoryWithoutAnApplicationPath) {
  hostInfo().appPathW = L"";
  std::vector<DWORD> sizes;
  const ImportHook<decltype(GetTempPathW)> hook(self(), "GetTempPathW",
                                                [&](auto*, DWORD size, wchar_t* buffer) -> DWORD {
                                                  sizes.push_back(size);
                                                  wcscpy(buffer, (tree.appPath() + L"\\").c_str());
                                                  return static_cast<DWORD>(wcslen(buffer));
                                                });
  const test::RecordingClient client;
  EXPECT_TRUE(test::fileExists(cachePath()));
  EXPECT_THAT(sizes, ElementsAre(260U));
  ASSERT_THAT(log.messages(),
              ElementsAre(L"Cache path is empty! Try use default cache dir: " + tree.appPath() + L"\\"));
  EXPECT_EQ(log.lines().front().functionName, "BssConfig::BssConfig");
  EXPECT_EQ(log.lines().front().className, "BssConfig");
  EXPECT_EQ(log.lines().front().sourceFile, "..\\common\\config\\BssConfig");
  EXPECT_EQ(log.lines().front().level, 1);
}

TEST_F(BssConfigCachePath, AddsTheBackslashToTheTemporaryDirectoryToo) {
  hostInfo().appPathW = L"";
  const ImportHook<decltype(GetTempPathW)> hook(self(), "GetTempPathW", [&](auto*, DWORD, wchar_t* buffer) -> DWORD {
    wcscpy(buffer, tree.appPath().c_str());
    return static_cast<DWORD>(wcslen(buffer));
  });
  const test::RecordingClient client;
  EXPECT_TRUE(test::fileExists(cachePath()));
}

TEST_F(BssConfigCachePath, IsOnTheCurrentDriveWhenThereIsNoTemporaryDirectory) {
  hostInfo().appPathW = L"";
  const FailingImport<decltype(GetTempPathW)> noDirectory(self(), "GetTempPathW", 0, {.lastError = 0x80000005});
  const FailingImport<decltype(SHCreateDirectoryExW)> noParent(self(), "SHCreateDirectoryExW", ERROR_ACCESS_DENIED, {});
  const test::RecordingClient client;
  EXPECT_EQ(noDirectory.failures(), 1U);
  EXPECT_THAT(log.messages(), ElementsAre(L"Cache path is empty! Try use default cache dir: ",
                                          L"Create directory failed: \\zuviaplugin\\cache"));
}

TEST_F(BssConfigCachePath, StaysThatOfTheConstruction) {
  test::RecordingClient client;
  hostInfo().appPathW = tree.root();
  client.StoreToCache({"u", "b", {}}, "r");
  EXPECT_THAT(log.messages(), ElementsAre(L"Stored cache to persistent file: " + cachePath()));
}

// ---- Making sure that it exists.

class BssConfigCheckCache : public test::ConfigTest {
 protected:
  using Opening = std::tuple<DWORD, DWORD, DWORD>;  // access, share, disposition

  bool check() const { return BssConfig::CheckCache(path); }

  // Fails the openings of the cache file that ask for this access.
  FailingImport<decltype(CreateFileW)>::Matcher opens(DWORD access) const {
    return [this, access](const wchar_t* opened, DWORD wanted, auto...) { return path == opened && wanted == access; };
  }

  const std::wstring path = tree.appPath() + L"\\one\\two\\bbs.cache";
  const std::wstring directory = tree.appPath() + L"\\one\\two";
  RecordedImport<decltype(CreateFileW), Opening> openings{
      self(), "CreateFileW", [](const wchar_t*, DWORD access, DWORD share, auto*, DWORD disposition, auto...) {
        return Opening(access, share, disposition);
      }};
};

TEST_F(BssConfigCheckCache, MakesTheFileWithAllItsDirectories) {
  EXPECT_TRUE(check());
  EXPECT_EQ(readFile(path), "");
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(BssConfigCheckCache, MakesTheFileWithoutSharingIt) {
  check();
  EXPECT_THAT(openings.records(), ElementsAre(Opening(GENERIC_WRITE, 0, CREATE_ALWAYS)));
}

TEST_F(BssConfigCheckCache, LeavesAReadableFileAlone) {
  writeFile(path, "kept");
  EXPECT_TRUE(check());
  EXPECT_EQ(readFile(path), "kept");
  EXPECT_THAT(openings.records(), testing::Contains(Opening(GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING)));
  EXPECT_THAT(openings.records(), testing::Not(testing::Contains(Opening(GENERIC_WRITE, 0, CREATE_ALWAYS))));
}

TEST_F(BssConfigCheckCache, LeavesNothingOpen) {
  check();
  const test::HandleCheck unchanged;
  EXPECT_TRUE(check());
  DeleteFileW(path.c_str());
  EXPECT_TRUE(check());
}

TEST_F(BssConfigCheckCache, MakesAFileAnewThatCannotBeRead) {
  writeFile(path, "unreadable");
  const FailingImport<decltype(CreateFileW)> failing(self(), "CreateFileW", INVALID_HANDLE_VALUE,
                                                     {.lastError = ERROR_ACCESS_DENIED}, opens(GENERIC_READ));
  EXPECT_TRUE(check());
  EXPECT_EQ(failing.failures(), 1U);
  EXPECT_EQ(readFile(path), "");
}

TEST_F(BssConfigCheckCache, FailsForAFileThatAnotherProcessKeeps) {
  writeFile(path, "kept");
  test::SecondProcess second;
  second.holdFile(path);
  EXPECT_FALSE(check());
  EXPECT_THAT(log.messages(), ElementsAre(L"Create file failed: " + path));
  second.releaseFiles();
  EXPECT_EQ(readFile(path), "kept");
}

TEST_F(BssConfigCheckCache, FailsWhenTheFileCannotBeMade) {
  const FailingImport<decltype(CreateFileW)> failing(self(), "CreateFileW", INVALID_HANDLE_VALUE,
                                                     {.lastError = 0x80000005}, opens(GENERIC_WRITE));
  EXPECT_FALSE(check());
  EXPECT_EQ(failing.failures(), 1U);
  ASSERT_THAT(log.messages(), ElementsAre(L"Create file failed: " + path));
  EXPECT_EQ(log.lines().front().className, "BssConfig");
  EXPECT_EQ(log.lines().front().sourceFile, "..\\common\\config\\BssConfig");
  EXPECT_EQ(log.lines().front().functionName, "BssConfig::CheckCache");
  EXPECT_EQ(log.lines().front().level, 1);
}

TEST_F(BssConfigCheckCache, FailsForADirectoryOfThatName) {
  test::makeDirectories(path);
  EXPECT_FALSE(check());
  EXPECT_THAT(log.messages(), ElementsAre(L"Create file failed: " + path));
  EXPECT_TRUE(directoryExists(path));
}

TEST_F(BssConfigCheckCache, FailsWhereAFileStandsInTheWayOfADirectory) {
  writeFile(tree.appPath() + L"\\one", "a file");
  EXPECT_FALSE(check());
  EXPECT_THAT(log.messages(), ElementsAre(L"Create directory failed: " + directory));
}

TEST_F(BssConfigCheckCache, FailsWhenTheDirectoryCannotBeMade) {
  for (const long code : {ERROR_ACCESS_DENIED, ERROR_FILE_EXISTS, static_cast<long>(0x80000005)}) {
    log.clear();
    const FailingImport<decltype(SHCreateDirectoryExW)> failing(self(), "SHCreateDirectoryExW", static_cast<int>(code),
                                                                {});
    EXPECT_FALSE(check());
    EXPECT_EQ(failing.failures(), 1U);
    EXPECT_THAT(log.messages(), ElementsAre(L"Create directory failed: " + directory));
  }
  EXPECT_THAT(openings.records(), IsEmpty());
}

TEST_F(BssConfigCheckCache, GoesOnWhenTheDirectoryExists) {
  test::makeDirectories(directory);
  const FailingImport<decltype(SHCreateDirectoryExW)> exists(self(), "SHCreateDirectoryExW", ERROR_ALREADY_EXISTS, {});
  EXPECT_TRUE(check());
  EXPECT_EQ(exists.failures(), 1U);
  EXPECT_EQ(readFile(path), "");
}

TEST_F(BssConfigCheckCache, FailsQuietlyForANameWithoutADirectory) {
  EXPECT_FALSE(BssConfig::CheckCache(L"zuvia-no-such.cache"));
  EXPECT_FALSE(BssConfig::CheckCache(L""));
  EXPECT_THAT(log.messages(), IsEmpty());
  EXPECT_THAT(openings.records(), IsEmpty());
}

TEST_F(BssConfigCheckCache, MakesNoDirectoryForTheTopOfTheDrive) {
  const FailingImport<decltype(SHCreateDirectoryExW)> directories(self(), "SHCreateDirectoryExW", 0, {});
  const FailingImport<decltype(CreateFileW)> failing(self(), "CreateFileW", INVALID_HANDLE_VALUE, {});
  EXPECT_FALSE(BssConfig::CheckCache(L"\\zuvia-no-such.cache"));
  EXPECT_EQ(directories.calls(), 0U);
  EXPECT_THAT(log.messages(), ElementsAre(L"Create file failed: \\zuvia-no-such.cache"));
}

// ---- Recording exchanges.

class BssConfigStoreToCache : public test::ConfigTest {
 protected:
  void store(const std::string& url, const std::string& response) {
    client.StoreToCache({url, "body", {"uid: 1"}}, response);
  }

  // URL and answer of each entry in the file.
  std::vector<std::pair<std::string, std::string>> stored() const {
    std::vector<std::pair<std::string, std::string>> entries;
    const Json::Value document = parse(readFile(cachePath()));
    for (const Json::Value& entry : document["entries"]) {
      entries.emplace_back(entry["key_url"].asString(), entry["response_data"].asString());
    }
    return entries;
  }

  std::wstring storedLine() const { return L"Stored cache to persistent file: " + cachePath(); }

  test::RecordingClient client;
  FakeClock clock{kStart};
};

TEST_F(BssConfigStoreToCache, WritesTheFirstExchange) {
  client.StoreToCache({"https://x/y", "{\"a\":1}", {"uid: 5"}}, "{\"configs\":{}}");
  Json::Value entry;
  entry["key_url"] = "https://x/y";
  entry["key_post_body"] = "{\"a\":1}";
  entry["key_headers"].append("uid: 5");
  entry["response_data"] = "{\"configs\":{}}";
  entry["timestamp_ms"] = Json::Int64(1'700'000'000'000);
  Json::Value document;
  document["entries"].append(entry);
  EXPECT_EQ(parse(readFile(cachePath())), document);
  ASSERT_THAT(log.messages(), ElementsAre(storedLine()));
  const LogLine line = log.lines().front();
  EXPECT_EQ(line.level, 1);
  EXPECT_EQ(line.className, "BssConfig");
  EXPECT_EQ(line.sourceFile, "..\\common\\config\\BssConfig");
  EXPECT_EQ(line.functionName, "BssConfig::StoreToCache");
}

TEST_F(BssConfigStoreToCache, WritesIndentedText) {
  store("u", "r");
  EXPECT_TRUE(readFile(cachePath()).starts_with("{\r\n\t\"entries\" : \r\n\t[\r\n\t\t{\r\n"));
}

TEST_F(BssConfigStoreToCache, ReplacesWhatWasInTheFile) {
  writeFile(cachePath(), std::string(100'000, '#'));
  store("u", "r");
  EXPECT_THAT(stored(), ElementsAre(Pair("u", "r")));
}

TEST_F(BssConfigStoreToCache, WritesOnceWithin29Seconds) {
  store("first", "1");
  clock.advance(29 * FakeClock::kSecond);
  store("second", "2");
  EXPECT_THAT(stored(), ElementsAre(Pair("first", "1")));
  EXPECT_THAT(log.messages(), ElementsAre(storedLine(), kTooFast));
}

TEST_F(BssConfigStoreToCache, WritesASkippedExchangeTheNextTime) {
  store("first", "1");
  clock.advance(29 * FakeClock::kSecond);
  store("second", "2");
  clock.advance(FakeClock::kSecond);
  store("third", "3");
  EXPECT_THAT(stored(), UnorderedElementsAre(Pair("first", "1"), Pair("second", "2"), Pair("third", "3")));
  EXPECT_THAT(log.messages(), ElementsAre(storedLine(), kTooFast, storedLine()));
}

TEST_F(BssConfigStoreToCache, CountsWholeSecondsOnly) {
  store("first", "1");
  clock.advance(30 * FakeClock::kSecond - 1);
  store("second", "2");
  clock.advance(1);
  store("third", "3");
  EXPECT_THAT(log.messages(), ElementsAre(storedLine(), kTooFast, storedLine()));
}

TEST_F(BssConfigStoreToCache, CountsFromTheLastWrite) {
  store("first", "1");
  clock.advance(30 * FakeClock::kSecond);
  store("second", "2");
  clock.advance(29 * FakeClock::kSecond);
  store("third", "3");
  EXPECT_THAT(log.messages(), ElementsAre(storedLine(), storedLine(), kTooFast));
}

TEST_F(BssConfigStoreToCache, WritesNothingWhileTheClockIsBehind) {
  store("first", "1");
  clock.advance(-FakeClock::kSecond * 3600);
  store("second", "2");
  EXPECT_THAT(log.messages(), ElementsAre(storedLine(), kTooFast));
}

TEST_F(BssConfigStoreToCache, KeepsOneEntryPerKeyWithTheNewerAnswer) {
  store("u", "old");
  clock.advance(31 * FakeClock::kSecond);
  store("u", "new");
  EXPECT_THAT(stored(), ElementsAre(Pair("u", "new")));
  EXPECT_EQ(parse(readFile(cachePath()))["entries"][0]["timestamp_ms"].asInt64(), 1'700'000'031'000);
}

TEST_F(BssConfigStoreToCache, ReplacesAnEntryAlsoWhenTheWriteIsSkipped) {
  store("u", "old");
  clock.advance(10 * FakeClock::kSecond);
  store("u", "newer");
  clock.advance(20 * FakeClock::kSecond);
  store("v", "last");
  EXPECT_THAT(stored(), UnorderedElementsAre(Pair("u", "newer"), Pair("v", "last")));
}

TEST_F(BssConfigStoreToCache, SaysWhenTheFileCannotBeOpened) {
  const FailingImport<decltype(_wfopen)> failing(
      self(), "_wfopen", nullptr, {.errnoValue = EACCES, .callCount = kEveryCall},
      [this](const wchar_t* path, const wchar_t*) { return path == cachePath(); });
  store("u", "r");
  EXPECT_EQ(failing.failures(), 1U);
  EXPECT_THAT(log.messages(), ElementsAre(L"Failed to write to persistent cache file: " + cachePath()));
  EXPECT_EQ(readFile(cachePath()), "");
}

TEST_F(BssConfigStoreToCache, SaysWhenTheDirectoryHasGone) {
  test::removeTree(tree.appPath() + L"\\zuviaplugin");
  store("u", "r");
  EXPECT_THAT(log.messages(), ElementsAre(L"Failed to write to persistent cache file: " + cachePath()));
}

TEST_F(BssConfigStoreToCache, WaitsAfterAFailedWriteToo) {
  test::removeTree(tree.appPath() + L"\\zuviaplugin");
  store("first", "1");
  BssConfig::CheckCache(cachePath());
  log.clear();
  clock.advance(29 * FakeClock::kSecond);
  store("second", "2");
  EXPECT_THAT(log.messages(), ElementsAre(kTooFast));
  clock.advance(FakeClock::kSecond);
  store("third", "3");
  EXPECT_THAT(stored(), UnorderedElementsAre(Pair("first", "1"), Pair("second", "2"), Pair("third", "3")));
}

TEST_F(BssConfigStoreToCache, SharesTheTableAndTheTimeAmongAllClients) {
  hostInfo().appPathW = tree.root();
  test::RecordingClient other;
  store("first", "1");
  other.StoreToCache({"second", "body", {}}, "2");
  EXPECT_THAT(log.messages(), ElementsAre(storedLine(), kTooFast));
  clock.advance(30 * FakeClock::kSecond);
  other.StoreToCache({"third", "body", {}}, "3");
  EXPECT_EQ(parse(readFile(tree.root() + L"\\zuviaplugin\\cache\\bbs.cache"))["entries"].size(), 3U);
  EXPECT_THAT(stored(), ElementsAre(Pair("first", "1")));
}

TEST_F(BssConfigStoreToCache, KeepsBytesThatAreNoText) {
  store("u", std::string("a\0\x01", 3));
  EXPECT_THAT(stored(), ElementsAre(Pair("u", std::string("a\0\x01", 3))));
}

TEST_F(BssConfigStoreToCache, LeavesNothingOpen) {
  store("u", "r");
  const test::HandleCheck unchanged;
  for (int i = 0; i < 5; ++i) {
    clock.advance(30 * FakeClock::kSecond);
    store("u", "r");
  }
}

TEST_F(BssConfigStoreToCache, WritesOneAtATime) {
  constexpr int kThreads = 4;
  constexpr int kStores = 10;
  std::atomic<int> inside = 0;
  std::atomic<int> most = 0;
  std::atomic<int> writes = 0;
  const ImportHook<decltype(_wfopen)> slow(self(), "_wfopen",
                                           [&](auto* original, const wchar_t* path, const wchar_t* mode) -> FILE* {
                                             if (path != cachePath()) return original(path, mode);
                                             most = std::max<int>(most, ++inside);
                                             Sleep(2);
                                             --inside;
                                             ++writes;
                                             clock.advance(30 * FakeClock::kSecond);
                                             return original(path, mode);
                                           });
  std::vector<std::jthread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < kStores; ++i) store(std::to_string(thread * kStores + i), "r");
    });
  }
  threads.clear();
  EXPECT_EQ(most, 1);
  EXPECT_EQ(writes, kThreads * kStores);
  EXPECT_EQ(stored().size(), static_cast<size_t>(kThreads * kStores));
}

}  // namespace
}  // namespace zuvia
