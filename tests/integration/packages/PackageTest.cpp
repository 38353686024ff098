#include "integration/packages/PackageTest.h"

#include <windows.h>

#include <algorithm>

#include "support/Digest.h"
#include "support/Files.h"
#include "support/RootStore.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::ElementsAreArray;
using testing::UnorderedElementsAreArray;

constexpr GUID kGuid = {0x00112233, 0xAABB, 0xCCDD, {0, 1, 2, 3, 4, 5, 6, 7}};
constexpr const char* kUrl = "https://config.zuvia.example/zuimpl-2.0.0.47.7z";
constexpr const wchar_t* kPublished = L"onNotifyEvent cmd: pluginUpgradeEvent, data: 2.0.0.47";
constexpr const wchar_t* kNotPublished = L"Publish plugin fail, skip update callback, ver: 2.0.0.47";

// The listing of an install tree without what an update may change: the new version and the cache.
TreeListing withoutUpdate(TreeListing listing) {
  std::erase_if(listing, [](const auto& item) {
    const std::wstring path = item.first + L'\\';
    return path.starts_with(L"root\\2.0.0.47\\") || path.starts_with(L"app\\zuviaplugin\\");
  });
  return listing;
}

std::vector<WideText> namesIn(const TreeListing& listing) {
  std::vector<WideText> names;
  for (const auto& [name, what] : listing) names.emplace_back(name);
  return names;
}

// The name under which a module lies among these files.
std::wstring moduleAmong(const Contents& files) {
  for (const auto& [name, content] : files) {
    if (_wcsicmp(name.c_str(), L"zuimpl.dll") == 0) return name;
  }
  return {};
}

void replaceAll(std::wstring& text, const std::wstring& mark, const std::wstring& value) {
  for (size_t at = text.find(mark); at != std::wstring::npos; at = text.find(mark, at + value.size())) {
    text.replace(at, mark.size(), value);
  }
}

}  // namespace

PackageTest::PackageTest()
    : guid_(module, "CoCreateGuid",
            [](auto*, GUID* guid) -> HRESULT {
              *guid = kGuid;
              return S_OK;
            }),
      roots_(module, "CertOpenSystemStoreA", [this](auto...) { return openStoreOf(server.rootPem()); }) {}

void PackageTest::SetUp() {
  tree.addFile(L"zuimpl.dll.txt", "beside the versions");
  writeFile(tree.base() + L"\\around\\zuimpl.txt", "beside the root");
  writeFile(tree.appPath() + L"\\settings.txt", "the host's");
  load();
  before_ = withoutUpdate(tree.listAll());
}

void PackageTest::expectPublished(const std::string& package, const Contents& files) {
  expectLines(update(package), publication());
  expectAfterwards(files);
}

void PackageTest::expectRefused(const std::string& package, const std::vector<std::wstring>& lines) {
  std::vector<std::wstring> expected = lines;
  expected.insert(expected.end(), {L"Unzip file return fail!", kNotPublished});
  expectLines(update(package), expected);
  expectAfterwards({});
}

bool PackageTest::expectPublishedOrRefused(const std::string& package, const Contents& files,
                                           const std::vector<std::wstring>& oneOfTheseLines) {
  const std::vector<WideText> lines = update(package);
  const bool published = lines.back() == kPublished;
  if (published) {
    expectLines(lines, publication());
  } else {
    EXPECT_THAT(filledIn(oneOfTheseLines), Contains(lines.at(2)));
    expectLines(lines, {lines.at(2), L"Unzip file return fail!", kNotPublished});
  }
  expectAfterwards(published ? files : Contents());
  return published;
}

void PackageTest::expectUnpackedOnly(const std::string& package) {
  expectLines(update(package), {L"Unzip file success path: <temporary>", kNotPublished});
  expectAfterwards({});
}

// Returns the lines of the update task.
std::vector<WideText> PackageTest::update(const std::string& package) {
  serve({"2.0.0.47", package, md5(package), md5(implementation), kUrl});
  log.clear();
  watch_.emplace(module);
  EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
  for (int waits = 0; waits < 2000 && !log.waitFor(kPublished, 10) && !log.waitFor(kNotPublished, 0); ++waits) {
  }
  return messagesOf(threadOf(L"Try download plugin ver: "));
}

void PackageTest::expectLines(const std::vector<WideText>& lines, const std::vector<std::wstring>& expected) const {
  std::vector<std::wstring> all = {
      L"Try download plugin ver: 2.0.0.47, url:  https://config.zuvia.example/zuimpl-2.0.0.47.7z",
      L"Download success ver:  2.0.0.47"};
  all.insert(all.end(), expected.begin(), expected.end());
  EXPECT_THAT(lines, ElementsAreArray(filledIn(all)));
}

void PackageTest::expectAfterwards(const Contents& files) {
  upgrades_ += files.empty() ? 0 : 1;
  expectRunning();
  entry().onUnload();
  expectNothingElse();
  expectVersion(files);
}

// The old version runs, every lock is free, and the host was told of each upgrade once.
void PackageTest::expectRunning() {
  EXPECT_TRUE(loader().isLoaded());
  EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
  EXPECT_NE(GetModuleHandleW(modulePath(L"2.0.0.45").c_str()), nullptr);
  EXPECT_EQ(send("echo", "still here"), "still here");
  const std::vector<std::string> raised = events();
  EXPECT_EQ(std::ranges::count(raised, "pluginUpgradeEvent=2.0.0.47"), upgrades_);
  for (const wchar_t* name :
       {L"Local\\ZuviaPluginCurlGlobal", L"Local\\ZuviaPluginUpdate-2.0.0.47", L"Local\\ZuviaPluginCleanup"}) {
    EXPECT_EQ(second_.tryMutex(name), MutexState::Missing) << toUtf8(name);
  }
}

// Nothing was touched but what an update may touch, and nothing is left but what it may leave.
void PackageTest::expectNothingElse() {
  EXPECT_THAT(watch_->paths(), Contains(download_));
  EXPECT_THAT(watch_->pathsOutside({temporary_, target_, tree.appPath() + L"\\zuviaplugin\\cache"}),
              UnorderedElementsAreArray(filledIn(elsewhere)));
  watch_.reset();
  EXPECT_EQ(describeChanges(before_, withoutUpdate(tree.listAll())), "");
  EXPECT_THAT(namesIn(listTree(tree.appPath() + L"\\zuviaplugin")),
              ElementsAreArray({L"cache", L"cache\\bbs.cache", L"cache\\hit.cache", L"cache\\update"}));
}

// The version directory has these files, plain ones, and the host loads what there is now.
void PackageTest::expectVersion(const Contents& files) {
  EXPECT_EQ(directoryExists(target_), !files.empty());
  if (directoryExists(target_)) {
    EXPECT_EQ(describeChanges(listingOf(files), listTree(target_)), "");
    for (const auto& [name, content] : files) {
      const DWORD attributes = GetFileAttributesW((target_ + L'\\' + name).c_str());
      EXPECT_EQ(attributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_REPARSE_POINT), 0u) << toUtf8(name);
    }
    if (loadable) {
      expectLoad(L"2.0.0.47", target_ + L'\\' + moduleAmong(files));
      entry().onUnload();
    }
    removeTree(target_);
  }
  expectLoad(L"2.0.0.45", modulePath(L"2.0.0.45"));
}

void PackageTest::expectLoad(const std::wstring& version, const std::wstring& path) {
  log.clear();
  entry().onLoaded("C:\\host");
  EXPECT_THAT(log.messages(), Contains(L"Load plugin success, path: " + path + L", version: " + version));
}

std::vector<std::wstring> PackageTest::publication() const {
  return {L"Unzip file success path: <temporary>", L"Try published download plugin : false",
          L"MoveFileExW  published: true, dest: " + target_, L"onUpdateSuccess newVer: 2.0.0.47", kPublished};
}

std::vector<WideText> PackageTest::filledIn(const std::vector<std::wstring>& lines) const {
  std::vector<WideText> filled(lines.begin(), lines.end());
  for (WideText& line : filled) {
    replaceAll(line, L"<temporary>", temporary_);
    replaceAll(line, L"<package>", download_);
  }
  return filled;
}

}  // namespace zuvia::test
