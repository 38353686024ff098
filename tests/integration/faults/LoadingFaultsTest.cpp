// The plugin looks for implementation modules, reads their versions and loads one: each call of Windows on the way
// fails once, by itself.

#include <shlwapi.h>

#include "integration/faults/FaultsTest.h"
#include "integration/faults/VersionFault.h"

namespace zuvia::test {
namespace {

// 2.0.0.46 and, older, 2.0.0.45.
class LoadingFaultsTest : public FaultsTest {
 protected:
  LoadingFaultsTest() {
    addVersion(L"2.0.0.45");
    addVersion(L"2.0.0.46");
    loadPlainly();  // what is opened once per process
  }

  void expectLoaded(const std::string& version, const Fault& fault, const Lines& lines) {
    expectOutcome(version, fault, lines);
  }
  void expectNothingLoaded(const Fault& fault, const Lines& lines) { expectOutcome("", fault, lines); }

  Line directoryLine(const std::wstring& message) const { return {"ZuDllLoader::getCurrentDllDirectory", message}; }
  Line scanLine(const std::wstring& message) const { return {"ZuDllLoader::scanDirectory", message}; }
  Line versionLine(const std::wstring& message) const { return {"ZuDllLoader::getDllVersion", message}; }
  Line loadLine(const std::wstring& message) const { return {"ZuDllLoader::loadZuDll", message}; }
  Line success(const std::wstring& version) const {
    return loadLine(L"Load plugin success, path: " + modulePath(version) + L", version: " + version);
  }

  const std::wstring newer = modulePath(L"2.0.0.46");
  const std::wstring older = modulePath(L"2.0.0.45");

 private:
  // Loads with a fault, unloads, and loads again without it.
  void expectOutcome(const std::string& version, const Fault& fault, Lines lines) {
    const TreeListing before = tree.listAll();
    const LeakCheck check(2);
    log.clear();
    {
      const std::unique_ptr<ArmedFault> armed = arm(fault);
      entry().onLoaded("C:\\host");
      EXPECT_EQ(loader().isLoaded(), !version.empty());
      for (const std::wstring& path : {older, newer}) {
        EXPECT_EQ(GetModuleHandleW(path.c_str()) != nullptr, isVersion(path, version)) << toUtf8(path);
      }
      entry().onUnload();
      EXPECT_TRUE(armed->happened());
    }
    lines.insert(lines.begin(),
                 {"ZuLoaderPrivate::onLoaded", L"onLoaded native v: 2.0.0.45, isLoad: false, path: C:\\host"});
    lines.push_back({"ZuLoaderPrivate::onUnload", L"onUnload"});
    EXPECT_EQ(ownLines(), lines);
    loadPlainly();
    EXPECT_EQ(tree.listAll(), before);
  }

  bool isVersion(const std::wstring& path, const std::string& version) const {
    return !version.empty() && path == modulePath(toWide(version));
  }

  void loadPlainly() {
    entry().onLoaded(nullptr);
    EXPECT_TRUE(loader().isLoaded());
    EXPECT_NE(GetModuleHandleW(newer.c_str()), nullptr);
    entry().onUnload();
    EXPECT_EQ(GetModuleHandleW(newer.c_str()), nullptr);
  }
};

TEST_F(LoadingFaultsTest, WithoutItsOwnDirectoryOrItsListingNothingIsLoaded) {
  const Line empty = loadLine(L"Load plugin fail! Current dll directory is empty.");
  expectNothingLoaded(
      failing<decltype(GetModuleHandleExW)>("GetModuleHandleExW", FALSE, {.lastError = kGreatError}, isByAddress),
      {directoryLine(L"Get current dll directory fail! GetModuleHandleEx error: 2147483653"), empty});
  expectNothingLoaded(failing<decltype(GetModuleFileNameW)>("GetModuleFileNameW", DWORD{0}),
                      {directoryLine(L"Get current dll directory fail! GetModuleFileName error: 2147483653"), empty});

  const std::wstring path = tree.pluginPath();
  WIN32_FIND_DATAW data;
  FindFirstFileW((path + L"\\*").c_str(), &data);
  const std::wstring error = std::to_wstring(GetLastError());
  expectNothingLoaded(failing<decltype(PathRemoveFileSpecW)>("PathRemoveFileSpecW", FALSE),
                      {scanLine(L"Scan directory fail! FindFirstFile error: " + error + L", path: " + path),
                       loadLine(L"Load plugin fail! Paths are empty. dir: " + path)});

  expectNothingLoaded(
      failingFor<decltype(FindFirstFileW)>(tree.root() + L"\\*", "FindFirstFileW", INVALID_HANDLE_VALUE),
      {scanLine(L"Scan directory fail! FindFirstFile error: 2147483653, path: " + tree.root()),
       loadLine(L"Load plugin fail! Paths are empty. dir: " + tree.root())});

  const std::wstring directory = directoryOf(L"2.0.0.46");
  expectLoaded(
      "2.0.0.45", failingFor<decltype(FindFirstFileW)>(directory + L"\\*", "FindFirstFileW", INVALID_HANDLE_VALUE),
      {scanLine(L"Scan directory fail! FindFirstFile error: 2147483653, path: " + directory), success(L"2.0.0.45")});

  expectNothingLoaded(failing<decltype(FindNextFileW)>("FindNextFileW", FALSE),
                      {loadLine(L"Load plugin fail! Paths are empty. dir: " + tree.root())});
}

TEST_F(LoadingFaultsTest, DropsACandidateWhoseVersionCannotBeRead) {
  const auto expectDropped = [&](const Fault& fault, const std::wstring& message) {
    expectLoaded("2.0.0.45", fault, {versionLine(message), success(L"2.0.0.45")});
  };
  expectDropped(failingFor<decltype(GetFileVersionInfoSizeW)>(newer, "GetFileVersionInfoSizeW", DWORD{0}),
                L"Get dll version fail! No version resource, error: 2147483653, path: " + newer);
  const std::wstring size = std::to_wstring(GetFileVersionInfoSizeW(newer.c_str(), nullptr));
  expectDropped(failingFor<decltype(GetFileVersionInfoW)>(newer, "GetFileVersionInfoW", FALSE),
                L"Get dll version fail! GetFileVersionInfo error: 2147483653, size: " + size + L", path: " + newer);
  expectDropped(answeringFixedInfo(newer, {.result = FALSE}),
                L"Get dll version fail! VerQueryValue error: 2147483653, path: " + newer);
  expectDropped(answeringFixedInfo(newer, {.length = 0}),
                L"Get dll version fail! VerQueryValue invalid, len: 0, fixedInfo: valid, path: " + newer);
  expectDropped(answeringFixedInfo(newer, {.hasInfo = false}),
                L"Get dll version fail! VerQueryValue invalid, len: 52, fixedInfo: null, path: " + newer);
  // Unlike the updater, the loader takes whatever length there is.
  expectLoaded("2.0.0.46", answeringFixedInfo(newer, {.length = 1}), {success(L"2.0.0.46")});

  const auto line = [](const std::wstring& path) {
    return L"Get dll version fail! No version resource, error: 2147483653, path: " + path;
  };
  expectNothingLoaded(
      failing<decltype(GetFileVersionInfoSizeW)>("GetFileVersionInfoSizeW", DWORD{0},
                                                 {.lastError = kGreatError, .callCount = kEveryCall}),
      {versionLine(line(older)), versionLine(line(newer)),
       loadLine(L"Load plugin fail! No candidate with valid version, scanned: 2, dir: " + tree.root())});
}

TEST_F(LoadingFaultsTest, LoadsWithoutTheSearchDirectory) {
  const FailingImport<decltype(RemoveDllDirectory)> removals(module, "RemoveDllDirectory", FALSE, {.callCount = 0});
  expectLoaded(
      "2.0.0.46", failing<decltype(AddDllDirectory)>("AddDllDirectory", nullptr),
      {loadLine(L"AddDllDirectory failed, dir: " + tree.root() + L", error: 2147483653"), success(L"2.0.0.46")});
  EXPECT_EQ(removals.calls(), 1u) << "that of the plain load that followed";
}

TEST_F(LoadingFaultsTest, FallsBackWhenAModuleDoesNotLoadOrLacksItsExport) {
  expectLoaded("2.0.0.45", failingFor<decltype(LoadLibraryExW)>(newer, "LoadLibraryExW", nullptr),
               {loadLine(L"Load plugin failed, path: " + newer + L", version: 2.0.0.46, error: 2147483653"),
                success(L"2.0.0.45")});

  // The directories' error is gone by then.
  const Fault silent = replacing<decltype(LoadLibraryExW)>("LoadLibraryExW", [&](std::atomic<bool>& happened) {
    return [&](auto* original, const wchar_t* path, HANDLE file, DWORD flags) -> HMODULE {
      if (newer != path) return original(path, file, flags);
      happened = true;
      return nullptr;
    };
  });
  expectLoaded(
      "2.0.0.45", both(silent, failing<decltype(AddDllDirectory)>("AddDllDirectory", nullptr)),
      {loadLine(L"AddDllDirectory failed, dir: " + tree.root() + L", error: 2147483653"),
       loadLine(L"Load plugin failed, path: " + newer + L", version: 2.0.0.46, error: 0"), success(L"2.0.0.45")});

  const auto isExport = [](HMODULE, const char* name) {
    return reinterpret_cast<std::uintptr_t>(name) > 0xFFFF && std::string_view(name) == "createImpl";
  };
  expectLoaded(
      "2.0.0.45", failing<decltype(GetProcAddress)>("GetProcAddress", nullptr, {.lastError = kGreatError}, isExport),
      {loadLine(L"Plugin export createImpl not found, path: " + newer + L", version: 2.0.0.46, error: 2147483653"),
       success(L"2.0.0.45")});
}

TEST_F(LoadingFaultsTest, TriesEveryCandidateBeforeItGivesUp) {
  const FailingImport<decltype(RemoveDllDirectory)> removals(module, "RemoveDllDirectory", FALSE, {.callCount = 0});
  expectNothingLoaded(
      failing<decltype(LoadLibraryExW)>("LoadLibraryExW", nullptr, {.lastError = kGreatError, .callCount = kEveryCall}),
      {loadLine(L"Load plugin failed, path: " + newer + L", version: 2.0.0.46, error: 2147483653"),
       loadLine(L"Load plugin failed, path: " + older + L", version: 2.0.0.45, error: 2147483653"),
       loadLine(L"Load plugin fail! All candidates failed, count: 2, dir: " + tree.root())});
  EXPECT_EQ(removals.calls(), 2u) << "one for each load";
}

TEST_F(LoadingFaultsTest, MindsNoFailureOfGivingBack) {
  expectLoaded("2.0.0.46", failingAfterwards<decltype(FindClose)>("FindClose", FALSE), {success(L"2.0.0.46")});
  expectLoaded("2.0.0.46", failingAfterwards<decltype(RemoveDllDirectory)>("RemoveDllDirectory", FALSE),
               {success(L"2.0.0.46")});
  expectLoaded("2.0.0.46", failingAfterwards<decltype(FreeLibrary)>("FreeLibrary", FALSE), {success(L"2.0.0.46")});
}

}  // namespace
}  // namespace zuvia::test
