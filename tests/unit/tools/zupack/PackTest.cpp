#include "zupack/Pack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "../TemporaryTree.h"
#include "SampleModule.h"
#include "platform/Handles.h"
#include "shared/CommandLine.h"
#include "shared/EntryText.h"
#include "shared/Utf8.h"
#include "support/Digest.h"
#include "updater/ZuDllUpdater.h"

namespace zuvia::zupack {
namespace {

using test::TemporaryTree;
using testing::HasSubstr;
using testing::StartsWith;

PackOptions optionsFor(const TemporaryTree& tree) {
  return {test::sampleModule(), {}, "https://localhost:18443/packages", tree.path(L"out")};
}

std::string failureOf(const PackOptions& options) {
  try {
    pack(options);
  } catch (const tools::Failure& failure) {
    EXPECT_EQ(failure.status(), tools::kBadInput);
    return failure.what();
  }
  return "";
}

TEST(Pack, WritesThePackageAndItsEntry) {
  const TemporaryTree tree;
  const PackResult result = pack(optionsFor(tree));
  const test::TreeListing listing = test::listTree(tree.path(L"out"));
  EXPECT_EQ(listing.size(), 2u) << "and nothing else";
  EXPECT_TRUE(listing.contains(L"zuimpl-2.0.0.47.7z"));
  const UpdateEntry entry = tools::parseEntry(test::readFile(tree.path(L"out\\zuimpl-2.0.0.47.json")));
  EXPECT_EQ(entry.ver, "2.0.0.47");
  EXPECT_EQ(entry.pmd5, test::md5(test::readFile(tree.path(L"out\\zuimpl-2.0.0.47.7z"))));
  EXPECT_EQ(entry.dmd5, test::md5(test::readFile(test::sampleModule())));
  EXPECT_EQ(entry.url, "https://localhost:18443/packages/zuimpl-2.0.0.47.7z");
  EXPECT_EQ(result.entryFile, tree.path(L"out\\zuimpl-2.0.0.47.json"));
}

TEST(Pack, HoldsTheModuleAndItsCompanions) {
  const TemporaryTree tree;
  test::writeFile(tree.path(L"x\u6F22.txt"), "companion");
  test::writeFile(tree.path(L"empty"), "");
  PackOptions options = optionsFor(tree);
  options.additions = {tools::toUtf8(tree.path(L"x\u6F22.txt")),
                       "sub\\\u00E4/y.txt=" + tools::toUtf8(tree.path(L"empty"))};
  ASSERT_TRUE(ZuDllUpdater::unZip(pack(options).package.wstring(), tree.path(L"unpacked")));
  const std::wstring unpacked = tree.path(L"unpacked\\");
  EXPECT_EQ(test::readFile(unpacked + L"zuimpl.dll"), test::readFile(test::sampleModule()));
  EXPECT_EQ(test::readFile(unpacked + L"x\u6F22.txt"), "companion");
  EXPECT_EQ(test::readFile(unpacked + L"sub\\\u00E4\\y.txt"), "");
  EXPECT_EQ(test::listTree(tree.path(L"unpacked")).size(), 5u) << "three files, two directories";
}

TEST(Pack, PutsAModuleOfAnyNameAtTheRootAsZuimpl) {
  const TemporaryTree tree;
  test::copyFile(test::sampleModule(), tree.path(L"other.bin"));
  PackOptions options = optionsFor(tree);
  options.module = tree.path(L"other.bin");
  ASSERT_TRUE(ZuDllUpdater::unZip(pack(options).package.wstring(), tree.path(L"unpacked")));
  EXPECT_TRUE(test::fileExists(tree.path(L"unpacked\\zuimpl.dll")));
}

TEST(Pack, GivesTheSameBytesForTheSameFiles) {
  const TemporaryTree tree;
  const std::string first = test::readFile(pack(optionsFor(tree)).package.wstring());
  EXPECT_EQ(test::readFile(pack(optionsFor(tree)).package.wstring()), first);
}

TEST(Pack, ReplacesAnEarlierPackage) {
  const TemporaryTree tree;
  test::writeFile(tree.path(L"out\\zuimpl-2.0.0.47.7z"), "old");
  test::writeFile(tree.path(L"out\\zuimpl-2.0.0.47.json"), "old");
  const PackResult result = pack(optionsFor(tree));
  EXPECT_EQ(tools::parseEntry(test::readFile(result.entryFile.wstring())).pmd5,
            test::md5(test::readFile(result.package.wstring())));
}

TEST(Pack, JoinsTheAddressWithOneSlash) {
  const TemporaryTree tree;
  PackOptions options = optionsFor(tree);
  options.baseUrl = "https://localhost/";
  EXPECT_EQ(pack(options).entry.url, "https://localhost/zuimpl-2.0.0.47.7z");
}

TEST(Pack, RefusesAddressesThatHostsRefuse) {
  const TemporaryTree tree;
  PackOptions options = optionsFor(tree);
  for (const std::string url : {"http://localhost", "HTTPS://localhost", "", "localhost"}) {
    options.baseUrl = url;
    EXPECT_EQ(failureOf(options), "--url must begin with https://, but is \"" + url + "\"");
  }
  for (const std::string url : {"https://", "https:///x"}) {
    options.baseUrl = url;
    EXPECT_EQ(failureOf(options), "--url names no host: \"" + url + "\"");
  }
  for (const std::string url : {"https://a b", "https://a?b", "https://a#b", "https://a\u00E4", "https://a\n"}) {
    options.baseUrl = url;
    EXPECT_EQ(failureOf(options),
              "--url must be plain ASCII without blanks, query or fragment, but is " + tools::quoted(url));
  }
  EXPECT_TRUE(test::listTree(tree.path()).empty()) << "nothing was written";
}

TEST(Pack, RefusesAModuleWithoutAVersion) {
  const TemporaryTree tree;
  test::writeFile(tree.path(L"text.dll"), "text");
  PackOptions options = optionsFor(tree);
  options.module = tree.path(L"text.dll");
  EXPECT_THAT(failureOf(options), StartsWith("Get dll version fail! No version resource, path: "));
  options.module = tree.path(L"none.dll");
  EXPECT_EQ(failureOf(options), "not a file: " + tools::toUtf8(tree.path(L"none.dll")));
}

TEST(Pack, RefusesASecondModule) {
  const TemporaryTree tree;
  PackOptions options = optionsFor(tree);
  options.additions = {"Zuimpl.dll=" + tools::toUtf8(test::sampleModule())};
  EXPECT_EQ(failureOf(options), "twice in the package: \"Zuimpl.dll\"");
}

TEST(Pack, NamesTheDirectoryThatCannotBeMade) {
  const TemporaryTree tree;
  test::writeFile(tree.path(L"out"), "a file");
  EXPECT_THAT(failureOf(optionsFor(tree)),
              StartsWith("cannot make the directory " + tools::toUtf8(tree.path(L"out")) + ": "));
}

TEST(Pack, LeavesNoEntryAndNoHalfPackageWhenItFails) {
  const TemporaryTree tree;
  pack(optionsFor(tree));
  const FileHandle held(CreateFileW(tree.path(L"out\\zuimpl-2.0.0.47.json").c_str(), GENERIC_READ, FILE_SHARE_READ,
                                    nullptr, OPEN_EXISTING, 0, nullptr));
  const test::TreeListing before = test::listTree(tree.path());
  EXPECT_THAT(failureOf(optionsFor(tree)), testing::AllOf(StartsWith("cannot replace "), HasSubstr("(error 32)")));
  EXPECT_EQ(test::describeChanges(before, test::listTree(tree.path())), "");
}

TEST(Pack, OffersNothingWhileThePackageCannotBeReplaced) {
  const TemporaryTree tree;
  test::makeDirectories(tree.path(L"out\\zuimpl-2.0.0.47.7z\\x"));
  EXPECT_THAT(failureOf(optionsFor(tree)),
              StartsWith("cannot write " + tools::toUtf8(tree.path(L"out\\zuimpl-2.0.0.47.7z")) + ": "));
  EXPECT_FALSE(test::fileExists(tree.path(L"out\\zuimpl-2.0.0.47.json")));
  EXPECT_EQ(test::listTree(tree.path(L"out")).size(), 2u);
}

}  // namespace
}  // namespace zuvia::zupack
