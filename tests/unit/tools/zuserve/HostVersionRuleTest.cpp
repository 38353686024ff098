#include "zuserve/HostVersionRule.h"

#include <gtest/gtest.h>

#include "shared/CommandLine.h"

namespace zuvia::zuserve {
namespace {

bool fits(const std::string& rule, const std::string& version) {
  return HostVersionRule::parse(rule).fits(version);
}

TEST(HostVersionRule, ComparesNumberByNumber) {
  EXPECT_TRUE(fits(">=7.1", "7.1"));
  EXPECT_TRUE(fits(">=7.1", "7.1.0.1"));
  EXPECT_TRUE(fits(">=7.9", "7.10"));
  EXPECT_FALSE(fits(">=7.10", "7.9.9.9"));
  EXPECT_FALSE(fits(">7.1", "7.1.0"));
  EXPECT_TRUE(fits(">7.1", "7.1.0.1"));
  EXPECT_TRUE(fits("<=7.1", "7.1.0.0"));
  EXPECT_FALSE(fits("<=7.1", "7.1.0.1"));
  EXPECT_TRUE(fits("<8", "7.99"));
  EXPECT_FALSE(fits("<8", "8"));
  EXPECT_TRUE(fits("=7.1", "7.1.0"));
  EXPECT_FALSE(fits("=7.1", "7.1.1"));
}

TEST(HostVersionRule, WantsAllOfItsComparisons) {
  EXPECT_TRUE(fits(">=7.1, <8", "7.5"));
  EXPECT_FALSE(fits(">=7.1, <8", "8.0"));
  EXPECT_FALSE(fits(">=7.1, <8", "7.0"));
}

TEST(HostVersionRule, FitsNothingThatIsNoVersion) {
  for (const char* version :
       {"", "x", "7.", ".7", "7..1", "7.1-beta", " 7.1", "7.1 ", "1.2.3.4.5", "-7", "4294967296"}) {
    EXPECT_FALSE(fits(">=0", version)) << version;
    EXPECT_TRUE(fits("", version)) << version;
  }
}

TEST(HostVersionRule, IsWrittenInOneForm) {
  EXPECT_EQ(HostVersionRule::parse("  >= 7.1 ,<8").text(), ">=7.1, <8");
  EXPECT_EQ(HostVersionRule::parse(" ").text(), "");
  EXPECT_EQ(HostVersionRule().text(), "");
}

TEST(HostVersionRule, IsRefusedWithOneLine) {
  const std::vector<std::pair<std::string, std::string>> cases = {{"7.1", "7.1"},
                                                                  {"==7.1", "==7.1"},
                                                                  {"=>7.1", "=>7.1"},
                                                                  {">=", ">="},
                                                                  {">=7.1,", ""},
                                                                  {",", ""},
                                                                  {">=7.1 <8", ">=7.1 <8"},
                                                                  {">=x", ">=x"},
                                                                  {">=1.2.3.4.5", ">=1.2.3.4.5"},
                                                                  {"~7", "~7"}};
  for (const auto& [text, part] : cases) {
    try {
      HostVersionRule::parse(text);
      ADD_FAILURE() << text;
    } catch (const tools::Failure& failure) {
      EXPECT_EQ(failure.what(),
                "not a rule for host versions: \"" + part + "\"; >=, >, <=, < or = and a version, as in >=7.1, <8");
    }
  }
}

}  // namespace
}  // namespace zuvia::zuserve
