// Whom a share reaches, counted at the real nginx.

#include <algorithm>

#include "integration/site/PublishedSite.h"

namespace zuvia::test {
namespace {

constexpr unsigned kUsers = 10'000;
constexpr unsigned kAtOnce = 100;  // requests that are on their way together

class RolloutTest : public PublishedSite {
 protected:
  // Publishes a share of 2.0.0.47. Returns who of the users 1 to 10,000 is offered it.
  std::vector<bool> reached(const std::wstring& share) {
    site({L"--share", share});
    serve();
    return ask();
  }

  std::vector<bool> ask() {
    TlsClient connection = client();
    std::vector<bool> users;
    while (users.size() < kUsers) {
      const auto first = static_cast<unsigned>(users.size()) + 1;
      std::string requests;
      for (unsigned user = first; user < first + kAtOnce; ++user) requests += configurationRequest(user);
      connection.send(requests);
      for (unsigned count = 0; count < kAtOnce; ++count) users.push_back(isOffered(connection.receive()));
    }
    return users;
  }

 private:
  // A body that was seen before is what it was then.
  bool isOffered(const HttpAnswer& answer) {
    EXPECT_EQ(answer.status, 200);
    const auto [found, isNew] = versions_.try_emplace(answer.body);
    if (isNew) found->second = versionIn(answer);
    EXPECT_TRUE(found->second.empty() || found->second == "2.0.0.47") << answer.body;
    return !found->second.empty();
  }

  std::map<std::string, std::string> versions_;
};

auto countOf(const std::vector<bool>& users) {
  return std::ranges::count(users, true);
}

TEST_F(RolloutTest, ReachesItsShareOfTheUsersAndOnlyAddsToThem) {
  site({L"--package", pack(L"2.0.0.47"), L"--share", L"10"});
  serve();
  const std::vector<bool> tenth = ask();
  EXPECT_GE(countOf(tenth), 900);
  EXPECT_LE(countOf(tenth), 1100);
  EXPECT_EQ(ask(), tenth) << "the choice is stable";

  const std::vector<bool> quarter = reached(L"25.5");
  EXPECT_GE(countOf(quarter), 2450);
  EXPECT_LE(countOf(quarter), 2650);
  for (unsigned user = 0; user < kUsers; ++user) EXPECT_TRUE(!tenth[user] || quarter[user]) << user + 1;

  EXPECT_EQ(countOf(reached(L"100")), kUsers);
  EXPECT_EQ(countOf(reached(L"0")), 0);
  EXPECT_EQ(reached(L"10"), tenth) << "also after a detour";
}

}  // namespace
}  // namespace zuvia::test
