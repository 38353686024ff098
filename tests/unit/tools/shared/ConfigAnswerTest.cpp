#include "shared/ConfigAnswer.h"

#include <gtest/gtest.h>

namespace zuvia::tools {
namespace {

TEST(ConfigurationAnswer, HoldsTheEntryAsAText) {
  EXPECT_EQ(
      configurationAnswer(UpdateEntry{"2.0.0.47", "p", "d", "https://x/y"}),
      R"({"configs":{"zu_plugin_update":"{\"dmd5\":\"d\",\"pmd5\":\"p\",\"url\":\"https://x/y\",\"ver\":\"2.0.0.47\"}"}})");
}

TEST(ConfigurationAnswer, OffersNothing) {
  EXPECT_EQ(configurationAnswer(std::nullopt), R"({"configs":{}})");
}

}  // namespace
}  // namespace zuvia::tools
