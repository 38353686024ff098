#include "zupack/Loading.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../TemporaryTree.h"
#include "Damage.h"
#include "SampleModule.h"
#include "shared/CommandLine.h"
#include "shared/Utf8.h"
#include "support/InstallTree.h"
#include "zupack/SystemLibraries.h"
#include "zupack/UnpackedPackage.h"

namespace zuvia::zupack {
namespace {

using test::TemporaryTree;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// A module in a directory, with what lies beside it.
class LoadingTest : public testing::Test {
 protected:
  LoadingCheck check(const std::string& bytes, const std::set<std::string>& hostLibraries = {}) {
    test::writeFile(tree.path(L"zuimpl.dll"), bytes);
    return checkLoading(tree.path(L"zuimpl.dll"), {librariesIn(tree.path()), hostLibraries});
  }

  std::vector<std::string> faultsOf(const std::wstring& module, const std::set<std::string>& hostLibraries = {}) {
    return check(test::readFile(test::moduleFile(module)), hostLibraries).faults;
  }

  void addBeside(const std::string& bytes) { test::writeFile(tree.path(L"zucompanion.dll"), bytes); }

  const TemporaryTree tree;
};

TEST_F(LoadingTest, HasNothingAgainstModulesThatHostsLoad) {
  for (const wchar_t* name : {L"2.0.0.47", L"system-names", L"tiny", L"slow", L"null-object"}) {
    EXPECT_THAT(faultsOf(name), IsEmpty()) << tools::toUtf8(name);
  }
  const LoadingCheck found = check(test::readFile(test::sampleModule()));
  EXPECT_THAT(found.faults, IsEmpty());
  EXPECT_EQ(found.version, "2.0.0.47");
}

TEST_F(LoadingTest, NamesTheLibraryThatNobodyHas) {
  const std::string text =
      "zuimpl.dll needs zuabsent.dll, which neither the package nor a host nor Windows has; add it with --add, or name "
      "it with --host-library when the host brings it";
  EXPECT_THAT(faultsOf(L"missing-dependency"), ElementsAre(text));
  EXPECT_THAT(faultsOf(L"missing-dependency", {"zuabsent.dll"}), IsEmpty());
}

TEST_F(LoadingTest, FindsCompanionsBesideTheModule) {
  EXPECT_THAT(faultsOf(L"needs-companion"),
              ElementsAre(StartsWith("zuimpl.dll needs zucompanion.dll, which neither ")));
  addBeside(test::readFile(test::companionFile()));
  EXPECT_THAT(faultsOf(L"needs-companion"), IsEmpty());
}

TEST_F(LoadingTest, NamesWhatACompanionDoesNotExport) {
  addBeside(test::readFile(test::sampleModule()));
  EXPECT_THAT(faultsOf(L"needs-companion"),
              ElementsAre(testing::AllOf(
                  StartsWith("zuimpl.dll takes from zucompanion.dll what the one beside it does not export: "),
                  HasSubstr("; add the one that it was linked with"))));
}

TEST_F(LoadingTest, NamesTheCompanionThatIsNotForHosts) {
  addBeside(test::withMachine(test::readFile(test::companionFile()), IMAGE_FILE_MACHINE_I386));
  EXPECT_THAT(faultsOf(L"needs-companion"), ElementsAre("zucompanion.dll beside it is built for x86, hosts are x64"));
  addBeside("no library");
  EXPECT_THAT(faultsOf(L"needs-companion"), ElementsAre(HasSubstr("zucompanion.dll cannot be read as a module: ")));
}

TEST_F(LoadingTest, LooksAtWhatCompanionsNeed) {
  addBeside(test::readFile(test::moduleFile(L"missing-dependency")));
  EXPECT_THAT(faultsOf(L"needs-companion"),
              testing::Contains(StartsWith("zucompanion.dll needs zuabsent.dll, which neither ")));
}

TEST_F(LoadingTest, LooksAtTheModuleOnceAlsoWhenACompanionNeedsIt) {
  std::string companion = test::readFile(test::moduleFile(L"needs-companion"));
  const std::string name = "zucompanion.dll";
  std::string module = "zuimpl.dll";
  module.resize(name.size());
  const std::size_t place = companion.find(name);
  ASSERT_NE(place, std::string::npos);
  addBeside(companion.replace(place, name.size(), module));
  EXPECT_THAT(
      faultsOf(L"needs-companion"),
      ElementsAre(StartsWith("zucompanion.dll takes from zuimpl.dll what the one beside it does not export: "),
                  StartsWith("zuimpl.dll takes from zucompanion.dll what the one beside it does not export: ")));
}

TEST_F(LoadingTest, NamesTheMissingExport) {
  EXPECT_THAT(faultsOf(L"no-export"),
              ElementsAre("it does not export createImpl; declare that extern \"C\" and exported"));
}

TEST_F(LoadingTest, NamesTheMissingVersionResource) {
  EXPECT_THAT(faultsOf(L"no-version"),
              ElementsAre(testing::AllOf(
                  StartsWith("it has no version resource, so that hosts pass over it (Get dll version fail! "),
                  HasSubstr("); link a VERSIONINFO resource into it"))));
}

TEST_F(LoadingTest, NamesTheWrongArchitecture) {
  EXPECT_THAT(check(test::withMachine(test::readFile(test::sampleModule()), IMAGE_FILE_MACHINE_ARM64)).faults,
              testing::Contains("it is built for ARM64, hosts are x64; build it for x64"));
}

TEST_F(LoadingTest, NamesTheProgram) {
  EXPECT_THAT(check(test::asProgram(test::readFile(test::sampleModule()))).faults,
              ElementsAre("it is a program, not a DLL; link it as a DLL"));
}

TEST_F(LoadingTest, NamesWhatIsNoModule) {
  const LoadingCheck found = check("text, and long enough to hold a header of sixty-four bytes, if it were one");
  EXPECT_THAT(found.faults, ElementsAre("it is no Windows program or library; name a DLL for Windows x64"));
  EXPECT_FALSE(found.image);
}

TEST_F(LoadingTest, LooksForCompanionsNowhereElse) {
  test::writeFile(tree.path(L"sub\\zucompanion.dll"), test::readFile(test::companionFile()));
  EXPECT_THAT(faultsOf(L"needs-companion"), testing::SizeIs(1));
  const Neighbours neighbours = librariesIn(tree.path(L"sub"));
  EXPECT_TRUE(neighbours("ZUCOMPANION.dll"));
  EXPECT_FALSE(neighbours("..\\zuimpl.dll"));
  EXPECT_FALSE(neighbours("none.dll"));
}

TEST(SystemLibraries, AreThoseOfEveryWindows) {
  for (const char* name :
       {"kernel32.dll", "msvcrt.dll", "ucrtbase.dll", "winspool.drv", "api-ms-win-crt-runtime-l1-1-0.dll"}) {
    EXPECT_TRUE(isSystemLibrary(name)) << name;
  }
  for (const char* name : {"msvcp140.dll", "hxbase.dll", "zuabsent.dll", "ucrtbased.dll", ""}) {
    EXPECT_FALSE(isSystemLibrary(name)) << name;
  }
}

TEST(HostLibraries, AreThoseOfEveryHost) {
  for (const char* name : {"hxbase.dll", "hxutility.dll", "msvcp140.dll", "vcruntime140_1.dll"}) {
    EXPECT_TRUE(isHostLibrary(name)) << name;
  }
  for (const char* name : {"msvcp140d.dll", "libstdc++-6.dll", "kernel32.dll"})
    EXPECT_FALSE(isHostLibrary(name)) << name;
}

}  // namespace
}  // namespace zuvia::zupack
