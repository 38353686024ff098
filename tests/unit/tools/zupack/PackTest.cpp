#include "zupack/Pack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "../TemporaryTree.h"
#include "SampleModule.h"
#include "platform/Handles.h"
#include "shared/CommandLine.h"
#include "shared/EntryText.h"
#include "shared/Utf8.h"
#include "support/Clock.h"
#include "support/Digest.h"
#include "support/InstallTree.h"
#include "updater/ZuDllUpdater.h"
#include "zupack/Verify.h"

namespace zuvia::zupack {
namespace {

using test::TemporaryTree;
using testing::HasSubstr;
using testing::StartsWith;

PackOptions optionsFor(const TemporaryTree& tree) {
  return {test::sampleModule(), {}, "https://localhost:18443/packages", tree.path(L"out")};
}

std::string failureOf(const PackOptions& options, int status = tools::kBadInput) {
  try {
    pack(options);
  } catch (const tools::Failure& failure) {
    EXPECT_EQ(failure.status(), status);
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

void setTimes(const std::wstring& file, test::Clock::Ticks time) {
  const FileHandle handle(
      CreateFileW(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  const FILETIME value{static_cast<DWORD>(time.count()), static_cast<DWORD>(time.count() >> 32)};
  EXPECT_NE(SetFileTime(handle.get(), &value, &value, &value), FALSE) << GetLastError();
}

// Packs the sample with two companions, which lie in this tree and are as old as told.
std::string packedIn(const TemporaryTree& tree, const std::vector<std::wstring>& companions, test::Clock::Ticks age) {
  PackOptions options = optionsFor(tree);
  options.module = tree.path(L"module.dll");
  test::copyFile(test::sampleModule(), options.module.wstring());
  const test::Clock now(GetModuleHandleW(nullptr));
  setTimes(options.module.wstring(), now.now() - age);
  for (const std::wstring& name : companions) {
    test::writeFile(tree.path(name), "content of " + tools::toUtf8(name));
    setTimes(tree.path(name), now.now() - 2 * age);
    options.additions.push_back("sub/" + tools::toUtf8(name) + "=" + tools::toUtf8(tree.path(name)));
  }
  return test::readFile(pack(options).package.wstring());
}

TEST(Pack, GivesTheSameBytesForTheSameFilesAtAnotherTimeAndPlaceAndInAnotherOrder) {
  const TemporaryTree here;
  const std::string first = packedIn(here, {L"a.txt", L"B.txt"}, std::chrono::hours(1));
  const TemporaryTree there;
  test::Clock clock(GetModuleHandleW(nullptr));
  clock.advance(std::chrono::hours(24 * 400));
  EXPECT_EQ(packedIn(there, {L"B.txt", L"a.txt"}, std::chrono::hours(5000)), first);
}

TEST(Pack, GivesOtherBytesForOtherFiles) {
  const TemporaryTree here;
  const TemporaryTree there;
  EXPECT_NE(packedIn(here, {L"a.txt"}, {}), packedIn(there, {L"b.txt"}, {}));
}

TEST(Pack, TellsHowFarItIs) {
  const TemporaryTree tree;
  PackOptions options = optionsFor(tree);
  std::vector<std::uint64_t> steps;
  std::uint64_t whole = 0;
  options.progress = [&](std::uint64_t done, std::uint64_t total) {
    steps.push_back(done);
    whole = total;
  };
  pack(options);
  EXPECT_EQ(whole, test::readFile(test::sampleModule()).size());
  EXPECT_TRUE(std::ranges::is_sorted(steps));
  EXPECT_EQ(steps.back(), whole);
}

TEST(Pack, RefusesWhatNoHostCouldLoad) {
  const TemporaryTree tree;
  PackOptions options = optionsFor(tree);
  for (const auto& [name, fault] : {std::pair(L"missing-dependency", "zuimpl.dll needs zuabsent.dll, "),
                                    std::pair(L"needs-companion", "zuimpl.dll needs zucompanion.dll, "),
                                    std::pair(L"no-export", "it does not export createImpl; "),
                                    std::pair(L"no-version", "it has no version resource, ")}) {
    options.module = test::moduleFile(name);
    EXPECT_THAT(failureOf(options, tools::kCheckFailed),
                StartsWith("no host could load " + tools::pathText(options.module) + ": " + fault));
  }
  EXPECT_TRUE(test::listTree(tree.path()).empty()) << "nothing was written";
}

TEST(Pack, TakesWhatIsPackedBesideTheModuleOrBroughtByTheHost) {
  const TemporaryTree tree;
  PackOptions options = optionsFor(tree);
  options.module = test::moduleFile(L"needs-companion");
  options.additions = {tools::toUtf8(test::companionFile())};
  EXPECT_THAT(pack(options).overridden, testing::IsEmpty());
  options.additions = {"sub/zucompanion.dll=" + tools::toUtf8(test::companionFile())};
  EXPECT_THAT(failureOf(options, tools::kCheckFailed), HasSubstr("zuimpl.dll needs zucompanion.dll, "));
  options.hostLibraries = {"zucompanion.dll"};
  EXPECT_EQ(failureOf(options), "");
}

TEST(Pack, PacksWhatIsForcedAndSaysWhatSpeaksAgainstIt) {
  const TemporaryTree tree;
  PackOptions options = optionsFor(tree);
  options.module = test::moduleFile(L"missing-dependency");
  options.force = true;
  const PackResult result = pack(options);
  EXPECT_EQ(result.entry.ver, "2.0.0.50");
  EXPECT_THAT(result.overridden, testing::ElementsAre(StartsWith("zuimpl.dll needs zuabsent.dll, ")));
  EXPECT_EQ(verifyEntry(result.package, result.entry), std::nullopt);
}

TEST(Pack, NamesTheVersionOfAForcedModuleThatHasNone) {
  const TemporaryTree tree;
  PackOptions options = optionsFor(tree);
  options.module = test::moduleFile(L"no-version");
  options.force = true;
  EXPECT_THAT(failureOf(options), testing::EndsWith("; with --force, --as names a version"));
  options.version = "2.0";
  EXPECT_EQ(failureOf(options), "--as must be 3 or 4 numbers of at most 65535 joined by dots, but is \"2.0\"");
  options.version = "2.0.0.60";
  const PackResult result = pack(options);
  EXPECT_EQ(result.package, tree.path(L"out\\zuimpl-2.0.0.60.7z"));
  EXPECT_THAT(result.overridden,
              testing::ElementsAre(StartsWith("it has no version resource, "), StartsWith("module version: ")));
}

TEST(Pack, RefusesAnotherVersionThanTheModuleHas) {
  const TemporaryTree tree;
  PackOptions options = optionsFor(tree);
  options.version = "2.0.0.60";
  const std::string refusal = "--as is for a module without a version resource, and hosts find 2.0.0.47 in ";
  EXPECT_THAT(failureOf(options), StartsWith(refusal));
  options.force = true;
  EXPECT_THAT(failureOf(options), StartsWith(refusal));
  EXPECT_FALSE(test::directoryExists(tree.path(L"out")));
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
  EXPECT_EQ(failureOf(options, tools::kCheckFailed),
            "no host could load " + tools::toUtf8(tree.path(L"text.dll")) +
                ": it is no Windows program or library; name a DLL for Windows x64");
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
