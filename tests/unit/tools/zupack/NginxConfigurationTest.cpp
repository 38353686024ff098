#include "zupack/NginxConfiguration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared/CommandLine.h"

namespace zuvia::zupack {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string configurationFor(const std::string& share) {
  const SiteSettings settings{SitePackage{"x.7z", "2.0.0.47", "p", "d"},
                              std::nullopt,
                              tools::Share::parse(share),
                              "updates.example.com",
                              "127.0.0.1:8443",
                              "/srv/a b",
                              "/c.pem",
                              "/k.pem",
                              ""};
  return nginxConfiguration(settings, {"new.json", "nothing.json"});
}

TEST(NginxConfiguration, DividesTheUsersOfAVersion) {
  EXPECT_THAT(configurationFor("2.5"),
              HasSubstr("split_clients \"${http_uid} 2.0.0.47\" $zuvia_updates_example_com_127_0_0_1_8443 {\n"
                        "    2.5% new.json;\n"
                        "    * nothing.json;\n"
                        "}\n"));
}

TEST(NginxConfiguration, DividesNothingBetweenNobodyAndEverybody) {
  EXPECT_THAT(configurationFor("0"), HasSubstr(" {\n    * nothing.json;\n}\n"));
  EXPECT_THAT(configurationFor("100"), HasSubstr(" {\n    * new.json;\n}\n"));
}

TEST(NginxConfiguration, NamesTheServersPlaces) {
  const std::string text = configurationFor("10");
  for (const char* line :
       {"    listen 127.0.0.1:8443 ssl;\n", "    server_name updates.example.com;\n",
        "    ssl_certificate \"/c.pem\";\n", "    ssl_certificate_key \"/k.pem\";\n", "    root \"/srv/a b\";\n"}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
}

TEST(NginxConfiguration, RemembersItsSettings) {
  EXPECT_EQ(settingsIn(configurationFor("12.34")).share.text(), "12.34");
  EXPECT_THROW(settingsIn("server { }"), tools::Failure);
}

}  // namespace
}  // namespace zuvia::zupack
