// Hosts that start together and are offered an update at the same time.

#include <iostream>
#include <string>
#include <vector>

#include "integration/crowds/CrowdTest.h"
#include "support/CallCutter.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

using Endings = std::map<Ending, std::size_t>;

// They transfer one after another, and give up after a minute: on a busy machine many may.
std::size_t givenUp(Endings endings) {
  return endings[Ending::RequestTimedOut] + endings[Ending::DownloadTimedOut] + endings[Ending::LockTimedOut];
}

// What is usual when nothing but the others is in the way of a host.
std::size_t updated(const Endings& endings) {
  std::size_t number = 0;
  for (const auto& [ending, hosts] : endings) {
    const bool usual = ending == Ending::Published || ending == Ending::FoundPublished || ending == Ending::Installed;
    if (usual) number += hosts;
  }
  return number;
}

void print(const Endings& endings) {
  for (const auto& [ending, hosts] : endings) std::cout << hosts << ' ' << nameOf(ending) << '\n';
}

// ---- one version --------------------------------------------------------------------------------

class CrowdsOf : public CrowdTest, public testing::WithParamInterface<std::size_t> {
 protected:
  // Each update ended as usual, this many of them with a publication.
  void expectPublished(const Endings& endings, std::size_t published) const {
    print(endings);
    EXPECT_EQ(Endings(endings)[Ending::Published], published);
    EXPECT_EQ(updated(endings) + givenUp(endings), hosts);
    EXPECT_TRUE(givenUp(endings) == 0 || hosts > 8);
  }

  const std::size_t hosts = GetParam();
};

TEST_P(CrowdsOf, PublishOneVersionOnce) {
  add(hosts);
  EXPECT_THAT(crowd.load(), ElementsAre(L"2.0.0.45"));
  crowd.informAll();
  ASSERT_EQ(crowd.settle(), "");
  expectPublished(crowd.endings(), 1);
  EXPECT_EQ(crowd.count(L"Try delete unused plugin: " + directory(L"2.0.0.44")), 1u);
  EXPECT_EQ(crowd.count(L"Skip in-use or inaccessible version: " + module(L"2.0.0.44")), hosts - 1);
  expectAfterwards({L"2.0.0.45", L"2.0.0.47"});
}

// Half of them are offered another one.
TEST_P(CrowdsOf, PublishTwoVersionsSideBySideAndAllTakeTheHigherOne) {
  Service other("2.0.1.0");
  add(hosts / 2);
  add(hosts / 2, other);
  EXPECT_THAT(crowd.load(), ElementsAre(L"2.0.0.45"));
  crowd.informAll();
  ASSERT_EQ(crowd.settle(), "");
  expectPublished(crowd.endings(), 2);
  expectAfterwards({L"2.0.0.45", L"2.0.0.47", L"2.0.1.0"});

  EXPECT_THAT(crowd.load(), ElementsAre(L"2.0.1.0"));
  crowd.informAll();
  ASSERT_EQ(crowd.settle(), "");
  Endings endings = crowd.endings();
  EXPECT_EQ(endings[Ending::NotNewer] + givenUp(endings), hosts);
  EXPECT_TRUE(givenUp(endings) == 0 || hosts > 8);
  EXPECT_EQ(crowd.count(L"Try delete unused plugin: " + directory(L"2.0.0.45")), 1u);
  EXPECT_EQ(crowd.count(L"Try delete unused plugin: " + directory(L"2.0.0.47")), 1u);
  expectAfterwards({L"2.0.1.0"});
}

INSTANTIATE_TEST_SUITE_P(Hosts, CrowdsOf, testing::Values(2, 8, 24), testing::PrintToStringParamName());

// ---- deaths -------------------------------------------------------------------------------------

class CrowdsTest : public CrowdTest {};

// Where a host dies, and what it leaves.
struct Death {
  const char* function;
  std::size_t call;
  std::size_t temporary;
  std::size_t packages;
};

TEST_F(CrowdsTest, UpdateThoughSomeOfThemDie) {
  const std::vector<Death> deaths = {
      {"connect", 1, 0, 0},          // as it asks the service
      {"connect", 2, 0, 1},          // as it downloads
      {"UnZip7zToMemory", 1, 0, 1},  // as it unpacks
      {"MoveFileExW", 1, 1, 1},      // as it publishes
  };
  add(8);
  for (std::size_t i = 0; i < deaths.size(); ++i) crowd[i].cutAt(deaths[i].function, deaths[i].call);
  EXPECT_THAT(crowd.load(), ElementsAre(L"2.0.0.45"));
  crowd.informAll();
  ASSERT_EQ(crowd.settle(), "");
  const Endings endings = crowd.endings();
  print(endings);
  std::size_t dead = 0;
  std::size_t temporary = 0;
  std::size_t packages = 0;
  for (std::size_t i = 0; i < deaths.size(); ++i) {
    const std::optional<unsigned long> status = crowd[i].waitForEnd(0);
    if (!status) continue;  // the others left it nothing to do there
    EXPECT_EQ(status, CallCutter::kCutStatus);
    ++dead;
    temporary += deaths[i].temporary;
    packages += deaths[i].packages;
  }
  EXPECT_TRUE(crowd[0].waitForEnd(0)) << "each asks the service";
  EXPECT_EQ(updated(endings), crowd.size() - dead);
  expectAfterwards({L"2.0.0.45", L"2.0.0.47"}, temporary, packages);
}

// ---- the watchdog -------------------------------------------------------------------------------

TEST_F(CrowdsTest, AreToldWhoHoldsWhatWhenTheyAreStuck) {
  add(2);
  crowd.load();
  crowd[0].stopAt(L"Unzip file success path: ");
  crowd.inform(0);
  ASSERT_TRUE(crowd[0].waitForMessage(L"Unzip file success path: "));
  crowd.informAll();
  ASSERT_TRUE(crowd[1].waitForMessage(L"Download success ver:  2.0.0.47"));
  ASSERT_TRUE(crowd[1].waitForMessage(L"onFetch success key: zu_plugin_update"));
  const std::string report = crowd.settle(500);
  EXPECT_EQ(report, "host 0, offered 2.0.0.47, open: " + toUtf8(crowd[0].messages().back()) +
                        "\n  holds Local\\ZuviaPluginUpdate-2.0.0.47"
                        "\nhost 1, offered 2.0.0.47, open: " +
                        toUtf8(crowd[1].messages().back()) +
                        "\n  wants Local\\ZuviaPluginUpdate-2.0.0.47"
                        "\nLocal\\ZuviaPluginCleanup is missing"
                        "\nLocal\\ZuviaPluginCurlGlobal is missing"
                        "\nLocal\\ZuviaPluginUpdate-2.0.0.47 is taken\n");
  crowd[0].resume();
  ASSERT_EQ(crowd.settle(), "");
  EXPECT_EQ(crowd.ending(0), Ending::Published);
  EXPECT_EQ(crowd.ending(1), Ending::FoundPublished);
  expectAfterwards({L"2.0.0.45", L"2.0.0.47"});
}

TEST_F(CrowdsTest, EndOnlyAsStated) {
  const Offer& offer = service.offer;
  const WideText had = L"No needed to upgrade for for version: 2.0.0.47";
  EXPECT_EQ(endingOf({had}, {}, offer, tree), Ending::Installed);
  EXPECT_EQ(endingOf({}, {}, offer, tree), Ending::Open);
  EXPECT_EQ(endingOf({had, L"Download fail!"}, {}, offer, tree), Ending::Open);
  EXPECT_EQ(endingOf({had}, {"pluginUpgradeEvent=2.0.0.47"}, offer, tree), Ending::Open);
  EXPECT_EQ(endingOf({L"No needed to upgrade for for version: 2.0.0.48"}, {}, offer, tree), Ending::Open);
}

}  // namespace
}  // namespace zuvia::test
