// Which of the modules found is loaded, from where its dependencies come, and what a failure leaves behind.

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "../platform/ScriptedListing.h"
#include "DllLoaderTest.h"
#include "support/HandleCount.h"
#include "support/ImportHook.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr DWORD kError = 0x80000005;

class Loading : public DllLoaderTest {
 protected:
  // The lines of loadZuDll.
  static auto success(const std::wstring& path, const std::wstring& version) {
    return isLine("loadZuDll", L"Load plugin success, path: " + path + L", version: " + version);
  }
  static auto loadFailed(const std::wstring& path, DWORD error) {
    return isLine("loadZuDll",
                  L"Load plugin failed, path: " + path + L", version: 2.0.0.50, error: " + std::to_wstring(error));
  }
  static auto refused(const std::wstring& path) {
    return isLine("loadZuDll", L"Plugin create returned null, path: " + path + L", version: 2.0.0.50");
  }
  auto allFailed(int count) const {
    return isLine("loadZuDll",
                  L"Load plugin fail! All candidates failed, count: " + std::to_wstring(count) + L", dir: " + root());
  }

  bool loadNow() { return loader_.loadZuDll(object_); }

  std::vector<std::string> candidateVersions() const {
    std::vector<std::string> versions;
    for (const DllCandidate& candidate : loader_.candidates()) versions.push_back(candidateVersionString(candidate));
    return versions;
  }

  std::vector<WideText> candidatePaths() const {
    std::vector<WideText> paths;
    for (const DllCandidate& candidate : loader_.candidates()) paths.emplace_back(candidate.path);
    return paths;
  }

  std::vector<WideText> scannedPaths() const {
    std::vector<std::wstring> paths;
    ZuDllLoader::scanDirectory(root(), paths);
    return {paths.begin(), paths.end()};
  }

  // Whether a module is found by its name alone in the directories on the process's search list.
  static bool isOnSearchList(const wchar_t* name) {
    const ModuleHandle module(LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_USER_DIRS));
    return static_cast<bool>(module);
  }
};

// ---- The choice

TEST_F(Loading, TakesTheNewest) {
  addVersion(L"2.0.0.44");
  const std::wstring newest = addVersion(L"2.0.0.47");
  addVersion(L"2.0.0.45");
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(success(newest, L"2.0.0.47")));
  EXPECT_TRUE(loader_.isLoaded());
  EXPECT_TRUE(isModuleLoaded(newest));
  EXPECT_EQ(WideText(loader_.current().path), WideText(newest));
  EXPECT_EQ(candidateVersionString(loader_.current()), "2.0.0.47");
  EXPECT_THAT(candidateVersions(), ElementsAre("2.0.0.47", "2.0.0.45", "2.0.0.44"));
}

TEST_F(Loading, HandsOutTheObjectUntouched) {
  const std::wstring path = addVersion(L"2.0.0.45");
  load();
  const HMODULE module = GetModuleHandleW(path.c_str());
  const auto record =
      reinterpret_cast<const char* (*)()>(reinterpret_cast<void*>(GetProcAddress(module, "testRecord")));
  EXPECT_STREQ(record(), "");
  const auto create =
      reinterpret_cast<CreateImplFunction*>(reinterpret_cast<void*>(GetProcAddress(module, "createImpl")));
  EXPECT_EQ(object_, create());
  EXPECT_NE(object_->queryInterface(IID_IZUPlugin), nullptr);
}

TEST_F(Loading, OrdersVersionsByTheirNumbers) {
  for (const wchar_t* version :
       {L"2.0.0.45", L"9.9.9.9", L"0.0.0.0", L"10.0.0.0", L"65535.65535.65535.65535", L"2.0.1.0", L"2.0.0.46"}) {
    addVersion(version);
  }
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(candidateVersions(), ElementsAre("65535.65535.65535.65535", "10.0.0.0", "9.9.9.9", "2.0.1.0", "2.0.0.46",
                                               "2.0.0.45", "0.0.0.0"));
}

TEST_F(Loading, TakesTheVersionFromTheModuleNotFromTheDirectory) {
  add(L"9", L"2.0.0.44");
  const std::wstring newer = add(L"somewhere\\deep", L"2.0.0.45");
  EXPECT_TRUE(loadNow());
  EXPECT_EQ(WideText(loader_.current().path), WideText(newer));
}

TEST_F(Loading, KeepsTheScanOrderAmong32EqualVersions) {
  for (int number = 0; number < 32; ++number) add(std::to_wstring(number), L"null-object");
  EXPECT_FALSE(loadNow());
  const std::vector<WideText> scanned = scannedPaths();
  ASSERT_THAT(scanned, SizeIs(32));
  EXPECT_EQ(candidatePaths(), scanned);
}

TEST_F(Loading, KeepsTheScanOrderWithinEachVersion) {
  for (int number = 0; number < 20; ++number)
    add(std::to_wstring(number), number % 2 == 0 ? L"2.0.0.44" : L"no-export");
  EXPECT_TRUE(loadNow());
  std::vector<WideText> expected = scannedPaths();
  const std::wstring top = root() + L"\\";
  std::stable_partition(expected.begin(), expected.end(),
                        [&](const WideText& path) { return std::stoi(path.substr(top.size())) % 2 != 0; });
  EXPECT_EQ(candidatePaths(), expected);
}

TEST_F(Loading, TriesTheFirstOfTwoEqualVersionsFirst) {
  add(L"1", L"null-object");
  add(L"2", L"null-object");
  EXPECT_FALSE(loadNow());
  const std::vector<WideText> scanned = scannedPaths();
  ASSERT_THAT(scanned, SizeIs(2));
  EXPECT_THAT(log_.lines(), ElementsAre(refused(scanned[0]), refused(scanned[1]), allFailed(2)));
}

TEST_F(Loading, TakesAnyLetterCaseOfTheName) {
  const std::wstring path = root() + L"\\2.0.0.45\\ZuImpl.DLL";
  copyFile(moduleFile(L"2.0.0.45"), path);
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(success(path, L"2.0.0.45")));
}

TEST_F(Loading, TakesPathsWithBlanksAndAnyCharacter) {
  const InstallTree tree(L"a b \u4e2d\u00e9");
  const PluginLocation location(tree.pluginPath());
  const std::wstring path = tree.addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45")) + L"\\zuimpl.dll";
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(success(path, L"2.0.0.45")));
  loader_.unload();
}

// ---- Candidates that fail

TEST_F(Loading, FallsBackOverAMissingDependency) {
  const std::wstring good = addVersion(L"2.0.0.45");
  const std::wstring broken = add(L"2.0.0.50", L"missing-dependency");
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(loadFailed(broken, ERROR_MOD_NOT_FOUND), success(good, L"2.0.0.45")));
  EXPECT_THAT(candidateVersions(), ElementsAre("2.0.0.50", "2.0.0.45"));
}

TEST_F(Loading, FallsBackOverAMissingExport) {
  const std::wstring good = addVersion(L"2.0.0.45");
  const std::wstring broken = add(L"2.0.0.50", L"no-export");
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(isLine("loadZuDll", L"Plugin export createImpl not found, path: " + broken +
                                                                L", version: 2.0.0.50, error: 127"),
                                        success(good, L"2.0.0.45")));
  EXPECT_FALSE(isModuleLoaded(broken));
}

TEST_F(Loading, FallsBackOverARefusal) {
  const std::wstring good = addVersion(L"2.0.0.45");
  const std::wstring broken = add(L"2.0.0.50", L"null-object");
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(refused(broken), success(good, L"2.0.0.45")));
  EXPECT_FALSE(isModuleLoaded(broken));
}

TEST_F(Loading, FallsBackOverAStandardException) {
  const std::wstring good = addVersion(L"2.0.0.45");
  const std::wstring broken = add(L"2.0.0.50", L"throws");
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(refused(broken), success(good, L"2.0.0.45")));
  EXPECT_FALSE(isModuleLoaded(broken));
}

TEST_F(Loading, FallsBackOverAnyException) {
  const std::wstring good = addVersion(L"2.0.0.45");
  const std::wstring broken = add(L"2.0.0.50", L"throws-int");
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(refused(broken), success(good, L"2.0.0.45")));
  EXPECT_FALSE(isModuleLoaded(broken));
}

TEST_F(Loading, FallsBackOverAnyFailureToLoad) {
  const std::wstring good = addVersion(L"2.0.0.45");
  const std::wstring broken = addVersion(L"2.0.0.47");
  FailingImport<decltype(LoadLibraryExW)> failing(self(), "LoadLibraryExW", nullptr, {.lastError = kError});
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(isLine("loadZuDll", L"Load plugin failed, path: " + broken +
                                                                L", version: 2.0.0.47, error: 2147483653"),
                                        success(good, L"2.0.0.45")));
}

TEST_F(Loading, DropsFilesWithoutAVersion) {
  const std::wstring dropped = tree_.addFile(L"2.0.0.99\\zuimpl.dll", "not a module");
  const std::wstring good = addVersion(L"2.0.0.45");
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(testing::Field(&LogLine::message,
                                                       WideStartsWith(L"Get dll version fail! No version resource")),
                                        success(good, L"2.0.0.45")));
  EXPECT_THAT(candidateVersions(), ElementsAre("2.0.0.45"));
}

TEST_F(Loading, HasOneCandidateLoadedAtATime) {
  const std::vector<std::wstring> paths = {add(L"1", L"no-export"), add(L"2", L"null-object"), add(L"3", L"throws"),
                                           addVersion(L"2.0.0.45")};
  std::vector<std::ptrdiff_t> loadedBefore;
  ImportHook<decltype(LoadLibraryExW)> hook(
      self(), "LoadLibraryExW", [&](auto* original, const wchar_t* path, HANDLE file, DWORD flags) -> HMODULE {
        loadedBefore.push_back(std::count_if(paths.begin(), paths.end(), isModuleLoaded));
        return original(path, file, flags);
      });
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(loadedBefore, ElementsAre(0, 0, 0, 0));
}

// ---- Failures of the whole

TEST_F(Loading, FailsWhenAllCandidatesFail) {
  const std::wstring first = add(L"1", L"missing-dependency");
  addVersion(L"2.0.0.45");
  FailingImport<decltype(GetProcAddress)> failing(
      self(), "GetProcAddress", nullptr, {.lastError = kError, .callCount = kEveryCall},
      [](HMODULE, const char* name) { return std::string_view(name) == "createImpl"; });
  object_ = reinterpret_cast<IPluginEntryPoint*>(this);
  EXPECT_FALSE(loadNow());
  EXPECT_EQ(object_, nullptr);
  EXPECT_FALSE(loader_.isLoaded());
  EXPECT_EQ(WideText(loader_.current().path), L"");
  EXPECT_THAT(log_.lines(),
              ElementsAre(loadFailed(first, ERROR_MOD_NOT_FOUND),
                          isLine("loadZuDll", L"Plugin export createImpl not found, path: " + root() +
                                                  L"\\2.0.0.45\\zuimpl.dll, version: 2.0.0.45, error: 2147483653"),
                          allFailed(2)));
  EXPECT_THAT(candidateVersions(), ElementsAre("2.0.0.50", "2.0.0.45"));
}

TEST_F(Loading, FailsWithoutARoot) {
  const PluginLocation nowhere(L"", kError);
  object_ = reinterpret_cast<IPluginEntryPoint*>(this);
  EXPECT_FALSE(loadNow());
  EXPECT_EQ(object_, nullptr);
  EXPECT_THAT(log_.lines(), ElementsAre(isLine("getCurrentDllDirectory",
                                               L"Get current dll directory fail! GetModuleFileName error: 2147483653"),
                                        isLine("loadZuDll", L"Load plugin fail! Current dll directory is empty.")));
}

TEST_F(Loading, FailsWithoutAModule) {
  object_ = reinterpret_cast<IPluginEntryPoint*>(this);
  EXPECT_FALSE(loadNow());
  EXPECT_EQ(object_, nullptr);
  EXPECT_THAT(log_.lines(), ElementsAre(isLine("loadZuDll", L"Load plugin fail! Paths are empty. dir: " + root())));
}

TEST_F(Loading, FailsWithoutAVersion) {
  add(L"1", L"no-version");
  add(L"2", L"no-version");
  add(L"3", L"no-version");
  object_ = reinterpret_cast<IPluginEntryPoint*>(this);
  EXPECT_FALSE(loadNow());
  EXPECT_EQ(object_, nullptr);
  const std::vector<WideText> scanned = scannedPaths();
  ASSERT_THAT(scanned, SizeIs(3));
  const auto unread = [](const std::wstring& path) {
    return isLine("getDllVersion", L"Get dll version fail! No version resource, error: " +
                                       std::to_wstring(ERROR_RESOURCE_DATA_NOT_FOUND) + L", path: " + path);
  };
  EXPECT_THAT(log_.lines(),
              ElementsAre(unread(scanned[0]), unread(scanned[1]), unread(scanned[2]),
                          isLine("loadZuDll",
                                 L"Load plugin fail! No candidate with valid version, scanned: 3, dir: " + root())));
  EXPECT_THAT(loader_.candidates(), IsEmpty());
}

// ---- Dependencies

TEST_F(Loading, SearchesOnlyTheStatedDirectories) {
  addVersion(L"2.0.0.45");
  const std::wstring broken = add(L"2.0.0.50", L"missing-dependency");
  std::vector<std::tuple<std::wstring, HANDLE, DWORD, DWORD>> calls;
  ImportHook<decltype(LoadLibraryExW)> hook(
      self(), "LoadLibraryExW", [&](auto* original, const wchar_t* path, HANDLE file, DWORD flags) -> HMODULE {
        calls.emplace_back(path, file, flags, GetLastError());
        const HMODULE module = original(path, file, flags);
        SetLastError(ERROR_GEN_FAILURE);
        return module;
      });
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(calls, ElementsAre(std::tuple(broken, nullptr, 0xD00u, 0u),
                                 std::tuple(root() + L"\\2.0.0.45\\zuimpl.dll", nullptr, 0xD00u, 0u)));
}

TEST_F(Loading, FindsADependencyBesideTheModule) {
  const std::wstring path = add(L"2.0.0.50", L"needs-companion");
  copyFile(companionFile(), root() + L"\\2.0.0.50\\zucompanion.dll");
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(success(path, L"2.0.0.50")));
}

TEST_F(Loading, FindsADependencyInTheRoot) {
  const std::wstring path = add(L"2.0.0.50", L"needs-companion");
  copyFile(companionFile(), root() + L"\\zucompanion.dll");
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(success(path, L"2.0.0.50")));
  EXPECT_TRUE(isModuleLoaded(root() + L"\\zucompanion.dll"));
}

TEST_F(Loading, PrefersTheDependencyBesideTheModule) {
  add(L"2.0.0.50", L"needs-companion");
  copyFile(companionFile(), root() + L"\\zucompanion.dll");
  copyFile(companionFile(), root() + L"\\2.0.0.50\\zucompanion.dll");
  EXPECT_TRUE(loadNow());
  EXPECT_TRUE(isModuleLoaded(root() + L"\\2.0.0.50\\zucompanion.dll"));
  EXPECT_FALSE(isModuleLoaded(root() + L"\\zucompanion.dll"));
}

TEST_F(Loading, FindsNoDependencyInTheCurrentDirectory) {
  const std::wstring path = add(L"2.0.0.50", L"needs-companion");
  copyFile(companionFile(), tree_.appPath() + L"\\zucompanion.dll");
  ASSERT_TRUE(SetCurrentDirectoryW(tree_.appPath().c_str()));
  EXPECT_FALSE(loadNow());
  SetCurrentDirectoryW(programDirectory().c_str());
  EXPECT_THAT(log_.lines(), ElementsAre(loadFailed(path, ERROR_MOD_NOT_FOUND), allFailed(1)));
}

TEST_F(Loading, FindsNoDependencyOnThePath) {
  const std::wstring path = add(L"2.0.0.50", L"needs-companion");
  copyFile(companionFile(), tree_.appPath() + L"\\zucompanion.dll");
  ASSERT_TRUE(SetEnvironmentVariableW(L"PATH", tree_.appPath().c_str()));
  ASSERT_TRUE(ModuleHandle(LoadLibraryW(L"zucompanion.dll")));  // the usual search finds it there
  EXPECT_FALSE(loadNow());
  EXPECT_THAT(log_.lines(), ElementsAre(loadFailed(path, ERROR_MOD_NOT_FOUND), allFailed(1)));
}

// ---- The search list

// What happens to the search list, in its order among the loads and the lines that end loadZuDll.
class SearchList : public Loading {
 protected:
  std::vector<std::string> events_;
  DLL_DIRECTORY_COOKIE cookie_ = nullptr;

  ImportHook<decltype(AddDllDirectory)> added_{
      self(), "AddDllDirectory", [this](auto* original, const wchar_t* directory) -> DLL_DIRECTORY_COOKIE {
        events_.push_back(directory == root() ? "add the root" : "add " + toUtf8(directory));
        return cookie_ = original(directory);
      }};
  ImportHook<decltype(RemoveDllDirectory)> removed_{
      self(), "RemoveDllDirectory", [this](auto* original, DLL_DIRECTORY_COOKIE cookie) -> BOOL {
        events_.push_back(cookie == cookie_ ? "remove it" : "remove something else");
        lines_ = log_.lines().size();
        return original(cookie);
      }};
  ImportHook<decltype(LoadLibraryExW)> loaded_{
      self(), "LoadLibraryExW", [this](auto* original, const wchar_t* path, HANDLE file, DWORD flags) -> HMODULE {
        events_.push_back("load");
        return original(path, file, flags);
      }};
  std::size_t lines_ = 0;  // logged when the root was removed
};

TEST_F(SearchList, HoldsTheRootWhileCandidatesLoad) {
  addVersion(L"2.0.0.45");
  add(L"2.0.0.50", L"missing-dependency");
  copyFile(companionFile(), root() + L"\\zucompanion.dll");
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(events_, ElementsAre("add the root", "load", "load", "remove it"));
  EXPECT_EQ(lines_, 1u);  // before the line of the success
  EXPECT_FALSE(isOnSearchList(L"zucompanion.dll"));
}

TEST_F(SearchList, LosesTheRootWhenAllCandidatesFail) {
  add(L"1", L"null-object");
  copyFile(companionFile(), root() + L"\\zucompanion.dll");
  EXPECT_FALSE(loadNow());
  EXPECT_THAT(events_, ElementsAre("add the root", "load", "remove it"));
  EXPECT_EQ(lines_, 1u);
  EXPECT_FALSE(isOnSearchList(L"zucompanion.dll"));
}

TEST_F(SearchList, LosesTheRootAfterExceptions) {
  add(L"1", L"throws");
  add(L"2", L"throws-int");
  copyFile(companionFile(), root() + L"\\zucompanion.dll");
  EXPECT_FALSE(loadNow());
  EXPECT_THAT(events_, ElementsAre("add the root", "load", "load", "remove it"));
  EXPECT_FALSE(isOnSearchList(L"zucompanion.dll"));
}

TEST_F(SearchList, IsLeftAloneWhenThereIsNothingToLoad) {
  EXPECT_FALSE(loadNow());
  add(L"1", L"no-version");
  EXPECT_FALSE(loadNow());
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(SearchList, IsNotNeeded) {
  const std::wstring path = addVersion(L"2.0.0.45");
  FailingImport<decltype(AddDllDirectory)> failing(self(), "AddDllDirectory", nullptr, {.lastError = kError});
  EXPECT_TRUE(loadNow());
  EXPECT_THAT(log_.lines(),
              ElementsAre(isLine("loadZuDll", L"AddDllDirectory failed, dir: " + root() + L", error: 2147483653"),
                          success(path, L"2.0.0.45")));
  EXPECT_THAT(events_, ElementsAre("load"));
}

// ---- State

// Stands in for createImpl and sees what is loaded when it is called.
struct WatchedCreate {
  static inline std::wstring earlier;
  static inline CreateImplFunction* original = nullptr;
  static inline bool earlierWasLoaded = false;

  static IPluginEntryPoint* create() {
    earlierWasLoaded = isModuleLoaded(earlier);
    return original();
  }
};

TEST_F(Loading, FreesTheEarlierModuleAfterTheNewObjectIsMade) {
  const std::wstring earlier = addVersion(L"2.0.0.45");
  load();
  const std::wstring later = addVersion(L"2.0.0.47");
  WatchedCreate::earlier = earlier;
  ImportHook<decltype(GetProcAddress)> hook(
      self(), "GetProcAddress", [](auto* original, HMODULE module, const char* name) -> FARPROC {
        const FARPROC found = original(module, name);
        WatchedCreate::original = reinterpret_cast<CreateImplFunction*>(reinterpret_cast<void*>(found));
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&WatchedCreate::create));
      });
  EXPECT_TRUE(loadNow());
  EXPECT_TRUE(WatchedCreate::earlierWasLoaded);
  EXPECT_FALSE(isModuleLoaded(earlier));
  EXPECT_TRUE(isModuleLoaded(later));
  EXPECT_TRUE(loader_.isLoaded());
  EXPECT_EQ(WideText(loader_.current().path), WideText(later));
}

TEST_F(Loading, LoadsTheSameModuleAgain) {
  const std::wstring path = addVersion(L"2.0.0.45");
  load();
  const IPluginEntryPoint* const first = object_;
  load();
  EXPECT_EQ(object_, first);  // the module was never away
  loader_.unload();
  EXPECT_FALSE(isModuleLoaded(path));
}

// What a call that fails must leave as it was.
class FailedReload : public Loading {
 protected:
  void SetUp() override {
    path_ = addVersion(L"2.0.0.45");
    load();
  }

  void expectFailure() {
    EXPECT_FALSE(loadNow());
    EXPECT_EQ(object_, nullptr);
    EXPECT_TRUE(loader_.isLoaded());
    EXPECT_TRUE(isModuleLoaded(path_));
    EXPECT_EQ(WideText(loader_.current().path), WideText(path_));
    EXPECT_EQ(loader_.versionString(), "2.0.0.45");
  }

  std::wstring path_;
};

TEST_F(FailedReload, WithoutARootLeavesEverything) {
  const PluginLocation nowhere(L"", kError);
  expectFailure();
  EXPECT_THAT(candidateVersions(), ElementsAre("2.0.0.45"));
}

TEST_F(FailedReload, WithoutAModuleLeavesEverything) {
  const ScriptedListing empty({{root() + L"\\*", {{L"."}, {L".."}}}});
  expectFailure();
  EXPECT_THAT(candidateVersions(), ElementsAre("2.0.0.45"));
}

TEST_F(FailedReload, WithoutAVersionEmptiesTheCandidatesOnly) {
  FailingImport<decltype(VerQueryValueW)> failing(self(), "VerQueryValueW", FALSE, {.lastError = kError});
  expectFailure();
  EXPECT_THAT(loader_.candidates(), IsEmpty());
}

TEST_F(FailedReload, WithoutACandidateThatLoadsReplacesTheCandidatesOnly) {
  add(L"2.0.0.50", L"null-object");
  FailingImport<decltype(LoadLibraryExW)> failing(self(), "LoadLibraryExW", nullptr,
                                                  {.lastError = kError, .callCount = kEveryCall},
                                                  [&](const wchar_t* path, HANDLE, DWORD) { return path == path_; });
  expectFailure();
  EXPECT_THAT(candidateVersions(), ElementsAre("2.0.0.50", "2.0.0.45"));
}

TEST_F(Loading, StartsWithNothing) {
  EXPECT_FALSE(loader_.isLoaded());
  EXPECT_THAT(loader_.candidates(), IsEmpty());
  EXPECT_EQ(WideText(loader_.current().path), L"");
  EXPECT_EQ(loader_.versionString(), "");
  EXPECT_EQ(loader_.shortVersionString(), "");
}

TEST_F(Loading, TellsTheVersionOfTheLoadedModule) {
  addVersion(L"2.0.0.45");
  load();
  EXPECT_EQ(loader_.versionString(), "2.0.0.45");
  EXPECT_EQ(loader_.shortVersionString(), "2.0.0");
}

TEST_F(Loading, KeepsTheFirstVersionText) {
  addVersion(L"2.0.0.45");
  load();
  EXPECT_EQ(loader_.versionString(), "2.0.0.45");
  addVersion(L"2.0.1.0");
  load();
  EXPECT_EQ(candidateVersionString(loader_.current()), "2.0.1.0");
  EXPECT_EQ(loader_.versionString(), "2.0.0.45");
  EXPECT_EQ(loader_.shortVersionString(), "2.0.1");
}

TEST_F(Loading, BuildsTheVersionTextWhenItIsFirstAskedFor) {
  addVersion(L"2.0.0.45");
  load();
  addVersion(L"2.0.1.0");
  load();
  EXPECT_EQ(loader_.versionString(), "2.0.1.0");
}

TEST_F(Loading, HasNoVersionTextWhileNothingIsLoaded) {
  addVersion(L"2.0.0.45");
  load();
  EXPECT_EQ(loader_.versionString(), "2.0.0.45");
  loader_.unload();
  EXPECT_EQ(loader_.versionString(), "");
  EXPECT_EQ(loader_.shortVersionString(), "");
  load();
  EXPECT_EQ(loader_.versionString(), "2.0.0.45");
}

TEST_F(Loading, UnloadsAndKeepsTheRest) {
  const std::wstring path = addVersion(L"2.0.0.45");
  load();
  loader_.unload();
  EXPECT_FALSE(loader_.isLoaded());
  EXPECT_FALSE(isModuleLoaded(path));
  EXPECT_EQ(WideText(loader_.current().path), WideText(path));
  EXPECT_THAT(candidateVersions(), ElementsAre("2.0.0.45"));
  EXPECT_THAT(log_.lines(), IsEmpty());
  loader_.unload();
}

TEST_F(Loading, FreesTheModuleWithTheLoader) {
  const std::wstring path = addVersion(L"2.0.0.45");
  {
    ZuDllLoader loader;
    EXPECT_TRUE(loader.loadZuDll(object_));
    EXPECT_TRUE(isModuleLoaded(path));
  }
  EXPECT_FALSE(isModuleLoaded(path));
}

// The modules are held, because their own run-time libraries leave something open each time they come and go.
TEST_F(Loading, LeavesNoHandleOpen) {
  add(L"1", L"missing-dependency");
  const ModuleHandle heldModules[] = {
      ModuleHandle(LoadLibraryW(add(L"2", L"no-export").c_str())),
      ModuleHandle(LoadLibraryW(add(L"3", L"null-object").c_str())),
      ModuleHandle(LoadLibraryW(add(L"4", L"throws").c_str())),
      ModuleHandle(LoadLibraryW(addVersion(L"2.0.0.45").c_str())),
  };
  for (const ModuleHandle& module : heldModules) ASSERT_TRUE(module);
  load();
  loader_.unload();
  const HandleCheck check;
  load();
  loader_.unload();
}

}  // namespace
}  // namespace zuvia::test
