// The finished files, as they would be shipped.
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "binary/BinaryRules.h"
#include "binary/Locations.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Product {
  const char* name;
  const char* file;                    // relative to the build's own directory of programs
  std::set<std::string> imports = {};  // beside the system's libraries
};

std::ostream& operator<<(std::ostream& out, const Product& product) {
  return out << product.file;
}

class ProductTest : public testing::TestWithParam<Product> {
 protected:
  const PeFile file_{binaryDirectory() / GetParam().file};
};

TEST_P(ProductTest, IsHardened) {
  EXPECT_THAT(hardeningFaults(file_), IsEmpty());
}

TEST_P(ProductTest, LoadsOnlyWhatEveryWindowsAndTheHostHave) {
  EXPECT_THAT(importFaults(file_, GetParam().imports), IsEmpty());
}

TEST_P(ProductTest, KeepsNoPathOfTheMachineThatBuiltIt) {
  ASSERT_GE(machinePaths().size(), 2U);
  EXPECT_THAT(pathFaults(file_, machinePaths()), IsEmpty());
}

const std::set<std::string> kHostLibraries = {"hxbase.dll", "hxutility.dll"};

INSTANTIATE_TEST_SUITE_P(All, ProductTest,
                         testing::Values(Product{"zuviaplugin", "zuviaplugin.dll", kHostLibraries},
                                         Product{"hxbase", "hxbase.dll"}, Product{"hxutility", "hxutility.dll"},
                                         Product{"zuhost", "zuhost.exe", kHostLibraries},
                                         Product{"zupack", "zupack.exe", kHostLibraries},
                                         Product{"zuserve", "zuserve.exe"},
                                         Product{"implementation", "../sample/2.0.0.45/zuimpl.dll"}),
                         [](const auto& tested) { return tested.param.name; });

TEST(Plugin, ExportsCreateAndNothingElse) {
  EXPECT_THAT(exportFaults(PeFile(binaryDirectory() / "zuviaplugin.dll"), {"create"}), IsEmpty());
}

// What the host's process gets with it. A library that is new here is looked for as the host's program looks for its
// own, and so deserves a thought: docs/security.md.
TEST(Plugin, ImportsTheseLibrariesAndNoOther) {
  EXPECT_THAT(
      PeFile(binaryDirectory() / "zuviaplugin.dll").imports(),
      ElementsAre("advapi32.dll", "bcrypt.dll", "crypt32.dll", "hxbase.dll", "hxutility.dll", "kernel32.dll",
                  "msvcrt.dll", "ole32.dll", "shell32.dll", "shlwapi.dll", "user32.dll", "version.dll", "ws2_32.dll"));
}

TEST(Plugin, SaysItsVersion) {
  EXPECT_THAT(versionFaults(binaryDirectory() / "zuviaplugin.dll", "2.0.0.45"), IsEmpty());
}

TEST(Implementation, ExportsCreateImplAndNothingElse) {
  EXPECT_THAT(exportFaults(PeFile(binaryDirectory() / "../sample/2.0.0.45/zuimpl.dll"), {"createImpl"}), IsEmpty());
}

}  // namespace
}  // namespace zuvia::test
