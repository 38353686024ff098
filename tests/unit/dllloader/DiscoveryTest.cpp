// Where the root is, which modules are found below it, what version they have.

#include "../platform/ScriptedListing.h"
#include "DllLoaderTest.h"
#include "support/HandleCount.h"
#include "support/ImportHook.h"
#include "support/Text.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr DWORD kError = 0x80000005;
constexpr DWORD kDirectory = FILE_ATTRIBUTE_DIRECTORY;
constexpr DWORD kLink = FILE_ATTRIBUTE_REPARSE_POINT;

testing::Matcher<const DllCandidate&> isVersion(uint32_t major, uint32_t minor, uint32_t build, uint32_t revision) {
  return AllOf(Field("major", &DllCandidate::major, major), Field("minor", &DllCandidate::minor, minor),
               Field("build", &DllCandidate::build, build), Field("revision", &DllCandidate::revision, revision));
}

// ---- The root

class CurrentDllDirectory : public testing::Test {
 protected:
  LogCapture log_;
};

TEST_F(CurrentDllDirectory, IsThatOfTheModule) {
  EXPECT_EQ(WideText(ZuDllLoader::getCurrentDllDirectory()), WideText(programDirectory()));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(CurrentDllDirectory, KeepsTheBackslashOfADrivesRoot) {
  const PluginLocation location(L"C:\\zuviaplugin.dll");
  EXPECT_EQ(WideText(ZuDllLoader::getCurrentDllDirectory()), L"C:\\");
}

TEST_F(CurrentDllDirectory, IsCutOutOfANameOf260CharactersWithoutTerminator) {
  const std::wstring directory = L"C:\\" + std::wstring(200, L'd');
  const PluginLocation location(directory + L"\\" + std::wstring(260 - directory.size() - 1, L'n'));
  EXPECT_EQ(WideText(ZuDllLoader::getCurrentDllDirectory()), WideText(directory));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(CurrentDllDirectory, IsEmptyWhenTheModuleIsNotFound) {
  FailingImport<decltype(GetModuleHandleExW)> failing(GetModuleHandleW(nullptr), "GetModuleHandleExW", FALSE,
                                                      {.lastError = kError});
  EXPECT_EQ(WideText(ZuDllLoader::getCurrentDllDirectory()), L"");
  EXPECT_THAT(log_.lines(),
              ElementsAre(isLine("getCurrentDllDirectory",
                                 L"Get current dll directory fail! GetModuleHandleEx error: 2147483653")));
}

TEST_F(CurrentDllDirectory, IsEmptyWhenTheNameIsNotTold) {
  const PluginLocation location(L"", kError);
  EXPECT_EQ(WideText(ZuDllLoader::getCurrentDllDirectory()), L"");
  EXPECT_THAT(log_.lines(),
              ElementsAre(isLine("getCurrentDllDirectory",
                                 L"Get current dll directory fail! GetModuleFileName error: 2147483653")));
}

// ---- The scan

class ScanDirectory : public testing::Test {
 protected:
  std::vector<WideText> scan(const std::wstring& directory) const {
    std::vector<std::wstring> paths;
    ZuDllLoader::scanDirectory(directory, paths);
    return {paths.begin(), paths.end()};
  }

  InstallTree tree_;
  std::wstring root_ = tree_.root();
  LogCapture log_;
};

TEST_F(ScanDirectory, FindsModulesInTheRootAndAtAnyDepth) {
  const std::wstring deep = L"\\1\\2\\3\\4\\5\\6\\7\\8\\9\\10\\11\\12\\zuimpl.dll";
  for (const std::wstring& path : {std::wstring(L"\\zuimpl.dll"), std::wstring(L"\\2.0.0.45\\zuimpl.dll"),
                                   std::wstring(L"\\2.0.0.45\\sub\\zuimpl.dll"), deep}) {
    writeFile(root_ + path, "x");
  }
  EXPECT_THAT(scan(root_), UnorderedElementsAre(root_ + L"\\zuimpl.dll", root_ + L"\\2.0.0.45\\zuimpl.dll",
                                                root_ + L"\\2.0.0.45\\sub\\zuimpl.dll", root_ + deep));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ScanDirectory, FindsAnyLetterCaseAndKeepsIt) {
  tree_.addFile(L"a\\ZUIMPL.DLL", "x");
  tree_.addFile(L"b\\zuImpl.Dll", "x");
  EXPECT_THAT(scan(root_), UnorderedElementsAre(root_ + L"\\a\\ZUIMPL.DLL", root_ + L"\\b\\zuImpl.Dll"));
}

TEST_F(ScanDirectory, LeavesOtherNamesOut) {
  for (const wchar_t* name : {L"zuimpl.dll.bak", L"xzuimpl.dll", L"zuimpl", L"zuimpl.dl", L"zuviaplugin.dll"}) {
    tree_.addFile(name, "x");
  }
  EXPECT_THAT(scan(root_), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ScanDirectory, AppendsToWhatIsThere) {
  tree_.addFile(L"zuimpl.dll", "x");
  std::vector<std::wstring> paths = {L"before"};
  ZuDllLoader::scanDirectory(root_, paths);
  EXPECT_THAT(paths, ElementsAre(L"before", root_ + L"\\zuimpl.dll"));
}

TEST_F(ScanDirectory, EntersADirectoryBeforeTheListingGoesOn) {
  const ScriptedListing script(
      {{L"X:\\root\\*", {{L"."}, {L".."}, {L"b", kDirectory}, {L"zuimpl.dll"}, {L"a", kDirectory}}},
       {L"X:\\root\\b\\*", {{L"z", kDirectory}, {L"zuimpl.dll"}}},
       {L"X:\\root\\b\\z\\*", {{L"zuimpl.dll"}}},
       {L"X:\\root\\a\\*", {{L"zuimpl.dll"}}}});
  EXPECT_THAT(scan(L"X:\\root"), ElementsAre(L"X:\\root\\b\\z\\zuimpl.dll", L"X:\\root\\b\\zuimpl.dll",
                                             L"X:\\root\\zuimpl.dll", L"X:\\root\\a\\zuimpl.dll"));
  EXPECT_EQ(script.begun(), 4u);
  EXPECT_EQ(script.closed(), 4u);
}

TEST_F(ScanDirectory, SkipsItselfAndTheParentOnly) {
  const ScriptedListing script({{L"X:\\root\\*", {{L".", kDirectory}, {L"..", kDirectory}, {L"...", kDirectory}}},
                                {L"X:\\root\\.\\*", {{L"zuimpl.dll"}}},
                                {L"X:\\root\\..\\*", {{L"zuimpl.dll"}}},
                                {L"X:\\root\\...\\*", {{L"zuimpl.dll"}}}});
  EXPECT_THAT(scan(L"X:\\root"), ElementsAre(L"X:\\root\\...\\zuimpl.dll"));
}

TEST_F(ScanDirectory, EntersNoLinkOfAnyKind) {
  const ScriptedListing script(
      {{L"X:\\root\\*", {{L"junction", kDirectory | kLink}, {L"link", kLink}, {L"zuimpl.dll", kLink}}},
       {L"X:\\root\\junction\\*", {{L"zuimpl.dll"}}},
       {L"X:\\root\\link\\*", {{L"zuimpl.dll"}}}});
  EXPECT_THAT(scan(L"X:\\root"), ElementsAre(L"X:\\root\\zuimpl.dll"));
  EXPECT_EQ(script.begun(), 1u);
}

TEST_F(ScanDirectory, DoesNotFollowALinkOutOfTheRoot) {
  writeFile(tree_.appPath() + L"\\zuimpl.dll", "x");
  makeDirectoryLink(root_ + L"\\2.0.0.45", tree_.appPath());
  EXPECT_THAT(scan(root_), IsEmpty());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ScanDirectory, EndsInSpiteOfALoop) {
  tree_.addFile(L"2.0.0.45\\zuimpl.dll", "x");
  makeDirectoryLink(root_ + L"\\2.0.0.45\\again", root_);
  EXPECT_THAT(scan(root_), ElementsAre(root_ + L"\\2.0.0.45\\zuimpl.dll"));
}

TEST_F(ScanDirectory, TakesALinkOfTheModulesNameForAModule) {
  writeFile(tree_.appPath() + L"\\zuimpl.dll", "x");
  makeDirectoryLink(root_ + L"\\zuimpl.dll", tree_.appPath());
  EXPECT_THAT(scan(root_), ElementsAre(root_ + L"\\zuimpl.dll"));
}

TEST_F(ScanDirectory, EntersAPlainDirectoryOfTheModulesName) {
  tree_.addFile(L"zuimpl.dll\\zuimpl.dll", "x");
  EXPECT_THAT(scan(root_), ElementsAre(root_ + L"\\zuimpl.dll\\zuimpl.dll"));
}

TEST_F(ScanDirectory, LogsADirectoryThatIsNotThere) {
  EXPECT_THAT(scan(root_ + L"\\none"), IsEmpty());
  EXPECT_THAT(log_.lines(), ElementsAre(isLine("scanDirectory", L"Scan directory fail! FindFirstFile error: 3, path: " +
                                                                    root_ + L"\\none")));
}

TEST_F(ScanDirectory, GoesOnAfterADirectoryThatCannotBeListed) {
  tree_.addFile(L"a\\zuimpl.dll", "x");
  tree_.addFile(L"b\\zuimpl.dll", "x");
  tree_.addFile(L"c\\zuimpl.dll", "x");
  const std::wstring denied = root_ + L"\\b";
  FailingImport<decltype(FindFirstFileW)> failing(
      GetModuleHandleW(nullptr), "FindFirstFileW", INVALID_HANDLE_VALUE, {.lastError = kError},
      [&](const wchar_t* pattern, WIN32_FIND_DATAW*) { return pattern == denied + L"\\*"; });
  EXPECT_THAT(scan(root_), UnorderedElementsAre(root_ + L"\\a\\zuimpl.dll", root_ + L"\\c\\zuimpl.dll"));
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(isLine("scanDirectory", L"Scan directory fail! FindFirstFile error: 2147483653, path: " + denied)));
}

TEST_F(ScanDirectory, EndsAListingThatFailsInSilence) {
  const ScriptedListing script(
      {{L"X:\\root\\*", {{L"zuimpl.dll"}, {L"sub", kDirectory}}}, {L"X:\\root\\sub\\*", {{L"."}}}});
  FailingImport<decltype(FindNextFileW)> failing(GetModuleHandleW(nullptr), "FindNextFileW", FALSE,
                                                 {.lastError = kError, .callCount = kEveryCall});
  EXPECT_THAT(scan(L"X:\\root"), ElementsAre(L"X:\\root\\zuimpl.dll"));
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_EQ(script.closed(), 1u);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ScanDirectory, LeavesNoHandleOpen) {
  tree_.addFile(L"a\\b\\zuimpl.dll", "x");
  scan(root_);
  const HandleCheck check;
  EXPECT_THAT(scan(root_), testing::SizeIs(1));
}

// ---- Versions

class DllVersion : public testing::Test {
 protected:
  // Expects that no version is read, and that this line says why.
  void expectFailure(const std::wstring& path, const std::wstring& message) {
    DllCandidate candidate{L"untouched", 1, 2, 3, 4};
    EXPECT_FALSE(ZuDllLoader::getDllVersion(path, candidate));
    EXPECT_THAT(candidate, AllOf(isVersion(1, 2, 3, 4), Field("path", &DllCandidate::path, L"untouched")));
    EXPECT_THAT(log_.lines(), ElementsAre(isLine("getDllVersion", message)));
  }

  static HMODULE self() { return GetModuleHandleW(nullptr); }

  LogCapture log_;
  std::wstring good_ = moduleFile(L"2.0.0.45");
};

TEST_F(DllVersion, IsThatOfTheFile) {
  DllCandidate candidate;
  EXPECT_TRUE(ZuDllLoader::getDllVersion(good_, candidate));
  EXPECT_THAT(candidate, AllOf(isVersion(2, 0, 0, 45), Field("path", &DllCandidate::path, good_)));
  EXPECT_TRUE(ZuDllLoader::getDllVersion(moduleFile(L"65535.65535.65535.65535"), candidate));
  EXPECT_THAT(candidate, isVersion(65535, 65535, 65535, 65535));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DllVersion, MayBeZero) {
  DllCandidate candidate{L"", 1, 2, 3, 4};
  EXPECT_TRUE(ZuDllLoader::getDllVersion(moduleFile(L"0.0.0.0"), candidate));
  EXPECT_THAT(candidate, isVersion(0, 0, 0, 0));
}

TEST_F(DllVersion, IsReadForTheCandidatesOwnPath) {
  DllCandidate candidate{good_};
  EXPECT_TRUE(ZuDllLoader::getDllVersion(candidate.path, candidate));
  EXPECT_THAT(candidate, AllOf(isVersion(2, 0, 0, 45), Field("path", &DllCandidate::path, good_)));
}

TEST_F(DllVersion, IsMissingWithoutAResource) {
  const std::wstring path = moduleFile(L"no-version");
  expectFailure(path, L"Get dll version fail! No version resource, error: " +
                          std::to_wstring(ERROR_RESOURCE_DATA_NOT_FOUND) + L", path: " + path);
}

TEST_F(DllVersion, ShowsTheErrorOfTheSize) {
  FailingImport<decltype(GetFileVersionInfoSizeW)> failing(self(), "GetFileVersionInfoSizeW", 0, {.lastError = kError});
  expectFailure(good_, L"Get dll version fail! No version resource, error: 2147483653, path: " + good_);
}

TEST_F(DllVersion, ShowsTheErrorAndTheSizeOfReading) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(good_.c_str(), &ignored);
  FailingImport<decltype(GetFileVersionInfoW)> failing(self(), "GetFileVersionInfoW", FALSE, {.lastError = kError});
  expectFailure(good_, L"Get dll version fail! GetFileVersionInfo error: 2147483653, size: " + std::to_wstring(size) +
                           L", path: " + good_);
}

TEST_F(DllVersion, ShowsTheErrorOfTheQuery) {
  FailingImport<decltype(VerQueryValueW)> failing(self(), "VerQueryValueW", FALSE, {.lastError = kError});
  expectFailure(good_, L"Get dll version fail! VerQueryValue error: 2147483653, path: " + good_);
}

TEST_F(DllVersion, IsMissingFromAnEmptyBlock) {
  const std::wstring path = moduleFile(L"no-fixed-info");
  expectFailure(path, L"Get dll version fail! VerQueryValue invalid, len: 0, fixedInfo: valid, path: " + path);
}

TEST_F(DllVersion, IsMissingFromABlockThatIsNotThere) {
  ImportHook<decltype(VerQueryValueW)> hook(self(), "VerQueryValueW",
                                            [](auto*, const void*, const wchar_t*, void** value, UINT* length) -> BOOL {
                                              *value = nullptr;
                                              *length = 0xFFFF'FFFF;
                                              return TRUE;
                                            });
  expectFailure(good_,
                L"Get dll version fail! VerQueryValue invalid, len: 4294967295, fixedInfo: null, path: " + good_);
}

// ---- Version directories

TEST(SortNewestFirst, ComparesNumbersAndKeepsTheScanOrderOfOneVersion) {
  std::vector<DllCandidate> candidates = {
      {L"a", 2, 0, 0, 45}, {L"b", 10, 0, 0, 0}, {L"c", 2, 0, 0, 45}, {L"d", 9, 9, 9, 9}, {L"e", 2, 0, 1, 0}};
  ZuDllLoader::sortNewestFirst(candidates);
  std::wstring order;
  for (const DllCandidate& candidate : candidates) order += candidate.path;
  EXPECT_EQ(order, L"bdeac");
}

TEST(IsVersionDirectory, IsADirectChildWithAVersionName) {
  for (const wchar_t* name : {L"2.0.0.45", L"3", L"7", L"1..2", L"007", L".5"}) {
    EXPECT_TRUE(ZuDllLoader::isVersionDirectory(L"C:\\root", std::wstring(L"C:\\root\\") + name)) << toUtf8(name);
  }
  for (const wchar_t* name : {L".", L"..", L"2.0.0.45a", L"v2", L"2 0", L"2-0", L"2.0.0.45 ", L"\uFF12"}) {
    EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", std::wstring(L"C:\\root\\") + name)) << toUtf8(name);
  }
}

TEST(IsVersionDirectory, DoesNotLookAtTrailingSeparators) {
  EXPECT_TRUE(ZuDllLoader::isVersionDirectory(L"C:\\root\\", L"C:\\root\\2.0.0.45"));
  EXPECT_TRUE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"C:\\root\\2.0.0.45\\"));
  EXPECT_TRUE(ZuDllLoader::isVersionDirectory(L"C:\\root/\\/", L"C:\\root\\2.0.0.45\\//\\"));
}

TEST(IsVersionDirectory, DoesNotLookAtLetterCase) {
  EXPECT_TRUE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"C:\\ROOT\\2.0"));
  EXPECT_TRUE(ZuDllLoader::isVersionDirectory(L"c:\\Root", L"C:\\rooT\\2.0"));
}

TEST(IsVersionDirectory, IsNeverTheRootItself) {
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"C:\\root"));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\2.0", L"C:\\2.0\\"));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\a.1", L"c:\\A.1"));
}

TEST(IsVersionDirectory, IsNoGrandchildAndNoStranger) {
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"C:\\root\\sub\\2.0.0.45"));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"C:\\root\\2.0.0.45\\2.0.0.45"));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"C:\\other\\2.0.0.45"));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"C:\\root2.0.0.45"));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"C:\\2.0.0.45"));
}

TEST(IsVersionDirectory, IsDividedByBackslashesOnly) {
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"C:\\root/2.0.0.45"));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"root", L"root/2.0.0.45"));
  EXPECT_TRUE(ZuDllLoader::isVersionDirectory(L"C:/root", L"C:/root\\2.0.0.45"));
}

TEST(IsVersionDirectory, IsNothingWithoutBothPaths) {
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"", L"\\2.0.0.45"));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", L""));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"\\/", L"\\/\\2.0.0.45"));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"\\\\"));
  EXPECT_FALSE(ZuDllLoader::isVersionDirectory(L"C:\\root", L"2.0.0.45"));
}

}  // namespace
}  // namespace zuvia::test
