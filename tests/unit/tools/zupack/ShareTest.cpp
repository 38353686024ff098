#include "zupack/Share.h"

#include <gtest/gtest.h>

#include "shared/CommandLine.h"

namespace zuvia::zupack {
namespace {

TEST(Share, IsReadAsFinelyAsNginxDivides) {
  for (const char* text : {"0", "10", "2.5", "0.01", "99.99", "100"}) EXPECT_EQ(Share::parse(text).text(), text);
  EXPECT_EQ(Share::parse("010.50").text(), "10.5");
  EXPECT_EQ(Share::parse("10.05").text(), "10.05");
}

TEST(Share, KnowsNobodyAndEverybody) {
  EXPECT_TRUE(Share::parse("0.00").isNobody());
  EXPECT_TRUE(Share::parse("100.0").isEverybody());
  EXPECT_FALSE(Share::parse("0.01").isNobody());
  EXPECT_FALSE(Share::parse("99.99").isEverybody());
}

TEST(Share, RefusesWhatIsNoPercentage) {
  for (const std::string text :
       {"", "-1", "+1", "100.01", "101", "1000", "1.234", ".5", "5.", "1e1", "10%", "x", " 1"}) {
    try {
      Share::parse(text);
      ADD_FAILURE() << text;
    } catch (const tools::Failure& failure) {
      EXPECT_EQ(failure.what(),
                "--share must be a percentage from 0 to 100 with at most two decimals, but is \"" + text + "\"");
    }
  }
}

}  // namespace
}  // namespace zuvia::zupack
