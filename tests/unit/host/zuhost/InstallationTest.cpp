#include "Installation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hxbase/LogControl.h>
#include <windows.h>

#include <algorithm>

#include "InstallationFiles.h"
#include "ProductMessages.h"
#include "StatusRecord.h"
#include "support/Files.h"
#include "support/InstallTree.h"
#include "support/Wine.h"

namespace zuhost {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using zuvia::test::copyFile;
using zuvia::test::joinPath;
using zuvia::test::moduleFile;
using zuvia::test::writeFile;

using Kind = FoundDirectory::Kind;

// What the program does with the log.
void receive(void*, uint16_t, const char*, const char*, uint16_t, const char*, const wchar_t* message,
             const char*) noexcept {
  EXPECT_TRUE(ProductMessages::caught(message));
}

class InstallationTest : public testing::Test {
 protected:
  InstallationTest() {
    HxSetLogSink(&receive, nullptr);
    tree.installPlugin();
  }
  ~InstallationTest() override { HxSetLogSink(nullptr, nullptr); }

  void add(const std::wstring& directory, const std::wstring& module) const {
    tree.addVersion(directory, moduleFile(module));
  }

  Installation look() const { return lookAt(tree.pluginPath(), tree.appPath()); }

  static Json::Value status(const Installation& installation) { return statusRecord(installation).fields["status"]; }

  static std::string verdictOf(const Installation& installation, const std::wstring& path) {
    const auto found = std::ranges::find(installation.modules, path, &FoundModule::path);
    if (found == installation.modules.end()) return "not found";
    return status(installation)["modules"][static_cast<int>(found - installation.modules.begin())]["verdict"]
        .asString();
  }

  static Kind kindOf(const Installation& installation, const std::wstring& name) {
    const auto found = std::ranges::find(installation.directories, name, &FoundDirectory::name);
    EXPECT_NE(found, installation.directories.end());
    return found->kind;
  }

  const zuvia::test::InstallTree tree{L"look \u6587"};
};

TEST_F(InstallationTest, SaysWhichModuleALoadTakesAndWhyNotTheOthers) {
  add(L"2.0.0.44", L"2.0.0.44");
  add(L"2.0.0.45", L"2.0.0.45");
  add(L"2.0.0.50", L"missing-dependency");
  add(L"misplaced\\deeper", L"no-export");
  add(L"9", L"no-version");
  const Installation installation = look();
  ASSERT_TRUE(installation.chosen);
  EXPECT_EQ(installation.modules[*installation.chosen].path, L"2.0.0.45\\zuimpl.dll");
  EXPECT_EQ(verdictOf(installation, L"2.0.0.45\\zuimpl.dll"), "would be chosen");
  EXPECT_EQ(verdictOf(installation, L"2.0.0.44\\zuimpl.dll"), "not chosen: older");
  EXPECT_EQ(verdictOf(installation, L"2.0.0.50\\zuimpl.dll"),
            "would not load: it needs zuabsent.dll, which is neither beside it nor beside the plugin nor the system's");
  EXPECT_EQ(verdictOf(installation, L"misplaced\\deeper\\zuimpl.dll"), "would not load: it has no export createImpl");
  EXPECT_THAT(verdictOf(installation, L"9\\zuimpl.dll"),
              StartsWith("no candidate: Get dll version fail! No version resource, error: "));
  EXPECT_EQ(installation.modules.back().path, L"9\\zuimpl.dll");
}

TEST_F(InstallationTest, FindsLibrariesBesideTheModuleOrThePlugin) {
  add(L"2.0.0.50", L"needs-companion");
  EXPECT_THAT(verdictOf(look(), L"2.0.0.50\\zuimpl.dll"), StartsWith("would not load: it needs zucompanion.dll"));
  copyFile(zuvia::test::companionFile(), joinPath(tree.root(), L"zucompanion.dll"));
  EXPECT_EQ(verdictOf(look(), L"2.0.0.50\\zuimpl.dll"), "would be chosen");
  zuvia::test::removeTree(joinPath(tree.root(), L"zucompanion.dll"));
  copyFile(zuvia::test::companionFile(), joinPath(tree.root(), L"2.0.0.50\\zucompanion.dll"));
  EXPECT_EQ(verdictOf(look(), L"2.0.0.50\\zuimpl.dll"), "would be chosen");
}

TEST_F(InstallationTest, TakesAModuleThatAnUpdateLeftAsALoadDoes) {
  add(L"2.0.0.45", L"2.0.0.45");
  add(L".update-2.0.0.47-0123456789abcdef", L"2.0.0.47");
  const Installation installation = look();
  EXPECT_EQ(verdictOf(installation, L".update-2.0.0.47-0123456789abcdef\\zuimpl.dll"), "would be chosen");
  EXPECT_EQ(verdictOf(installation, L"2.0.0.45\\zuimpl.dll"), "not chosen: older");
}

TEST_F(InstallationTest, TakesOneOfTwoOfTheSameVersion) {
  add(L"2.0.0.45", L"2.0.0.45");
  add(L"copy", L"2.0.0.45");
  const Installation installation = look();
  const std::vector<std::string> verdicts = {verdictOf(installation, L"2.0.0.45\\zuimpl.dll"),
                                             verdictOf(installation, L"copy\\zuimpl.dll")};
  EXPECT_THAT(verdicts,
              testing::UnorderedElementsAre("would be chosen", "not chosen: of the same version, and found later"));
}

TEST_F(InstallationTest, TellsDirectoriesApart) {
  add(L"2.0.0.45", L"2.0.0.45");
  add(L".update-2.0.0.47-0123456789abcdef", L"2.0.0.47");
  writeFile(joinPath(tree.root(), L"2.0.0.43\\help\\companion.txt"), "1234");
  writeFile(joinPath(tree.root(), L"logs\\a.txt"), "");
  writeFile(joinPath(tree.root(), L"read me.txt"), "12345");
  zuvia::test::makeDirectoryLink(joinPath(tree.root(), L"2.0.0.99"), zuvia::test::programDirectory());
  const Installation installation = look();
  EXPECT_EQ(kindOf(installation, L"2.0.0.99"), Kind::Link);
  EXPECT_EQ(kindOf(installation, L"2.0.0.45"), Kind::Version);
  EXPECT_EQ(kindOf(installation, L"2.0.0.43"), Kind::Incomplete);
  EXPECT_EQ(kindOf(installation, L".update-2.0.0.47-0123456789abcdef"), Kind::Temporary);
  EXPECT_EQ(kindOf(installation, L"logs"), Kind::Other);
  const auto& incomplete = *std::ranges::find(installation.directories, L"2.0.0.43", &FoundDirectory::name);
  EXPECT_EQ(incomplete.files, 1U);
  EXPECT_EQ(incomplete.bytes, 4U);
  EXPECT_LT(incomplete.ageSeconds, 60);
  ASSERT_EQ(installation.files.size(), 1U);
  EXPECT_EQ(installation.files[0].name, L"read me.txt");
  EXPECT_EQ(installation.files[0].bytes, 5U);
}

TEST_F(InstallationTest, ReadsTheCaches) {
  const std::wstring cache = joinPath(tree.appPath(), L"zuviaplugin\\cache");
  writeFile(joinPath(cache, L"hit.cache"), " 0123456789ABCDEF\r\nmore");
  writeFile(joinPath(cache, L"update\\0123.zip"), "package");
  writeFile(joinPath(cache, L"bbs.cache"),
            R"j({"entries": [
              {"key_url": "https://one", "timestamp_ms": 1000,
               "response_data": "{\"configs\": {\"zu_plugin_update\": \"{\\\"ver\\\": \\\"2.0.0.47\\\", \\\"url\\\": \\\"https://p\\\"}\"}}"},
              {"key_url": "https://two", "timestamp_ms": 2000, "response_data": "{}"},
              {"key_url": "https://three", "timestamp_ms": 3000, "response_data": "[]"}]})j");
  const Caches caches = cachesOf(tree.appPath());
  EXPECT_EQ(caches.hitSequence, "0123456789ABCDEF");
  ASSERT_EQ(caches.packages.size(), 1U);
  EXPECT_EQ(caches.packages[0].name, L"0123.zip");
  EXPECT_EQ(caches.packages[0].bytes, 7U);
  ASSERT_EQ(caches.answers.size(), 3U);
  EXPECT_EQ(caches.answers[0].meaning, "offers 2.0.0.47 at https://p");
  EXPECT_EQ(caches.answers[0].milliseconds, 1000);
  EXPECT_EQ(caches.answers[1].meaning, "offers nothing");
  EXPECT_EQ(caches.answers[2].meaning, "is not understood");
  EXPECT_THAT(statusRecord(look()).text,
              HasSubstr("1970-01-01 00:00:01 UTC  https://one  offers 2.0.0.47 at https://p"));
}

TEST_F(InstallationTest, SaysWhenTheCachesAreNotThereOrNotUnderstood) {
  EXPECT_EQ(cachesOf(tree.appPath()).hitSequence, std::nullopt);
  EXPECT_EQ(cachesOf(tree.appPath()).answerBytes, std::nullopt);
  const std::wstring answers = joinPath(tree.appPath(), L"zuviaplugin\\cache\\bbs.cache");
  writeFile(answers, "");
  EXPECT_EQ(cachesOf(tree.appPath()).answerBytes, 0U);
  EXPECT_EQ(cachesOf(tree.appPath()).answerFault, "");
  writeFile(answers, "{\"entries\": [{\"key_url\": ");
  EXPECT_EQ(cachesOf(tree.appPath()).answerFault, "it is no JSON");
  writeFile(answers, "[1]");
  EXPECT_NE(cachesOf(tree.appPath()).answerFault, "");
}

TEST_F(InstallationTest, IsDescribedWithoutAPluginOrAnythingElse) {
  const Installation installation = lookAt(joinPath(tree.base(), L"nowhere\\zuviaplugin.dll"), tree.appPath());
  EXPECT_FALSE(installation.isPluginThere);
  EXPECT_FALSE(installation.chosen);
  EXPECT_THAT(installation.modules, IsEmpty());
  EXPECT_THAT(installation.messages, ElementsAre(StartsWith("Scan directory fail! FindFirstFile error: 3, path: ")));
  EXPECT_THAT(statusRecord(installation).text, HasSubstr("is not there"));
}

TEST_F(InstallationTest, ChangesNothing) {
  add(L"2.0.0.45", L"2.0.0.45");
  writeFile(joinPath(tree.appPath(), L"zuviaplugin\\cache\\hit.cache"), "x");
  const auto before = tree.listAll();
  look();
  EXPECT_EQ(zuvia::test::describeChanges(before, tree.listAll()), "");
}

TEST_F(InstallationTest, KnowsWhoHasLoadedAModule) {
  add(L"2.0.0.45", L"2.0.0.45");
  EXPECT_THAT(look().modules[0].users, IsEmpty());
  const HMODULE module = LoadLibraryW(joinPath(tree.root(), L"2.0.0.45\\zuimpl.dll").c_str());
  ASSERT_NE(module, nullptr);
  const Installation installation = look();
  FreeLibrary(module);
  ASSERT_EQ(installation.modules[0].users.size(), 1U);
  EXPECT_EQ(installation.modules[0].users[0].process, GetCurrentProcessId());
  EXPECT_EQ(installation.modules[0].users[0].program, L"zuhost_test.exe");
}

TEST(AgeText, IsInTheLargestWholeUnit) {
  EXPECT_EQ(ageText(-5), "0 s");
  EXPECT_EQ(ageText(59), "59 s");
  EXPECT_EQ(ageText(60), "1 min");
  EXPECT_EQ(ageText(7199), "1 h");
  EXPECT_EQ(ageText(172'800), "2 d");
}

}  // namespace
}  // namespace zuhost
