#include "zupack/Site.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../TemporaryTree.h"
#include "SampleModule.h"
#include "platform/Handles.h"
#include "shared/CommandLine.h"
#include "shared/Utf8.h"
#include "support/Digest.h"
#include "support/InstallTree.h"
#include "zupack/Pack.h"

namespace zuvia::zupack {
namespace {

using test::TreeListing;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class SiteTest : public testing::Test {
 protected:
  std::filesystem::path packageOf(const std::wstring& module) {
    return pack({module, {}, "https://unused", tree.path(L"packages")}).package;
  }
  std::filesystem::path package(const std::wstring& version = L"2.0.0.47") {
    return packageOf(test::moduleFile(version));
  }

  SiteOptions first(const std::string& share = "10") {
    return {.directory = tree.path(L"site"),
            .package = package(),
            .share = share,
            .server = "updates.example.com",
            .root = "/srv/zuvia",
            .certificate = "/c.pem",
            .key = "/k.pem"};
  }
  SiteOptions later() const { return {.directory = tree.path(L"site")}; }

  static std::string failureOf(const SiteOptions& options) {
    try {
      makeSite(options);
    } catch (const tools::Failure& failure) {
      return failure.what();
    }
    return "";
  }

  TreeListing listing() const { return test::listTree(tree.path(L"site")); }
  std::string configuration() const { return test::readFile(tree.path(L"site\\nginx.conf")); }

  // The place of a package in the site.
  std::wstring placeOf(const std::filesystem::path& file) const {
    const std::string digest = test::md5(test::readFile(file.wstring()));
    return L"packages\\" + tools::toWide(digest) + L'\\' + file.filename().wstring();
  }

  const test::TemporaryTree tree;
};

TEST_F(SiteTest, LaysOutThePackageTheAnswersAndTheConfiguration) {
  makeSite(first());
  const std::string digest = test::md5(test::readFile(package().wstring()));
  EXPECT_EQ(test::readFile(tree.path(L"site\\" + placeOf(package()))), test::readFile(package().wstring()));
  EXPECT_EQ(test::readFile(tree.path(L"site\\answers\\nothing.json")), R"({"configs":{}})");
  const TreeListing answers = test::listTree(tree.path(L"site\\answers"));
  ASSERT_EQ(answers.size(), 2u);
  EXPECT_THAT(test::readFile(tree.path(L"site\\answers\\" + answers.begin()->first)),
              HasSubstr("https://updates.example.com/packages/" + digest + "/zuimpl-2.0.0.47.7z"));
  EXPECT_EQ(listing().size(), 7u) << "three directories, four files";
  EXPECT_THAT(configuration(), HasSubstr("    10% " + tools::toUtf8(answers.begin()->first) + ";\n"));
}

TEST_F(SiteTest, ChangesOnlyTheConfigurationForAnotherShare) {
  makeSite(first());
  const TreeListing before = listing();
  SiteOptions options = later();
  options.share = "25";
  makeSite(options);
  EXPECT_THAT(configuration(), HasSubstr("    25% "));
  TreeListing after = listing();
  EXPECT_NE(after[L"nginx.conf"], before.at(L"nginx.conf"));
  after[L"nginx.conf"] = before.at(L"nginx.conf");
  EXPECT_EQ(test::describeChanges(before, after), "");
}

TEST_F(SiteTest, DoesNotWriteAgainWhatIsThere) {
  makeSite(first());
  const FileHandle package(CreateFileW(tree.path(L"site\\" + placeOf(this->package())).c_str(), GENERIC_READ,
                                       FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(package) << "nobody can write it meanwhile";
  EXPECT_EQ(failureOf(first("20")), "");
}

TEST_F(SiteTest, RepairsADamagedPackageWhenItIsNamedAgain) {
  makeSite(first());
  test::writeFile(tree.path(L"site\\" + placeOf(package())), "damaged");
  EXPECT_THAT(failureOf(later()), AllOf(StartsWith("not there any more as it was published: "),
                                        EndsWith("; put it back, or name another with --package or --others")));
  makeSite(first());
  EXPECT_EQ(test::readFile(tree.path(L"site\\" + placeOf(package()))), test::readFile(package().wstring()));
}

TEST_F(SiteTest, OffersTheOthersWhatEverybodyWasOffered) {
  makeSite(first("100"));
  SiteOptions options = later();
  options.package = package(L"2.0.1.0");
  EXPECT_EQ(failureOf(options), "--share is required with --package: the share of users that gets it");
  options.share = "x";
  EXPECT_EQ(failureOf(options), "--share: not a share of the users: \"x\"; from 0 to 100, with at most two decimals");
  options.share = "10";
  EXPECT_EQ(makeSite(options).settings.others->ver, "2.0.0.47");
  EXPECT_TRUE(listing().contains(placeOf(package()))) << "it is still offered";
  options.share = "20";
  EXPECT_EQ(makeSite(options).settings.others->ver, "2.0.0.47") << "also when it is named again";
  options.others = "none";
  EXPECT_EQ(makeSite(options).settings.others, std::nullopt);
}

TEST_F(SiteTest, KeepsToTheOthersWhenTheLastPackageReachedOnlySome) {
  makeSite(first("50"));
  SiteOptions options = later();
  options.package = package(L"2.0.1.0");
  options.share = "10";
  EXPECT_EQ(makeSite(options).settings.others, std::nullopt);
}

TEST_F(SiteTest, RefusesAVersionThatIsNotNewerThanWhatTheOthersAreOffered) {
  makeSite(first("100"));
  const TreeListing before = listing();
  SiteOptions options = later();
  options.package = package(L"2.0.0.46");
  options.share = "100";
  EXPECT_EQ(failureOf(options),
            "hosts only go to newer versions, and 2.0.0.46 is not newer than 2.0.0.47, which the others are offered; "
            "pack it under a higher version, or name --others");
  EXPECT_EQ(test::describeChanges(before, listing()), "");
}

TEST_F(SiteTest, RemovesWhatIsNotOfferedOnlyWhenAsked) {
  makeSite(first("50"));
  SiteOptions options = later();
  options.package = package(L"2.0.1.0");
  options.share = "10";
  makeSite(options);
  EXPECT_TRUE(listing().contains(placeOf(package())));
  test::writeFile(tree.path(L"site\\answers\\x.json.partial"), "left over");
  SiteOptions pruning = later();
  pruning.prune = true;
  makeSite(pruning);
  EXPECT_FALSE(listing().contains(placeOf(package())));
  EXPECT_TRUE(listing().contains(placeOf(*options.package)));
  EXPECT_EQ(test::listTree(tree.path(L"site\\answers")).size(), 2u);
}

TEST_F(SiteTest, LeavesEverythingAsItWasWhenItFails) {
  makeSite(first("50"));
  const TreeListing before = listing();
  const FileHandle held(CreateFileW(tree.path(L"site\\nginx.conf").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
  SiteOptions options = later();
  options.package = package(L"2.0.1.0");
  options.share = "10";
  EXPECT_THAT(failureOf(options), StartsWith("cannot write " + tools::toUtf8(tree.path(L"site\\nginx.conf")) + ": "));
  EXPECT_EQ(test::describeChanges(before, listing()), "");
}

TEST_F(SiteTest, TakesNothingAwayThatWasThereWhenItFails) {
  makeSite(first());
  for (const auto& [path, state] : listing()) {
    if (path != L"nginx.conf" && test::fileExists(tree.path(L"site\\" + path))) {
      test::writeFile(tree.path(L"site\\" + path), "damaged");
    }
  }
  const FileHandle held(CreateFileW(tree.path(L"site\\nginx.conf").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
  const TreeListing before = listing();
  EXPECT_NE(failureOf(first("20")), "");
  for (const auto& [path, state] : before) EXPECT_TRUE(listing().contains(path)) << tools::toUtf8(path);
}

TEST_F(SiteTest, LeavesNothingWhenTheFirstRunFails) {
  SiteOptions options = first();
  options.directory = tree.path(L"new\\site");
  test::makeDirectories(tree.path(L"new\\site\\nginx.conf"));
  const TreeListing before = test::listTree(tree.path(L"new"));
  EXPECT_NE(failureOf(options), "");
  EXPECT_EQ(test::describeChanges(before, test::listTree(tree.path(L"new"))), "");
}

TEST_F(SiteTest, NamesTheOptionThatTheFirstRunNeeds) {
  const std::string required =
      " is required at the first run for a directory, and " + tools::toUtf8(tree.path(L"site")) + " holds no site yet";
  EXPECT_EQ(failureOf(later()), "--package" + required);
  using Option = std::optional<std::string> SiteOptions::*;
  for (const auto& [name, option] :
       {std::pair("--server", Option(&SiteOptions::server)), std::pair("--root", Option(&SiteOptions::root)),
        std::pair("--certificate", Option(&SiteOptions::certificate)), std::pair("--key", Option(&SiteOptions::key))}) {
    SiteOptions options = first();
    (options.*option).reset();
    EXPECT_EQ(failureOf(options), name + required);
  }
  EXPECT_FALSE(test::directoryExists(tree.path(L"site")));
}

TEST_F(SiteTest, RefusesAConfigurationOfSomebodyElse) {
  test::writeFile(tree.path(L"site\\nginx.conf"), "server { }");
  EXPECT_EQ(failureOf(first()),
            tools::toUtf8(tree.path(L"site\\nginx.conf")) +
                ": it was not made by zupack site; move it away and name all options to begin anew");
  EXPECT_EQ(test::readFile(tree.path(L"site\\nginx.conf")), "server { }");
}

TEST_F(SiteTest, RefusesWhatNoHostCouldLoadUnlessForced) {
  SiteOptions options = first();
  options.package = pack({.module = test::moduleFile(L"missing-dependency"),
                          .additions = {},
                          .baseUrl = "https://unused",
                          .directory = tree.path(L"packages"),
                          .force = true})
                        .package;
  EXPECT_THAT(failureOf(options), AllOf(StartsWith("no host could load "), HasSubstr("zuabsent.dll")));
  options.force = true;
  EXPECT_EQ(makeSite(options).overridden.size(), 1u);
}

}  // namespace
}  // namespace zuvia::zupack
