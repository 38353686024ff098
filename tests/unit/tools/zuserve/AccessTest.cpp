#include "zuserve/Access.h"

#include <gtest/gtest.h>

namespace zuvia::zuserve {
namespace {

const RequestSource kOwn{"127.0.0.1", "localhost:18443", "https://localhost:18443", "same-origin"};
const RequestSource kProgram{"127.0.0.1", "127.0.0.1:18443", "", ""};

RequestSource with(std::string RequestSource::*member, const std::string& value) {
  RequestSource source = kOwn;
  source.*member = value;
  return source;
}

TEST(Access, IsGivenToThePageItselfAndToPrograms) {
  for (const RequestSource& source : {kOwn, kProgram}) {
    EXPECT_EQ(whyNotShow(source), "");
    EXPECT_EQ(whyNotRead(source), "");
    EXPECT_EQ(whyNotChange(source), "");
  }
  EXPECT_EQ(whyNotRead(with(&RequestSource::fetchSite, "none")), "");
}

TEST(Access, IsNotGivenToOtherPages) {
  for (const RequestSource& source :
       {with(&RequestSource::origin, "https://localhost:8080"), with(&RequestSource::origin, "http://localhost:18443"),
        with(&RequestSource::origin, "https://evil.example"), with(&RequestSource::origin, "null"),
        with(&RequestSource::fetchSite, "cross-site"), with(&RequestSource::fetchSite, "same-site")}) {
    EXPECT_EQ(whyNotRead(source), "not for other pages");
    EXPECT_EQ(whyNotChange(source), "not for other pages");
  }
}

TEST(Access, IsNotGivenByNamesThatOthersMayLeadHere) {
  for (const char* host :
       {"evil.example:18443", "localhost.evil.example", "127.0.0.1.evil.example", "", "1.2.3", "[::1]"}) {
    const RequestSource source{"127.0.0.1", host, "", ""};
    EXPECT_EQ(whyNotShow(source), "ask for it by address or as localhost") << host;
    EXPECT_EQ(whyNotRead(source), "ask for it by address or as localhost") << host;
    EXPECT_EQ(whyNotChange(source), "ask for it as localhost") << host;
  }
}

TEST(Access, IsForReadingOnlyFromOtherMachines) {
  const RequestSource other{"192.168.1.7", "192.168.1.5:18443", "https://192.168.1.5:18443", "same-origin"};
  EXPECT_EQ(whyNotRead(other), "");
  EXPECT_EQ(whyNotChange(other), "settings change from the machine that serves only");
  EXPECT_EQ(whyNotChange(with(&RequestSource::peer, "192.168.1.7")),
            "settings change from the machine that serves only");
  EXPECT_EQ(whyNotChange(with(&RequestSource::peer, "")), "settings change from the machine that serves only");
  EXPECT_EQ(whyNotChange({"127.0.0.1", "192.168.1.5", "", ""}), "ask for it as localhost");
}

TEST(Access, KnowsTheTypeOfJson) {
  for (const char* type : {"application/json", "application/json;charset=UTF-8", "application/json ; charset=utf-8"})
    EXPECT_TRUE(isJsonType(type)) << type;
  for (const char* type : {"", "text/plain", "application/x-www-form-urlencoded", "text/plain; application/json",
                           "application/jsonp", "multipart/form-data"})
    EXPECT_FALSE(isJsonType(type)) << type;
}

}  // namespace
}  // namespace zuvia::zuserve
