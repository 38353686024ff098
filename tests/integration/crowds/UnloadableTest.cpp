// A newest version that no host can load.

#include <algorithm>
#include <cstddef>
#include <string>

#include "integration/crowds/CrowdTest.h"
#include "support/Digest.h"
#include "support/Files.h"
#include "support/PackageBuilder.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::Not;

// 2.0.0.50, which makes no object.
Offer unloadable() {
  const std::string content = readFile(moduleFile(L"null-object"));
  const std::string package = PackageBuilder().add(L"zuimpl.dll", content).build();
  return {"2.0.0.50", package, md5(package), md5(content), "https://config.zuvia.example/zuimpl-2.0.0.50.7z"};
}

class UnloadableTest : public CrowdTest {
 protected:
  UnloadableTest() {
    const InstallTree reference;
    invariants->expectVersion(L"2.0.0.50", listTree(reference.addVersion(L"2.0.0.50", moduleFile(L"null-object"))));
  }

  // A new process loads, and is told of the version.
  HostProcess& start() {
    crowd.add(1, offering.offer, offering.server.port());
    HostProcess& host = crowd[crowd.size() - 1];
    EXPECT_EQ(host.load(), "2.0.0.45");
    crowd.inform(crowd.size() - 1);
    EXPECT_TRUE(host.waitForEvent("pluginUpgradeEvent=2.0.0.50")) << testing::PrintToString(host.messages());
    return host;
  }

  std::ptrdiff_t downloads() { return std::ranges::count(offering.server.requests(), "GET", &Request::method); }

  Service offering{unloadable()};
  const WideText refusal = L"Plugin create returned null, path: " + module(L"2.0.0.50") + L", version: 2.0.0.50";
};

// Only loading tells that a module does not work; what runs is older than what is offered.
TEST_F(UnloadableTest, IsFetchedPublishedAndAnnouncedAgainAtEveryStart) {
  EXPECT_THAT(start().messages(), Not(Contains(refusal)));
  expectAfterwards({L"2.0.0.45", L"2.0.0.50"});
  for (int again = 1; again <= 2; ++again) {
    EXPECT_THAT(start().messages(), Contains(refusal));
    EXPECT_EQ(downloads(), 1 + again);
    expectAfterwards({L"2.0.0.45", L"2.0.0.50"});
  }
}

}  // namespace
}  // namespace zuvia::test
