#include "zupack/SiteSettings.h"

#include <gtest/gtest.h>

#include "shared/CommandLine.h"

namespace zuvia::zupack {
namespace {

SiteSettings settings() {
  return {SitePackage{"x.7z", "2.0.0.47", "p", "d"},
          std::nullopt,
          tools::Share::parse("2.5"),
          "updates.example.com",
          "443",
          "/srv/\u00E4 b",
          "/c.pem",
          "/k.pem",
          ""};
}

TEST(SiteSettings, ComeBackFromTheirText) {
  const std::string text = settingsText(settings());
  EXPECT_EQ(text.find('\n'), std::string::npos);
  const SiteSettings found = parseSettings(text);
  EXPECT_EQ(settingsText(found), text);
  EXPECT_EQ(found.offered, settings().offered);
  EXPECT_EQ(found.others, std::nullopt);
  EXPECT_EQ(found.share.text(), "2.5");
  EXPECT_EQ(found.root, settings().root);
}

TEST(SiteSettings, AreRefusedWhenTheyAreNone) {
  for (const char* text :
       {"", "{", "[]", "{} x", R"({"share":[]})", R"({"share":"x"})", R"({"share":"1","offered":"x"})"}) {
    EXPECT_THROW(parseSettings(text), tools::Failure) << text;
  }
}

TEST(SiteSettings, KnowTheAddressOfTheSite) {
  SiteSettings site = settings();
  EXPECT_EQ(siteUrl(site), "https://updates.example.com");
  site.listen = "[::]:8443";
  EXPECT_EQ(siteUrl(site), "https://updates.example.com:8443");
  site.url = "https://cdn.example.com/zuvia";
  EXPECT_EQ(siteUrl(site), site.url);
}

TEST(ServerName, IsAHostName) {
  for (const char* name : {"updates.example.com", "a", "10.0.0.1", "x-1.y"}) EXPECT_NO_THROW(checkServerName(name));
  for (const char* name : {"", ".", "-a", "a-", "a b", "a;b", "a/b", "a:1", "\u00E4", "a_b", "*.x"}) {
    EXPECT_THROW(checkServerName(name), tools::Failure) << name;
  }
}

TEST(Listen, IsAPortOrAnAddressWithOne) {
  for (const char* listen : {"443", "1", "65535", "127.0.0.1:443", "[::]:443", "[::1]:8443"}) {
    EXPECT_NO_THROW(checkListen(listen)) << listen;
  }
  for (const char* listen :
       {"", "0", "65536", "x", ":443", "localhost:443", "::1:443", "443 ssl", "443;", "[]:443", "1.1.1.1:"}) {
    EXPECT_THROW(checkListen(listen), tools::Failure) << listen;
  }
}

TEST(ServerPath, IsAbsoluteAndPlain) {
  for (const char* path : {"/", "/srv/a b", "C:/x", "/\u6F22", "/a'b;{}"})
    EXPECT_NO_THROW(checkServerPath("--root", path));
  for (const char* path : {"", "srv", "C:x", "C:\\x", "/a\"b", "/a$b", "/a\nb", "/a\\b"}) {
    EXPECT_THROW(checkServerPath("--root", path), tools::Failure) << path;
  }
}

}  // namespace
}  // namespace zuvia::zupack
