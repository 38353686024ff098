#include "support/ModuleVersion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

#include "support/Candidates.h"
#include "support/InstallTree.h"

namespace zuvia::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using Version = std::array<std::uint32_t, 4>;

class ModuleVersionTest : public testing::Test {
 protected:
  void install(const std::string& version) { tree.addFile(L"one\\zuimpl.dll", withFileVersion(module, version)); }

  const InstallTree tree;
  const std::string module = readFile(moduleFile(L"2.0.0.45"));
};

TEST_F(ModuleVersionTest, IsWhatTheSystemReads) {
  install("1.2.3.65535");
  EXPECT_THAT(findCandidates(tree.root()),
              ElementsAre(AllOf(Field(&Candidate::version, Version{1, 2, 3, 65535}), Field(&Candidate::loads, true))));
}

TEST_F(ModuleVersionTest, ChangesNothingElse) {
  EXPECT_EQ(withFileVersion(module, "2.0.0.45"), module);
  const std::string other = withFileVersion(module, "3.1.4.1");
  EXPECT_NE(other, module);
  EXPECT_EQ(withFileVersion(other, "2.0.0.45"), module);
}

TEST_F(ModuleVersionTest, GivesASmallModuleAnyVersion) {
  tree.addFile(L"one\\zuimpl.dll", withFileVersion(readFile(moduleFile(L"tiny")), "2.0.0.48"));
  EXPECT_THAT(findCandidates(tree.root()),
              ElementsAre(AllOf(Field(&Candidate::version, Version{2, 0, 0, 48}), Field(&Candidate::loads, true))));
}

TEST_F(ModuleVersionTest, RefusesWhatIsNoVersion) {
  for (const char* text : {"", "2.0.0", "2.0.0.x", "2.0.0.65536", "2.0.0.45.1"}) {
    EXPECT_THROW(withFileVersion(module, text), std::invalid_argument) << text;
  }
}

TEST_F(ModuleVersionTest, RefusesAModuleThatHasNoneOrTwo) {
  EXPECT_THROW(withFileVersion(readFile(moduleFile(L"no-version")), "2.0.0.47"), std::invalid_argument);
  EXPECT_THROW(withFileVersion(module + module, "2.0.0.47"), std::invalid_argument);
  EXPECT_THROW(withFileVersion("", "2.0.0.47"), std::invalid_argument);
}

}  // namespace
}  // namespace zuvia::test
