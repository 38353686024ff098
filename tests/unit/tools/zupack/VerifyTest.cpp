#include "zupack/Verify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../TemporaryTree.h"
#include "SampleModule.h"
#include "shared/CommandLine.h"
#include "shared/EntryText.h"
#include "shared/Utf8.h"
#include "support/Digest.h"
#include "zupack/ArchiveWriter.h"

namespace zuvia::zupack {
namespace {

using test::TemporaryTree;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;
using testing::StartsWith;

// A package of any content with the entry that belongs to it, to be spoilt.
class VerifyTest : public testing::Test {
 protected:
  void write(const std::vector<PackageFile>& files) {
    writeArchive(package(), files);
    entry.pmd5 = test::md5(test::readFile(package()));
  }

  void writeGood() { write({{"zuimpl.dll", test::sampleModule()}}); }

  void writeBytes(std::string_view bytes) {
    test::writeFile(package(), bytes);
    entry.pmd5 = test::md5(bytes);
  }

  std::optional<std::string> verdict() { return verifyEntry(package(), entry); }

  std::wstring package() const { return tree.path(L"x.7z"); }

  const TemporaryTree tree;
  UpdateEntry entry{"2.0.0.47", "", test::md5(test::readFile(test::sampleModule())), "https://localhost/x.7z"};
};

TEST_F(VerifyTest, PassesAGoodPackage) {
  writeGood();
  EXPECT_EQ(verdict(), std::nullopt);
}

TEST_F(VerifyTest, TakesDigestsInAnyLetterCase) {
  writeGood();
  for (std::string* digest : {&entry.pmd5, &entry.dmd5}) {
    for (char& letter : *digest) letter = static_cast<char>(std::toupper(letter));
  }
  EXPECT_EQ(verdict(), std::nullopt);
}

TEST_F(VerifyTest, MakesTheChecksInTheOrderOfAHost) {
  writeGood();
  test::writeFile(tree.path(L"x.json"), tools::entryText(entry, tools::EntryLayout::Readable));
  std::vector<std::string> passed;
  EXPECT_EQ(verifyFiles(package(), tree.path(L"x.json"), [&](const auto& name) { passed.push_back(name); }),
            std::nullopt);
  EXPECT_THAT(passed, ElementsAre("entry", "entry members", "entry url", "entry version", "package size",
                                  "package digest (pmd5)", "unpacking", "module digest (dmd5)", "module version"));
}

TEST_F(VerifyTest, NamesTheEntryThatIsNoJson) {
  writeGood();
  test::writeFile(tree.path(L"x.json"), "{");
  EXPECT_THAT(verifyFiles(package(), tree.path(L"x.json"), {}), Optional(StartsWith("entry: not valid JSON: ")));
  test::writeFile(tree.path(L"x.json"), "[]");
  EXPECT_THAT(verifyFiles(package(), tree.path(L"x.json"), {}), Optional(StartsWith("entry: not an update entry: ")));
}

TEST_F(VerifyTest, NamesTheMemberThatIsEmpty) {
  writeGood();
  for (const auto& [name, member] : {std::pair("ver", &UpdateEntry::ver), std::pair("pmd5", &UpdateEntry::pmd5),
                                     std::pair("dmd5", &UpdateEntry::dmd5), std::pair("url", &UpdateEntry::url)}) {
    UpdateEntry spoilt = entry;
    (spoilt.*member).clear();
    EXPECT_EQ(verifyEntry(package(), spoilt), "entry members: " + std::string(name) + " is missing or empty");
  }
}

TEST_F(VerifyTest, NamesTheAddressThatIsNotHttps) {
  writeGood();
  entry.url = "HTTPS://localhost/x.7z";
  EXPECT_EQ(verdict(), "entry url: url must begin with https://, but is HTTPS://localhost/x.7z");
}

TEST_F(VerifyTest, NamesTheVersionThatIsNone) {
  writeGood();
  entry.ver = "2.0.70000";
  EXPECT_EQ(verdict(), "entry version: not 3 or 4 numbers of at most 65535 joined by dots: 2.0.70000");
}

TEST_F(VerifyTest, NamesThePackageThatIsTooLong) {
  test::writeFile(package(), "");
  std::filesystem::resize_file(package(), 104'857'601);
  entry.pmd5 = "-";
  EXPECT_EQ(verdict(), "package size: 104857601 bytes are more than 104857600");
}

TEST_F(VerifyTest, NamesThePackageDigest) {
  writeGood();
  const std::string found = entry.pmd5;
  entry.pmd5 = "0123";
  EXPECT_EQ(verdict(), "package digest (pmd5): the file's is " + found + ", the entry's 0123");
}

TEST_F(VerifyTest, NamesThePackageThatIsEmpty) {
  writeBytes("");
  EXPECT_THAT(verdict(), Optional(StartsWith("unpacking: Read file fail! Invalid file size: 0, max: 104857600, ")));
}

TEST_F(VerifyTest, NamesThePackageThatIsNoArchive) {
  writeBytes("no archive");
  EXPECT_EQ(verdict(), "unpacking: Check unzip file fail. Invalid 7z signature, size: 10");
}

TEST_F(VerifyTest, NamesThePackageThatIsCutOff) {
  writeGood();
  const std::string whole = test::readFile(package());
  writeBytes(std::string_view(whole).substr(0, whole.size() / 2));
  EXPECT_EQ(verdict(), "unpacking: Check unzip file fail. UnZip7zToMemory error, entries: 0");
}

TEST_F(VerifyTest, NamesTheIllegalName) {
  write({{"zuimpl.dll", test::sampleModule()}, {"../x", test::sampleModule()}});
  EXPECT_EQ(verdict(), "unpacking: Unzip file fail! Illegal archive entry: ../x");
}

TEST_F(VerifyTest, NamesTheMissingModule) {
  write({{"bin/zuimpl.dll", test::sampleModule()}});
  EXPECT_EQ(verdict(), "unpacking: Check unzip file fail. File zuimpl.dll not exist!");
}

TEST_F(VerifyTest, NamesTheEntryThatIsTooLarge) {
  test::writeFile(tree.path(L"large"), "");
  std::filesystem::resize_file(tree.path(L"large"), 104'857'601);
  write({{"large", tree.path(L"large")}, {"zuimpl.dll", test::sampleModule()}});
  EXPECT_EQ(verdict(),
            "unpacking: Unzip file fail! Entry too large, entry: large, size: 104857601, total: 0, max: 104857600");
}

TEST_F(VerifyTest, NamesTheModuleDigest) {
  writeGood();
  const std::string found = entry.dmd5;
  entry.dmd5 = "0123";
  EXPECT_EQ(verdict(), "module digest (dmd5): the file's is " + found + ", the entry's 0123");
}

TEST_F(VerifyTest, NamesTheModuleVersion) {
  writeGood();
  entry.ver = "2.0.0.48";
  EXPECT_EQ(verdict(), "module version: the module's is 2.0.0.47, the entry's 2.0.0.48");
}

TEST_F(VerifyTest, NamesTheModuleWithoutAVersion) {
  test::writeFile(tree.path(L"text"), "text");
  write({{"zuimpl.dll", tree.path(L"text")}});
  entry.dmd5 = test::md5("text");
  EXPECT_THAT(verdict(), Optional(StartsWith("module version: Get dll version fail! No version resource, path: ")));
}

TEST_F(VerifyTest, ThrowsWhatCannotBeRead) {
  EXPECT_THROW(verdict(), tools::Failure) << "no package";
  writeGood();
  EXPECT_THROW(verifyFiles(package(), tree.path(L"none.json"), {}), tools::Failure) << "no entry";
}

TEST_F(VerifyTest, LeavesNothingBehind) {
  const auto leftOvers = [] {
    test::TreeListing listing = test::listTree(test::temporaryDirectory());
    return std::erase_if(listing, [](const auto& file) { return file.first.starts_with(L"zupack-"); });
  };
  const std::size_t before = leftOvers();
  writeGood();
  EXPECT_EQ(verdict(), std::nullopt);
  entry.ver = "2.0.0.48";
  EXPECT_NE(verdict(), std::nullopt);
  EXPECT_EQ(leftOvers(), before);
}

}  // namespace
}  // namespace zuvia::zupack
