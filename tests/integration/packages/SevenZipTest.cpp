// Packages that other programs make: the real 7-Zip, the packaging tool, the archive library.

#include <json/json.h>

#include <algorithm>
#include <sstream>
#include <string>

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

std::string testName(const testing::TestParamInfo<const char*>& info) {
  std::string name = info.param;
  std::ranges::replace(name, '-', '_');
  return name;
}

class SevenZipTest : public PackageTest {};

// ---- Published

class PublishedPackage : public SevenZipTest, public testing::WithParamInterface<const char*> {};

TEST_P(PublishedPackage, BecomesItsFiles) {
  const Contents files = madeContent();
  ASSERT_EQ(files.size(), 6u);
  expectPublished(made(toWide(GetParam()) + L".7z"), files);
}

INSTANTIATE_TEST_SUITE_P(SevenZip, PublishedPackage,
                         testing::Values("copy", "lzma", "lzma2", "ppmd", "default", "bcj", "bcj-lzma", "bcj-copy",
                                         "bcj2", "delta", "solid", "non-solid", "copy-non-solid", "ppmd-non-solid",
                                         "bcj2-non-solid", "strongest", "fastest", "plain-header", "times",
                                         "no-attributes", "volumes-joined"),
                         testName);

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
