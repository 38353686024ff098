#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../RunProgram.h"
#include "../TemporaryTree.h"
#include "SampleModule.h"
#include "support/InstallTree.h"
#include "support/Text.h"

// zupack.exe as a process.

namespace zuvia::test {
namespace {

using testing::HasSubstr;

Ended runZupack(const std::vector<std::wstring>& arguments) {
  return runTool(L"zupack.exe", arguments);
}

std::vector<std::wstring> packArguments(const TemporaryTree& tree) {
  return {L"pack", L"--module", sampleModule(), L"--url", L"https://localhost", L"--out", tree.path(L"out")};
}

TEST(Zupack, PacksAndVerifies) {
  const TemporaryTree tree;
  writeFile(tree.path(L"\u6F22.txt"), "companion");
  std::vector<std::wstring> arguments = packArguments(tree);
  arguments.insert(arguments.end(),
                   {L"--add", L"sub/\u00E4.txt=" + tree.path(L"\u6F22.txt"), tree.path(L"\u6F22.txt")});
  const Ended packed = runZupack(arguments);
  const std::wstring package = tree.path(L"out\\zuimpl-2.0.0.47.7z");
  const std::wstring entry = tree.path(L"out\\zuimpl-2.0.0.47.json");
  EXPECT_EQ(packed.status, 0u) << packed.error;
  EXPECT_EQ(packed.output, "package " + toUtf8(package) + "\nentry   " + toUtf8(entry) + "\n");
  EXPECT_EQ(packed.error, "");
  const Ended verified = runZupack({L"verify", package, L"--entry", entry});
  EXPECT_EQ(verified.status, 0u) << verified.error;
  EXPECT_THAT(verified.output, HasSubstr("ok module version\n"));
  EXPECT_EQ(verified.error, "");
}

TEST(Zupack, EndsAFailedVerificationWithOneLineAndStatus1) {
  const TemporaryTree tree;
  ASSERT_EQ(runZupack(packArguments(tree)).status, 0u);
  writeFile(tree.path(L"other.7z"), "7z");
  const Ended ended =
      runZupack({L"verify", tree.path(L"other.7z"), L"--entry", tree.path(L"out\\zuimpl-2.0.0.47.json")});
  EXPECT_EQ(ended.status, 1u);
  EXPECT_THAT(ended.error, testing::StartsWith("zupack: check failed: package digest (pmd5): the file's is "));
  EXPECT_EQ(std::ranges::count(ended.error, '\n'), 1);
}

TEST(Zupack, EndsBadInputWithOneLineAndStatus2) {
  const TemporaryTree tree;
  const std::vector<std::pair<std::vector<std::wstring>, std::string>> cases = {
      {{}, "zupack: a command is required; there are pack, verify, inspect, entry, site; see --help\n"},
      {{L"pak"}, "zupack: there is no command pak; there are pack, verify, inspect, entry, site; see --help\n"},
      {{L"pack"}, "zupack: --module is required; see --help\n"},
      {{L"verify"}, "zupack: PACKAGE is required; see --help\n"},
      {{L"verify", L"none.7z", L"--entry", L"none.json"}, "zupack: not a file: none.7z\n"},
      {{L"pack", L"--module", L"none", L"--url", L"https://x", L"--out", tree.path()}, "zupack: not a file: none\n"},
      {{L"pack", L"--module", L"none", L"--url", L"ftp://x", L"--out", tree.path()},
       "zupack: --url must begin with https://, but is \"ftp://x\"\n"},
  };
  for (const auto& [arguments, error] : cases) {
    const Ended ended = runZupack(arguments);
    EXPECT_EQ(ended.status, 2u);
    EXPECT_EQ(ended.error, error);
    EXPECT_EQ(ended.output, "");
  }
}

TEST(Zupack, WarnsOfWhatWasForcedAndWritesNoBarIntoAPipe) {
  const TemporaryTree tree;
  const std::vector<std::wstring> arguments = {L"pack",           L"--module",  moduleFile(L"missing-dependency"),
                                               L"--url",          L"https://x", L"--out",
                                               tree.path(L"out"), L"--force"};
  const Ended ended = runZupack(arguments);
  EXPECT_EQ(ended.status, 0u);
  const Ended refused = runZupack({arguments.begin(), arguments.end() - 1});
  EXPECT_EQ(refused.status, 1u);
  EXPECT_THAT(refused.error, testing::StartsWith("zupack: no host could load "));
  EXPECT_EQ(std::ranges::count(refused.error, '\n'), 1);
  EXPECT_THAT(refused.error, testing::Not(HasSubstr("packing")));
}

TEST(Zupack, PrintsTheEntryAlone) {
  const TemporaryTree tree;
  ASSERT_EQ(runZupack(packArguments(tree)).status, 0u);
  const Ended ended = runZupack({L"entry", tree.path(L"out\\zuimpl-2.0.0.47.7z"), L"--url", L"https://localhost"});
  EXPECT_EQ(ended.status, 0u) << ended.error;
  EXPECT_EQ(ended.error, "");
  EXPECT_EQ(ended.output, readFile(tree.path(L"out\\zuimpl-2.0.0.47.json")));
}

TEST(Zupack, RefusesAnEntryThatNamesNoAddress) {
  const TemporaryTree tree;
  ASSERT_EQ(runZupack(packArguments(tree)).status, 0u);
  const std::wstring package = tree.path(L"out\\zuimpl-2.0.0.47.7z");
  EXPECT_EQ(runZupack({L"entry", package, L"--url", L"http://x"}).error,
            "zupack: --url must begin with https://, but is \"http://x\"\n");
  copyFile(package, tree.path(L"a b.7z"));
  EXPECT_EQ(runZupack({L"entry", tree.path(L"a b.7z"), L"--url", L"https://x"}).error,
            "zupack: not a name for an address: \"a b.7z\"; rename it with ASCII letters, digits, - . _ ~\n");
}

TEST(Zupack, InspectsAndEndsWithWhetherAHostCouldLoadIt) {
  const Ended good = runZupack({L"inspect", sampleModule()});
  EXPECT_EQ(good.status, 0u) << good.error;
  EXPECT_THAT(good.output, HasSubstr("\narchitecture x64\n"));
  const Ended bad = runZupack({L"inspect", moduleFile(L"missing-dependency")});
  EXPECT_EQ(bad.status, 1u);
  EXPECT_THAT(bad.output, HasSubstr("\nimport       zuabsent.dll: MISSING, 1 function\n"));
  EXPECT_THAT(bad.error, testing::StartsWith("zupack: no host could load it: zuimpl.dll needs zuabsent.dll, "));
  EXPECT_EQ(runZupack({L"inspect", moduleFile(L"missing-dependency"), L"--host-library", L"ZuAbsent.dll"}).status, 0u);
}

TEST(Zupack, ExplainsEveryOption) {
  for (const wchar_t* command : {L"pack", L"verify", L"inspect", L"entry", L"site"}) {
    const Ended help = runZupack({command, L"--help"});
    EXPECT_EQ(help.status, 0u);
    EXPECT_THAT(help.output, HasSubstr("Options:")) << toUtf8(command);
  }
}

TEST(Zupack, ShowsHelpAndVersion) {
  const Ended help = runZupack({L"--help"});
  EXPECT_EQ(help.status, 0u);
  for (const char* command : {"pack ", "verify ", "inspect ", "entry ", "site "}) {
    EXPECT_THAT(help.output, HasSubstr(command));
  }
  EXPECT_THAT(runZupack({L"--version"}).output, testing::MatchesRegex("zupack \\d+\\.\\d+\\.\\d+\\.\\d+\n"));
}

}  // namespace
}  // namespace zuvia::test
