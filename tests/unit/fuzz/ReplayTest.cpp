#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Targets.h"

namespace zuvia::fuzz {
namespace {

namespace fs = std::filesystem;

using Target = void (*)(std::string_view);

const std::map<std::string, Target> kTargets = {
    {"ArchiveReader", archiveReader}, {"CacheDocument", cacheDocument}, {"ConfigAnswer", configAnswer},
    {"EntryNames", entryNames},       {"HostInfoText", hostInfoText},   {"UpdateEntryText", updateEntryText},
    {"VersionName", versionName},     {"VersionText", versionText},
};

// Where inputs are kept: those that a target starts from, and those that broke it once.
const std::vector<fs::path> kRooms = {fs::path(FUZZ_DIRECTORY) / "seeds", fs::path(FUZZ_DIRECTORY) / "findings"};

std::vector<fs::path> listed(const fs::path& directory) {
  if (!fs::exists(directory)) return {};
  return {fs::directory_iterator(directory), fs::directory_iterator()};
}

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

class Replay : public testing::TestWithParam<std::string> {};

TEST_P(Replay, BreaksOnNothingThatWasKept) {
  const Target target = kTargets.at(GetParam());
  for (const fs::path& room : kRooms) {
    for (const fs::path& file : listed(room / GetParam())) {
      SCOPED_TRACE(file.generic_string());
      const std::string input = contentOf(file);
      EXPECT_NO_THROW(target(input));
    }
  }
}

TEST_P(Replay, HasSeeds) {
  EXPECT_GE(listed(kRooms[0] / GetParam()).size(), 3U);
}

std::vector<std::string> names() {
  std::vector<std::string> names;
  for (const auto& [name, target] : kTargets) names.push_back(name);
  return names;
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Replay, testing::ValuesIn(names()), [](const auto& name) { return name.param; });

TEST(ReplayRooms, HoldNothingWithoutATarget) {
  for (const fs::path& room : kRooms) {
    for (const fs::path& directory : listed(room)) {
      EXPECT_TRUE(kTargets.contains(directory.filename().string())) << directory;
      EXPECT_TRUE(fs::is_directory(directory)) << directory;
    }
  }
}

// A target that finds nothing wrong with anything would replay whatever was kept.
TEST(Require, ThrowsWhatDoesNotHold) {
  EXPECT_NO_THROW(require(true, "all is well"));
  try {
    require(false, "the sum is right");
    FAIL() << "nothing was thrown";
  } catch (const Broken& broken) {
    EXPECT_STREQ(broken.what(), "the sum is right");
  }
}

}  // namespace
}  // namespace zuvia::fuzz
