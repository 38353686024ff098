// Packages that other programs make: the real 7-Zip, the packaging tool, the archive library.

#include <json/json.h>

#include <sstream>
#include <string>
#include <vector>

#include "integration/packages/PackageTest.h"
#include "support/ChildProcess.h"
#include "support/Digest.h"
#include "support/PackageBuilder.h"

namespace zuvia::test {
namespace {

const std::wstring kNotRead = L"Check unzip file fail. UnZip7zToMemory error, entries: 0";

// What make-packages made when the tests were built.
std::wstring madePath(const std::wstring& name) {
  return parentOf(programDirectory()) + L"\\packages\\" + name;
}
std::string made(const std::wstring& name) {
  return readFile(madePath(name));
}

// The files that it packed.
Contents madeContent() {
  Contents files;
  for (const auto& [name, what] : listTree(madePath(L"content"))) {
    if (what != "directory") files[name] = made(L"content\\" + name);
  }
  return files;
}

std::wstring badSignature(size_t size) {
  return L"Check unzip file fail. Invalid 7z signature, size: " + std::to_wstring(size);
}

class SevenZipTest : public PackageTest {
 protected:
  // Each of these, made of the same files, becomes them again.
  void expectAllPublished(const std::vector<const wchar_t*>& names) {
    const Contents files = madeContent();
    ASSERT_EQ(files.size(), 6u);
    for (const wchar_t* name : names) {
      SCOPED_TRACE(toUtf8(name));
      expectPublished(made(std::wstring(name) + L".7z"), files);
    }
  }
};

// ---- Published

TEST_F(SevenZipTest, PublishesWhatIsPackedByEachMethod) {
  expectAllPublished({L"copy", L"lzma", L"lzma2", L"ppmd", L"default", L"strongest", L"fastest"});
}

TEST_F(SevenZipTest, PublishesWhatIsPackedUnderEachFilter) {
  expectAllPublished({L"bcj", L"bcj-lzma", L"bcj-copy", L"bcj2", L"delta"});
}

TEST_F(SevenZipTest, PublishesWhatIsSolidAndWhatIsNot) {
  expectAllPublished({L"solid", L"non-solid", L"copy-non-solid", L"ppmd-non-solid", L"bcj2-non-solid"});
}

TEST_F(SevenZipTest, PublishesWhateverTheHeaderIsLike) {
  expectAllPublished({L"plain-header", L"times", L"no-attributes", L"volumes-joined"});
}

TEST_F(SevenZipTest, FollowsLinksWhenItPacks) {
  expectPublished(made(L"link-followed.7z"), {{L"zuimpl.dll", implementation}, {L"link.dll", implementation}});
  expectPublished(made(L"hard-link.7z"), {{L"zuimpl.dll", implementation}, {L"hard.dll", implementation}});
}

// ---- Refused by the reader of the host

// The archive library of this build has neither zlib nor bzip2, does not decrypt, and takes what is packed by PPMd
// under BCJ for damaged when it is longer than its buffer.
TEST_F(SevenZipTest, RefusesWhatTheReaderDoesNotRead) {
  for (const wchar_t* name :
       {L"bzip2", L"deflate", L"deflate64", L"bcj-ppmd", L"encrypted", L"encrypted-header", L"plain-and-encrypted",
        L"directories-only", L"link", L"directory-link", L"dangling-link"}) {
    SCOPED_TRACE(toUtf8(name));
    expectRefused(made(std::wstring(name) + L".7z"), {kNotRead});
  }
}

TEST_F(SevenZipTest, RefusesEveryVolumeOfSeveral) {
  expectRefused(made(L"volumes.7z.001"), {kNotRead});
  for (const wchar_t* number : {L"002", L"003"}) {
    const std::string volume = made(std::wstring(L"volumes.7z.") + number);
    expectRefused(volume, {badSignature(volume.size())});
  }
}

TEST_F(SevenZipTest, RefusesOtherFormats) {
  for (const wchar_t* name : {L"other-format.zip", L"other-format.tar"}) {
    const std::string archive = made(name);
    expectRefused(archive, {badSignature(archive.size())});
  }
}

TEST_F(SevenZipTest, RefusesPackagesWithSomethingInFrontOrBehind) {
  const std::string package = made(L"lzma2.7z");
  expectRefused("MZ" + package, {badSignature(package.size() + 2)});
  expectRefused(package + '\0', {kNotRead});
  expectRefused(package + package, {kNotRead});
}

TEST_F(SevenZipTest, RefusesPackagesWithoutAModule) {
  expectRefused(made(L"no-module.7z"), {L"Check unzip file fail. File zuimpl.dll not exist!"});
}

// ---- Other makers

TEST_F(SevenZipTest, PublishesWhatThePackagingToolMakes) {
  const std::wstring out = temporaryDirectory() + L"\\made-" + std::to_wstring(GetCurrentProcessId());
  ChildProcess tool(programDirectory() + L"\\zupack.exe",
                    {L"pack", L"--module", madePath(L"content\\zuimpl.dll"), L"--add",
                     L"sub/x.txt=" + madePath(L"content\\sub\\x.txt"), L"empty.txt=" + madePath(L"content\\empty.txt"),
                     L"--url", L"https://config.zuvia.example", L"--out", out});
  EXPECT_EQ(tool.waitForExit(), 0u) << tool.errorText();
  const std::string package = readFile(out + L"\\zuimpl-2.0.0.47.7z");
  const std::string entryText = readFile(out + L"\\zuimpl-2.0.0.47.json");
  removeTree(out);
  Json::Value offered;
  std::istringstream(entryText) >> offered;
  Json::Value expected;
  expected["ver"] = "2.0.0.47";
  expected["pmd5"] = md5(package);
  expected["dmd5"] = md5(implementation);
  expected["url"] = "https://config.zuvia.example/zuimpl-2.0.0.47.7z";
  EXPECT_EQ(offered, expected);
  expectPublished(package,
                  {{L"zuimpl.dll", implementation}, {L"sub\\x.txt", made(L"content\\sub\\x.txt")}, {L"empty.txt", ""}});
}

TEST_F(SevenZipTest, PublishesWhatTheArchiveLibraryMakes) {
  for (const char* method : {"copy", "lzma1", "lzma2", "ppmd"}) {
    SCOPED_TRACE(method);
    expectPublished(PackageBuilder(method)
                        .addDirectory(L"empty directory")
                        .add(L"zuimpl.dll", implementation)
                        .add(L"sub/x.txt", "text")
                        .add(L"empty.txt", "")
                        .build(),
                    {{L"zuimpl.dll", implementation}, {L"sub\\x.txt", "text"}, {L"empty.txt", ""}});
  }
}

TEST_F(SevenZipTest, RefusesAnArchiveWithoutEntries) {
  expectRefused(PackageBuilder().build(), {kNotRead});
  expectRefused(PackageBuilder().addDirectory(L"zuimpl.dll").build(), {kNotRead});
}

}  // namespace
}  // namespace zuvia::test
