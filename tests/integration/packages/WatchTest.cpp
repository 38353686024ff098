// That the watch over the plugin's paths sees what it should.

#include <set>
#include <string>
#include <vector>

#include "integration/packages/PackageTest.h"
#include "support/ImportTable.h"
#include "support/PackageBuilder.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class WatchTest : public PackageTest {
 protected:
  // Calls a function as the plugin does.
  template <typename Function, typename... Arguments>
  auto callOfPlugin(const std::string& name, Arguments... arguments) {
    return reinterpret_cast<Function*>(*findImports(module, name).at(0).entry)(arguments...);
  }
  void deletePath(const std::wstring& path) { callOfPlugin<decltype(DeleteFileW)>("DeleteFileW", path.c_str()); }
};

TEST_F(WatchTest, RecordsEveryWayToAPath) {
  const PathWatch watch(module);
  const std::wstring wide = tree.base() + L"\\none\\";
  const std::string narrow = toUtf8(wide);
  callOfPlugin<decltype(CreateFileW)>("CreateFileW", (wide + L"1").c_str(), DWORD{GENERIC_READ}, DWORD{0}, nullptr,
                                      DWORD{OPEN_EXISTING}, DWORD{0}, nullptr);
  deletePath(wide + L"2");
  callOfPlugin<decltype(MoveFileExW)>("MoveFileExW", (wide + L"3").c_str(), (wide + L"4").c_str(), DWORD{0});
  callOfPlugin<decltype(RemoveDirectoryW)>("RemoveDirectoryW", (wide + L"5").c_str());
  callOfPlugin<int(HWND, const wchar_t*, const SECURITY_ATTRIBUTES*)>("SHCreateDirectoryExW", nullptr, L"6", nullptr);
  callOfPlugin<decltype(SetFileAttributesW)>("SetFileAttributesW", (wide + L"7").c_str(), DWORD{0});
  EXPECT_EQ((callOfPlugin<FILE*(const wchar_t*, const wchar_t*)>("_wfopen", (wide + L"8").c_str(), L"r")), nullptr);
  EXPECT_EQ((callOfPlugin<FILE*(const char*, const char*)>("fopen", (narrow + "9").c_str(), "r")), nullptr);
  EXPECT_EQ((callOfPlugin<int(const char*, int, int)>("_open", (narrow + "10").c_str(), 0, 0)), -1);
  EXPECT_THAT(watch.paths(), ElementsAre(wide + L"1", wide + L"2", wide + L"3", wide + L"4", wide + L"5", L"6",
                                         wide + L"7", wide + L"8", wide + L"9", wide + L"10"));
}

TEST_F(WatchTest, KnowsWhatLiesInADirectory) {
  const PathWatch watch(module);
  const std::wstring directory = tree.base() + L"\\none";
  for (const wchar_t* inside : {L"", L"\\", L"\\x", L"\\.\\x", L"\\sub\\..\\x", L"\\.. ", L"\\... "}) {
    deletePath(directory + inside);
  }
  EXPECT_THAT(watch.pathsOutside({directory}), IsEmpty());
  deletePath(directory + L"\\..\\x");
  deletePath(directory + L"other");
  deletePath(directory + L"\\nul");
  EXPECT_THAT(watch.pathsOutside({directory}),
              UnorderedElementsAre(tree.base() + L"\\x", directory + L"other", L"\\\\.\\nul"));
}

TEST_F(WatchTest, MissesNoFunctionThatChangesFiles) {
  for (const char* function : {"CreateFileA",
                               "CreateFile2",
                               "CreateFileTransactedW",
                               "OpenFile",
                               "_lcreat",
                               "_lopen",
                               "NtCreateFile",
                               "CopyFileA",
                               "CopyFileW",
                               "CopyFileExW",
                               "CopyFile2",
                               "MoveFileA",
                               "MoveFileExA",
                               "MoveFileW",
                               "MoveFileWithProgressW",
                               "ReplaceFileA",
                               "ReplaceFileW",
                               "DeleteFileA",
                               "CreateDirectoryA",
                               "CreateDirectoryW",
                               "CreateDirectoryExW",
                               "RemoveDirectoryA",
                               "SHCreateDirectory",
                               "SHCreateDirectoryExA",
                               "SHFileOperationW",
                               "SetFileAttributesA",
                               "CreateHardLinkW",
                               "CreateSymbolicLinkW",
                               "_wopen",
                               "_sopen",
                               "_wsopen",
                               "_sopen_s",
                               "_wsopen_s",
                               "_creat",
                               "_wcreat",
                               "fopen_s",
                               "_wfopen_s",
                               "_fsopen",
                               "_wfsopen",
                               "freopen",
                               "_wfreopen",
                               "remove",
                               "_wremove",
                               "_unlink",
                               "_wunlink",
                               "unlink",
                               "rename",
                               "_wrename",
                               "mkdir",
                               "_mkdir",
                               "_wmkdir",
                               "_rmdir",
                               "_wrmdir",
                               "_chmod",
                               "_wchmod"}) {
    EXPECT_THAT(findImports(module, function), testing::SizeIs(0)) << function;
  }
}

TEST_F(WatchTest, FindsThatTheReaderOpensNothing) {
  const HMODULE reader = GetModuleHandleW(L"hxutility.dll");
  ASSERT_NE(reader, nullptr);
  const auto anyPath = [](auto...) { return true; };
  const RecordedImport<decltype(CreateFileA), bool> narrow(reader, "CreateFileA", anyPath);
  const RecordedImport<decltype(CreateFileW), bool> wide(reader, "CreateFileW", anyPath);
  const RecordedImport<int(const char*, int, int), bool> openNarrow(reader, "_open", anyPath);
  const RecordedImport<int(const wchar_t*, int, int), bool> openWide(reader, "_wopen", anyPath);
  expectPublished(PackageBuilder().add(L"zuimpl.dll", implementation).build(), {{L"zuimpl.dll", implementation}});
  EXPECT_EQ(narrow.records().size() + wide.records().size(), 0u);
  EXPECT_EQ(openNarrow.records().size() + openWide.records().size(), 0u);
}

}  // namespace
}  // namespace zuvia::test
