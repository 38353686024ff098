#include <gmock/gmock.h>
#include <hxutility/Zip.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <stdexcept>

#include "support/HandleCount.h"
#include "support/PackageBuilder.h"
#include "support/Text.h"
#include "unit/updater/UpdaterFixture.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

const std::string kModule = "not a module, but unpacking does not look into it";
constexpr size_t kMost = 104'857'600;

using Unpacker = bool(const void*, size_t, std::map<std::wstring, std::string>&);

// The name under which the program imports the 7z library's function: decorated, as its compiler decorates.
std::string unpackerName() {
  for (const Import& import : importsOf(self())) {
    if (import.function.find("UnZip7zToMemory") != std::string::npos) return import.function;
  }
  throw std::runtime_error("The program does not import the 7z library");
}

class UnpackTest : public UpdaterTest {
 protected:
  bool unpackBytes(const std::string& bytes) {
    writeFile(package, bytes);
    return ZuDllUpdater::unZip(package, out);
  }
  bool unpack(const PackageEntries& entries) { return unpackBytes(makePackage(entries)); }

  // The same, packed by the method that is the quickest with much of the same.
  static std::string makeLargePackage(const PackageEntries& entries) {
    PackageBuilder builder("ppmd");
    for (const auto& [name, content] : entries) builder.add(name, content);
    return builder.build();
  }

  // Unpacks what must be refused before anything is written, with this one line.
  void expectRefusal(const PackageEntries& entries, const std::wstring& message) {
    expectRefusalOf(makePackage(entries), message);
  }
  void expectRefusalOf(const std::string& bytes, const std::wstring& message) {
    EXPECT_FALSE(unpackBytes(bytes));
    EXPECT_THAT(logged(), ElementsAre(L"unZip: " + message));
    EXPECT_THAT(tree.list(), IsEmpty());
  }

  std::wstring inOut(std::wstring_view name) const { return joinPath(out, name); }

  const std::wstring package = packagePath();
  const std::wstring out = joinPath(tree.root(), L".update-2.0.0.47-0011");
};

TEST_F(UnpackTest, WritesEveryEntry) {
  EXPECT_TRUE(
      unpack({{L"zuimpl.dll", kModule}, {L"sub/deeper/data.bin", std::string("\0\r\n\x1a", 4)}, {L"empty.txt", ""}}));
  EXPECT_EQ(readFile(inOut(L"zuimpl.dll")), kModule);
  EXPECT_EQ(readFile(inOut(L"sub\\deeper\\data.bin")), std::string("\0\r\n\x1a", 4));
  EXPECT_EQ(readFile(inOut(L"empty.txt")), "");
  EXPECT_EQ(listTree(out).size(), 5u);
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(UnpackTest, WritesOverWhatIsThere) {
  writeFile(inOut(L"zuimpl.dll"), kModule + kModule);
  EXPECT_TRUE(unpack({{L"zuimpl.dll", kModule}}));
  EXPECT_EQ(readFile(inOut(L"zuimpl.dll")), kModule);
}

TEST_F(UnpackTest, TakesTheModuleInAnyLetterCase) {
  EXPECT_TRUE(unpack({{L"ZUIMPL.DLL", kModule}}));
  EXPECT_TRUE(fileExists(inOut(L"zuimpl.dll")));
}

TEST_F(UnpackTest, ReadsBothSeparators) {
  EXPECT_TRUE(unpack({{L"zuimpl.dll", kModule}, {L"a\\b/c.txt", "1"}}));
  EXPECT_EQ(readFile(inOut(L"a\\b\\c.txt")), "1");
}

TEST_F(UnpackTest, AcceptsNamesWithDotsAndEmptyComponents) {
  EXPECT_TRUE(unpack({{L"zuimpl.dll", kModule}, {L"./x", "1"}, {L"a//b", "2"}, {L"a...b", "3"}}));
  EXPECT_EQ(readFile(inOut(L"x")), "1");
  EXPECT_EQ(readFile(inOut(L"a\\b")), "2");
  EXPECT_EQ(readFile(inOut(L"a...b")), "3");
  EXPECT_THAT(logged(), IsEmpty());
}

// Such a name is legal, but below any directory it makes a path that is too long to be written.
TEST_F(UnpackTest, DoesNotTakeANameOf260CharactersForIllegal) {
  std::wstring name;
  while (name.size() < 250) name += L"ninechars/";
  name.resize(260, L'x');
  EXPECT_FALSE(unpack({{name, "1"}, {L"zuimpl.dll", kModule}}));
  EXPECT_THAT(logged(), Not(Contains(WideHasSubstr(std::wstring(L"Illegal archive entry")))));
  EXPECT_TRUE(directoryExists(out));  // the first pass had passed
}

class IllegalNameTest : public UnpackTest, public testing::WithParamInterface<std::wstring> {};

TEST_P(IllegalNameTest, IsRefusedBeforeAnythingIsWritten) {
  expectRefusal({{L"!first.txt", "1"}, {GetParam(), "2"}, {L"zuimpl.dll", kModule}},
                L"Unzip file fail! Illegal archive entry: " + GetParam());
}

INSTANTIATE_TEST_SUITE_P(Names, IllegalNameTest,
                         testing::Values(L"..\\x", L"a/../b", L"/x", L"\\x", L"c:x", L"..", L"a/..", L"a\\..\\b",
                                         std::wstring(261, L'n')));

TEST_F(UnpackTest, RefusesAnEmptyName) {
  const ImportHook<Unpacker> hook(self(), unpackerName(),
                                  [](auto* original, const void* data, size_t size, auto& entries) -> bool {
                                    const bool result = original(data, size, entries);
                                    entries[L""] = "";
                                    return result;
                                  });
  expectRefusal({{L"zuimpl.dll", kModule}}, L"Unzip file fail! Illegal archive entry: ");
}

TEST_F(UnpackTest, RefusesAMissingPackage) {
  EXPECT_FALSE(ZuDllUpdater::unZip(package, out));
  EXPECT_THAT(logged(), ElementsAre(L"readAllBytes: Read file fail! CreateFile error: 2, path: " + package,
                                    L"unZip: Read unzip file fail: " + package));
  EXPECT_THAT(tree.list(), IsEmpty());
}

TEST_F(UnpackTest, RefusesTheBareSignature) {
  EXPECT_FALSE(unpackBytes("7z\xBC\xAF\x27\x1C"));
  EXPECT_THAT(logged(), ElementsAre(L"unZip: Check unzip file fail. Invalid 7z signature, size: 6"));
}

TEST_F(UnpackTest, RefusesAnotherSignature) {
  EXPECT_FALSE(unpackBytes("PK\x03\x04 and so on"));
  EXPECT_THAT(logged(), ElementsAre(L"unZip: Check unzip file fail. Invalid 7z signature, size: 14"));
}

TEST_F(UnpackTest, HandsWhatIsOneByteLongerThanTheSignatureOn) {
  EXPECT_FALSE(
      unpackBytes("7z\xBC\xAF\x27\x1C"
                  "x"));
  EXPECT_THAT(logged(), ElementsAre(L"unZip: Check unzip file fail. UnZip7zToMemory error, entries: 0"));
}

TEST_F(UnpackTest, RefusesACutArchive) {
  std::string bytes = makePackage({{L"zuimpl.dll", kModule}});
  bytes.pop_back();
  EXPECT_FALSE(unpackBytes(bytes));
  EXPECT_THAT(logged(), ElementsAre(L"unZip: Check unzip file fail. UnZip7zToMemory error, entries: 0"));
  EXPECT_THAT(tree.list(), IsEmpty());
}

TEST_F(UnpackTest, RefusesAnArchiveWithoutEntries) {
  expectRefusal({}, L"Check unzip file fail. UnZip7zToMemory error, entries: 0");
}

TEST_F(UnpackTest, RefusesWhatTheLibraryRefusesThoughItLeftEntries) {
  const ImportHook<Unpacker> hook(self(), unpackerName(),
                                  [](auto* original, const void* data, size_t size, auto& entries) -> bool {
                                    original(data, size, entries);
                                    return false;
                                  });
  expectRefusal({{L"zuimpl.dll", kModule}, {L"b", ""}}, L"Check unzip file fail. UnZip7zToMemory error, entries: 2");
}

TEST_F(UnpackTest, RefusesAPackageWithoutTheModule) {
  expectRefusal({{L"readme.txt", "1"}, {L"zuimpl.dll.txt", "2"}}, L"Check unzip file fail. File zuimpl.dll not exist!");
}

TEST_F(UnpackTest, DoesNotCountAModuleInASubdirectory) {
  expectRefusal({{L"bin/zuimpl.dll", kModule}}, L"Check unzip file fail. File zuimpl.dll not exist!");
}

TEST_F(UnpackTest, DoesNotCountAModuleBehindADot) {
  expectRefusal({{L"./zuimpl.dll", kModule}}, L"Check unzip file fail. File zuimpl.dll not exist!");
}

TEST_F(UnpackTest, TakesARelativeDirectoryWithoutASeparator) {
  writeFile(package, makePackage({{L"zuimpl.dll", kModule}}));
  makeDirectories(out);
  ASSERT_TRUE(SetCurrentDirectoryW(tree.root().c_str()));
  EXPECT_TRUE(ZuDllUpdater::unZip(package, out.substr(tree.root().size() + 1)));
  EXPECT_TRUE(SetCurrentDirectoryW(temporaryDirectory().c_str()));
  EXPECT_EQ(readFile(inOut(L"zuimpl.dll")), kModule);
}

TEST_F(UnpackTest, RefusesTwoEntriesThatAreTooLargeTogether) {
  const std::string half(60u << 20, '\0');
  expectRefusalOf(makeLargePackage({{L"a.bin", half}, {L"b.bin", half}, {L"zuimpl.dll", kModule}}),
                  L"Unzip file fail! Entry too large, entry: b.bin, size: 62914560, total: 62914560, max: 104857600");
}

TEST_F(UnpackTest, RefusesOneEntryThatIsTooLarge) {
  expectRefusalOf(makeLargePackage({{L"a.bin", std::string(kMost + 1, '\0')}, {L"zuimpl.dll", kModule}}),
                  L"Unzip file fail! Entry too large, entry: a.bin, size: 104857601, total: 0, max: 104857600");
}

TEST_F(UnpackTest, AcceptsTheGreatestSum) {
  EXPECT_TRUE(
      unpackBytes(makeLargePackage({{L"a.bin", std::string(kMost - kModule.size(), '\0')}, {L"zuimpl.dll", kModule}})));
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(UnpackTest, NamesTheFirstFaultInTheOrderOfNames) {
  expectRefusal({{L"zuimpl.dll", kModule}, {L"c:x", "1"}, {L"../x", "1"}},
                L"Unzip file fail! Illegal archive entry: ../x");
}

TEST_F(UnpackTest, FailsWithoutADirectoryToWriteInto) {
  tree.addFile(L"in-the-way", "x");
  const std::wstring below = joinPath(tree.root(), L"in-the-way\\out");
  writeFile(package, makePackage({{L"zuimpl.dll", kModule}}));
  const FailingImport<decltype(GetFileAttributesW)> missing(self(), "GetFileAttributesW", INVALID_FILE_ATTRIBUTES,
                                                            {.lastError = 0x80000003, .callCount = kEveryCall},
                                                            [&below](const wchar_t* path) { return below == path; });
  EXPECT_FALSE(ZuDllUpdater::unZip(package, below));
  EXPECT_THAT(logged(), ElementsAre(L"unZip: Unzip file fail. CreateDirectory err: 2147483651, path: " + below));
}

TEST_F(UnpackTest, FailsWithoutASubdirectory) {
  const std::wstring sub = inOut(L"sub");
  const FailingImport<decltype(SHCreateDirectoryExW)> failing(
      self(), "SHCreateDirectoryExW", ERROR_ACCESS_DENIED, {},
      [&sub](HWND, const wchar_t* path, const SECURITY_ATTRIBUTES*) { return sub == path; });
  EXPECT_FALSE(unpack({{L"!first.txt", "1"}, {L"sub/x.txt", "2"}, {L"zuimpl.dll", kModule}}));
  EXPECT_THAT(logged(), ElementsAre(L"unZip: Unzip file fail! Create sub directory error: 5, path: " + sub));
  EXPECT_THAT(listTree(out), ElementsAre(Pair(L"!first.txt", testing::_)));  // what was written stays
}

TEST_F(UnpackTest, AcceptsADirectoryThatWasMadeMeanwhile) {
  const ImportHook<decltype(SHCreateDirectoryExW)> hook(self(), "SHCreateDirectoryExW",
                                                        [](auto* original, auto... all) {
                                                          original(all...);
                                                          return int{ERROR_ACCESS_DENIED};
                                                        });
  EXPECT_TRUE(unpack({{L"sub/x.txt", "2"}, {L"zuimpl.dll", kModule}}));
  EXPECT_THAT(logged(), IsEmpty());
}

// Puts a link in the place of a directory at the moment at which the directory is about to be made.
class LinkInTheWayTest : public UnpackTest {
 protected:
  void expectNothingBehindTheLink(const std::wstring& linked, const PackageEntries& entries) {
    makeDirectories(elsewhere);
    const ImportHook<decltype(SHCreateDirectoryExW)> hook(
        self(), "SHCreateDirectoryExW", [&](auto* original, HWND window, const wchar_t* path, auto* security) {
          if (linked == path && !directoryExists(linked)) {
            makeDirectories(parentOf(linked));
            makeDirectoryLink(linked, elsewhere);
          }
          return original(window, path, security);
        });
    const ImportHook<decltype(GetFileAttributesW)> error(self(), "GetFileAttributesW",
                                                         [&linked](auto* original, const wchar_t* path) {
                                                           const DWORD attributes = original(path);
                                                           if (linked == path) SetLastError(0x80000001);
                                                           return attributes;
                                                         });
    EXPECT_FALSE(unpack(entries));
    EXPECT_THAT(listTree(elsewhere), IsEmpty());
    const DWORD attributes = GetFileAttributesW(linked.c_str());
    EXPECT_TRUE(attributes & FILE_ATTRIBUTE_REPARSE_POINT);
    EXPECT_THAT(logged(), ElementsAre(L"unZip: Unzip file fail! Invalid parent directory, attributes: " +
                                      std::to_wstring(attributes) + L", error: 2147483649, path: " + linked));
  }

  const std::wstring elsewhere = joinPath(tree.appPath(), L"elsewhere");
};

TEST_F(LinkInTheWayTest, IsNotFollowedAsTheOutputDirectory) {
  expectNothingBehindTheLink(out, {{L"zuimpl.dll", kModule}});
}

TEST_F(LinkInTheWayTest, IsNotFollowedAsASubdirectory) {
  expectNothingBehindTheLink(inOut(L"sub"), {{L"sub/x.txt", "1"}, {L"zuimpl.dll", kModule}});
}

TEST_F(LinkInTheWayTest, IsNotFollowedAboveASubdirectory) {
  makeDirectories(joinPath(elsewhere, L"unused"));
  removeTree(joinPath(elsewhere, L"unused"));
  const std::wstring sub = inOut(L"a");
  makeDirectories(joinPath(tree.appPath(), L"other\\b"));
  makeDirectories(out);
  makeDirectoryLink(sub, joinPath(tree.appPath(), L"other"));
  EXPECT_FALSE(unpack({{L"a/b/x.txt", "1"}, {L"zuimpl.dll", kModule}}));
  EXPECT_THAT(logged(), ElementsAre(WideStartsWith(std::wstring(
                            L"unZip: Unzip file fail! Invalid parent directory, attributes: 1040, error: "))));
  EXPECT_THAT(logged(), ElementsAre(WideEndsWith(L", path: " + sub)));
  EXPECT_FALSE(fileExists(joinPath(tree.appPath(), L"other\\b\\x.txt")));
}

TEST_F(UnpackTest, FailsWhenAParentHasGone) {
  const std::wstring sub = inOut(L"sub");
  const FailingImport<decltype(GetFileAttributesW)> failing(self(), "GetFileAttributesW", INVALID_FILE_ATTRIBUTES,
                                                            {.lastError = ERROR_FILE_NOT_FOUND},
                                                            [&sub](const wchar_t* path) { return sub == path; });
  EXPECT_FALSE(unpack({{L"sub/x.txt", "1"}, {L"zuimpl.dll", kModule}}));
  EXPECT_THAT(
      logged(),
      ElementsAre(L"unZip: Unzip file fail! Invalid parent directory, attributes: 4294967295, error: 2, path: " + sub));
}

TEST_F(UnpackTest, LooksAtEveryParentUpToTheOutputDirectoryBeforeEveryFile) {
  const RecordedImport<decltype(GetFileAttributesW), std::wstring> asked(
      self(), "GetFileAttributesW", [](const wchar_t* path) { return std::wstring(path); });
  writeFile(package, makePackage({{L"a/b/1.txt", "1"}, {L"a/b/2.txt", "2"}, {L"zuimpl.dll", kModule}}));
  const size_t before = asked.records().size();
  EXPECT_TRUE(ZuDllUpdater::unZip(package, out));
  std::vector<std::wstring> looks = asked.records();
  looks.erase(looks.begin(), looks.begin() + static_cast<ptrdiff_t>(before));
  const std::wstring a = inOut(L"a");
  const std::wstring b = inOut(L"a\\b");
  // A directory that could not be made is looked at once more: it may be there already.
  EXPECT_THAT(looks, ElementsAre(b, a, out, inOut(L"a\\b\\1.txt"), b, b, a, out, inOut(L"a\\b\\2.txt"), out, out,
                                 inOut(L"zuimpl.dll")));
}

TEST_F(UnpackTest, FailsWhenTheFileIsALink) {
  const std::wstring elsewhere = joinPath(tree.appPath(), L"elsewhere");
  makeDirectories(elsewhere);
  makeDirectories(out);
  makeDirectoryLink(inOut(L"zuimpl.dll"), elsewhere);
  EXPECT_FALSE(unpack({{L"zuimpl.dll", kModule}}));
  EXPECT_THAT(logged(),
              ElementsAre(L"unZip: Unzip file fail! Output path is a reparse point: " + inOut(L"zuimpl.dll")));
  EXPECT_THAT(listTree(elsewhere), IsEmpty());
}

TEST_F(UnpackTest, FailsWhenADirectoryIsInTheWay) {
  makeDirectories(inOut(L"zuimpl.dll"));
  EXPECT_FALSE(unpack({{L"zuimpl.dll", kModule}}));
  EXPECT_THAT(logged(), ElementsAre(L"unZip: Unzip file fail! Open output file failed, path: " + inOut(L"zuimpl.dll") +
                                    L", errno: 13, msg: Permission denied"));
}

TEST_F(UnpackTest, FailsWhenAnEntryIsInTheWayOfAnother) {
  EXPECT_FALSE(unpack({{L"a", "1"}, {L"a/b", "2"}, {L"zuimpl.dll", kModule}}));
  EXPECT_THAT(logged(), ElementsAre(WideStartsWith(L"unZip: Unzip file fail! Open output file failed, path: " +
                                                   inOut(L"a\\b") + L", errno: ")));
}

class WriteFailureTest : public UnpackTest, public testing::WithParamInterface<size_t> {};

TEST_P(WriteFailureTest, IsNoticedAndNamed) {
  const std::string content = "MARKED" + std::string(GetParam(), 'x');
  const FailingImport<decltype(_write)> failing(
      self(), "_write", -1, {.errnoValue = ENOSPC, .callCount = kEveryCall}, [](int, const void* data, unsigned size) {
        return std::string_view(static_cast<const char*>(data), size).starts_with("MARKED");
      });
  EXPECT_FALSE(unpack({{L"zuimpl.dll", content}, {L"zz.txt", "never written"}}));
  EXPECT_GE(failing.failures(), 1u);
  EXPECT_FALSE(fileExists(inOut(L"zz.txt")));
  EXPECT_THAT(logged(), ElementsAre(L"unZip: Unzip file fail! Write output file failed, path: " + inOut(L"zuimpl.dll") +
                                    L", size: " + std::to_wstring(content.size()) +
                                    L", errno: 28, msg: No space left on device"));
}

// One that stays in the stream's buffer until the end, one that does not.
INSTANTIATE_TEST_SUITE_P(Sizes, WriteFailureTest, testing::Values(10u, 100000u));

TEST_F(UnpackTest, LeavesNothingOpen) {
  unpack({{L"zuimpl.dll", kModule}});
  removeTree(out);
  const HandleCheck check;
  EXPECT_TRUE(unpack({{L"zuimpl.dll", kModule}, {L"a/b", "1"}}));
  EXPECT_FALSE(unpack({{L"a/b/c", "1"}, {L"zuimpl.dll", kModule}}));
}

}  // namespace
}  // namespace zuvia::test
