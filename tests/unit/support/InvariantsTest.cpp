#include "support/Invariants.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <optional>

#include "support/SecondProcess.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// ---- the choice ---------------------------------------------------------------------------------

constexpr std::array<std::uint32_t, 4> k45 = {2, 0, 0, 45};
constexpr std::array<std::uint32_t, 4> k46 = {2, 0, 0, 46};

const Candidate kOld{L"C:\\r\\45\\zuimpl.dll", k45, true};
const Candidate kNew{L"C:\\r\\46\\zuimpl.dll", k46, true};
const Candidate kBroken{L"C:\\r\\46\\zuimpl.dll", k46, false};
const Candidate kTorn{L"C:\\r\\t\\zuimpl.dll", std::nullopt, false};

const WideText kOldLoaded = L"Load plugin success, path: C:\\r\\45\\zuimpl.dll, version: 2.0.0.45";
const WideText kNewLoaded = L"Load plugin success, path: C:\\r\\46\\zuimpl.dll, version: 2.0.0.46";

TEST(InvariantOfTheChoice, TheHighestThatLoads) {
  EXPECT_THAT(checkChoice({{kNew, kOld}, {kNewLoaded}, {}}), IsEmpty());
  EXPECT_THAT(checkChoice({{kNew, kOld}, {kOldLoaded}, {}}),
              ElementsAre("Higher, and loads, but was not chosen: C:\\r\\46\\zuimpl.dll"));
}

TEST(InvariantOfTheChoice, EveryFailureOfAHigherOneIsLogged) {
  EXPECT_THAT(checkChoice({{kBroken, kOld}, {kOldLoaded}, {}}),
              ElementsAre("The log does not say why not: C:\\r\\46\\zuimpl.dll"));
  for (const WideText reason :
       {L"Load plugin failed, path: C:\\r\\46\\zuimpl.dll, version: 2.0.0.46, error: 126",
        L"Plugin export createImpl not found, path: C:\\r\\46\\zuimpl.dll, version: 2.0.0.46, error: 127",
        L"Plugin create returned null, path: C:\\r\\46\\zuimpl.dll, version: 2.0.0.46"}) {
    EXPECT_THAT(checkChoice({{kBroken, kOld}, {reason, kOldLoaded}, {}}), IsEmpty());
  }
}

TEST(InvariantOfTheChoice, EveryFileWithoutAVersionIsLogged) {
  EXPECT_THAT(checkChoice({{kOld, kTorn}, {kOldLoaded}, {}}),
              ElementsAre("The log does not say why not: C:\\r\\t\\zuimpl.dll"));
  const WideText reason = L"Get dll version fail! path: C:\\r\\t\\zuimpl.dll, error: 193";
  EXPECT_THAT(checkChoice({{kOld, kTorn}, {reason, kOldLoaded}, {}}), IsEmpty());
}

TEST(InvariantOfTheChoice, SomethingLoads) {
  EXPECT_THAT(checkChoice({{}, {}, {}}), ElementsAre("No version was loaded"));
  EXPECT_THAT(checkChoice({{kBroken}, {kNewLoaded}, {}}),
              ElementsAre("What was loaded does not load: C:\\r\\46\\zuimpl.dll"));
}

// ---- what is open, what was published -----------------------------------------------------------

TEST(InvariantOfTheHandles, NothingStaysButWhatTheRunTimeLibraryKeeps) {
  const std::vector<WideText> one = {L"Load plugin success, path: x, version: 2.0.0.45"};
  const std::vector<WideText> two = {L"Plugin create returned null, path: y, version: 2.0.0.50", one.front()};
  EXPECT_THAT(checkGrowth({{}, one, {{"Thread", 1}, {"Event", 1}}}), IsEmpty());
  EXPECT_THAT(checkGrowth({{}, one, {{"Thread", 2}}}), ElementsAre("A load leaves open: 2 Thread"));
  EXPECT_THAT(checkGrowth({{}, two, {{"Thread", 2}, {"Event", 2}}}), IsEmpty());
  EXPECT_THAT(checkGrowth({{}, two, {{"Event", 3}}}), ElementsAre("A load leaves open: 3 Event"));
  EXPECT_THAT(checkGrowth({{}, two, {{"File", 1}}}), ElementsAre("A load leaves open: 1 File"));
}

class InvariantOfTheContent : public testing::Test {
 protected:
  const InstallTree tree;
  const std::wstring file = tree.addFile(L"1\\a", "published");
  const std::wstring directory = parentOf(file);
  const TreeListing published = listTree(directory);
};

TEST_F(InvariantOfTheContent, IsWhatWasPublished) {
  EXPECT_THAT(checkContent(directory, published, false), IsEmpty());
  writeFile(file, "Published");
  EXPECT_THAT(checkContent(directory, published, true), ElementsAre("Different: " + toUtf8(file)));
}

TEST_F(InvariantOfTheContent, LacksOnlyWhatIsBeingRemoved) {
  removeTree(file);
  EXPECT_THAT(checkContent(directory, published, true), IsEmpty());
  EXPECT_THAT(checkContent(directory, published, false), ElementsAre("Missing: " + toUtf8(file)));
}

TEST_F(InvariantOfTheContent, HoldsNothingElse) {
  tree.addFile(L"1\\b", "");
  EXPECT_THAT(checkContent(directory, published, true), ElementsAre("Not published: " + toUtf8(directory) + "\\b"));
}

// ---- an install tree ----------------------------------------------------------------------------

class InvariantsTest : public testing::Test {
 protected:
  InvariantsTest() {
    tree.installPlugin();
    tree.addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45"));
    tree.addVersion(L"2.0.0.46", moduleFile(L"2.0.0.46"));
    invariants.emplace(tree);
  }

  const InstallTree tree;
  std::optional<Invariants> invariants;
};

TEST_F(InvariantsTest, HoldWhereNothingHappened) {
  EXPECT_THAT(invariants->violations(), IsEmpty());
}

TEST_F(InvariantsTest, NoticeALostVersionUnlessARemovalBegan) {
  const std::wstring lost = tree.root() + L"\\2.0.0.45";
  removeTree(lost);
  EXPECT_THAT(invariants->violations(), ElementsAre("Lost: " + toUtf8(lost), "Lost: " + toUtf8(lost)));
  invariants->hostSaid({L"Try delete unused plugin: " + lost});
  EXPECT_THAT(invariants->violations(), IsEmpty());
  invariants->hostSaid({L"MoveFileExW  published: true, dest: " + lost});
  EXPECT_THAT(invariants->violations(), ElementsAre("Lost: " + toUtf8(lost), "Lost: " + toUtf8(lost)));
}

TEST_F(InvariantsTest, NoticeAChangedVersion) {
  writeFile(tree.root() + L"\\2.0.0.45\\more", "");
  EXPECT_THAT(invariants->violations(), testing::Each(HasSubstr("Not published: ")));
  EXPECT_FALSE(invariants->violations().empty());
}

TEST_F(InvariantsTest, KnowAVersionThatComes) {
  invariants->expectVersion(L"2.0.0.47", {{L"zuimpl.dll", "1 bytes"}});
  tree.addVersion(L"2.0.0.47", moduleFile(L"2.0.0.47"));
  EXPECT_THAT(invariants->violations(), testing::Contains(HasSubstr("Different: ")));
}

TEST_F(InvariantsTest, NoticeALockThatIsKept) {
  SecondProcess other;
  for (const wchar_t* lock :
       {L"Local\\ZuviaPluginCurlGlobal", L"Local\\ZuviaPluginCleanup", L"Local\\ZuviaPluginUpdate-2.0.0.46"}) {
    other.lockMutex(lock);
    EXPECT_THAT(invariants->violations(), ElementsAre(toUtf8(lock) + " is taken"));
    other.releaseMutex(lock);
  }
}

TEST_F(InvariantsTest, NoticeWhatChangesAround) {
  writeFile(tree.base() + L"\\beside\\file.txt", "changed");
  EXPECT_THAT(invariants->violations(), ElementsAre(HasSubstr("beside")));
}

TEST_F(InvariantsTest, NoticeWhatComesIntoTheRoot) {
  tree.addFile(L"stray.txt", "");
  EXPECT_THAT(invariants->violations(), ElementsAre(HasSubstr("stray.txt")));
}

}  // namespace
}  // namespace zuvia::test
