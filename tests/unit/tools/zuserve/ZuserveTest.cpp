#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../../support/HttpClient.h"
#include "../RunProgram.h"
#include "../TemporaryTree.h"
#include "ConsoleEvent.h"
#include "platform/Handles.h"
#include "support/ChildProcess.h"
#include "support/Text.h"

// zuserve.exe as a process, with libcurl as its client, which trusts the user's root certificates.

namespace zuvia::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr int kNobodyListens = 7;  // CURLE_COULDNT_CONNECT
constexpr int kRefused = 60;       // CURLE_PEER_FAILED_VERIFICATION

Ended runZuserve(const std::vector<std::wstring>& arguments) {
  return runTool(L"zuserve.exe", arguments);
}

// A site and an authority's directory; the authority is not trusted any more at the end.
class ZuserveTest : public testing::Test {
 protected:
  ZuserveTest() { writeFile(tree.path(L"site\\a.txt"), "hello"); }
  ~ZuserveTest() override { runZuserve({L"untrust", L"--ca", authority()}); }

  std::wstring authority() const { return tree.path(L"ca"); }
  std::vector<std::wstring> arguments() const {
    return {L"--site", tree.path(L"site"), L"--port", L"0", L"--ca", authority()};
  }

  // The address in the first line, as scripts read it.
  static std::string addressOf(const std::string& line) {
    const std::string lead = "zuserve: ";
    EXPECT_THAT(line, testing::MatchesRegex("zuserve: https://localhost:\\d+/ serves .*"));
    return line.substr(lead.size(), line.find(' ', lead.size()) - lead.size());
  }

  // What becomes of a transfer from another address of this machine, for the service at the address of the first line.
  static int codeAt(const std::string& ip, const std::string& address) {
    return transfer({.url = "https://" + ip + address.substr(address.rfind(':')) + "a.txt"}).code;
  }

  const TemporaryTree tree;
};

TEST_F(ZuserveTest, ServesThoseWhoTrustIt) {
  const Ended trusted = runZuserve({L"trust", L"--ca", authority()});
  EXPECT_EQ(trusted.status, 0u) << trusted.error;
  EXPECT_EQ(trusted.output, "zuserve: trusted: " + toUtf8(authority()) + "\n");
  ChildProcess process(joinPath(programDirectory(), L"zuserve.exe"), arguments());
  const std::string address = addressOf(process.readLine(30'000).value_or(""));
  EXPECT_EQ(process.readLine(), "zuserve: offers nothing yet");
  const TransferResult file = transfer({.url = address + "a.txt"});
  EXPECT_EQ(file.code, 0);
  EXPECT_EQ(file.body, "hello");
  EXPECT_THAT(process.readLine().value_or(""), HasSubstr(" GET /a.txt 200 5"));
  const TransferResult configuration = transfer({.url = address + "configs/pc/post", .postBody = "{}"});
  EXPECT_EQ(configuration.body, R"({"configs":{}})");
  EXPECT_THAT(process.readLine().value_or(""), HasSubstr(" POST /configs/pc/post 200 14 "));
}

TEST_F(ZuserveTest, IsRefusedByThoseWhoDoNot) {
  ChildProcess process(joinPath(programDirectory(), L"zuserve.exe"), arguments());
  const std::string address = addressOf(process.readLine(30'000).value_or(""));
  EXPECT_EQ(process.readLine(), "zuserve: not trusted yet: run zuserve trust");
  EXPECT_EQ(transfer({.url = address + "a.txt"}).code, kRefused);
}

TEST_F(ZuserveTest, IsRefusedByThoseWhoDoNotAnyMore) {
  EXPECT_EQ(runZuserve({L"trust", L"--ca", authority()}).status, 0u);
  const Ended untrusted = runZuserve({L"--ca", authority(), L"untrust"});
  EXPECT_EQ(untrusted.status, 0u) << untrusted.error;
  EXPECT_EQ(untrusted.output, "zuserve: not trusted: " + toUtf8(authority()) + "\n");
  ChildProcess process(joinPath(programDirectory(), L"zuserve.exe"), arguments());
  const std::string address = addressOf(process.readLine(30'000).value_or(""));
  EXPECT_EQ(transfer({.url = address + "a.txt"}).code, kRefused);
}

TEST_F(ZuserveTest, MakesNoAuthorityToUntrustIt) {
  EXPECT_EQ(runZuserve({L"untrust", L"--ca", authority()}).status, 0u);
  EXPECT_FALSE(directoryExists(authority()));
}

TEST_F(ZuserveTest, EndsOnCtrlC) {
  ChildProcess process(joinPath(programDirectory(), L"zuserve.exe"), arguments());
  addressOf(process.readLine(30'000).value_or(""));
  process.readUntil([](const std::string& line) { return line.starts_with("zuserve: offers"); });
  const HANDLE handle = OpenProcess(PROCESS_ALL_ACCESS, FALSE, process.id());
  EXPECT_EQ(raiseConsoleEvent(handle, CTRL_C_EVENT), WAIT_OBJECT_0);
  CloseHandle(handle);
  EXPECT_TRUE(process.readUntil([](const std::string& line) { return line == "zuserve: stopped"; }));
  EXPECT_EQ(process.waitForExit(), 0u);
  EXPECT_EQ(process.errorText(), "");
}

TEST_F(ZuserveTest, EndsWhenThePortIsTaken) {
  ChildProcess process(joinPath(programDirectory(), L"zuserve.exe"), arguments());
  const std::string address = addressOf(process.readLine(30'000).value_or(""));
  const std::string port = address.substr(18, address.size() - 19);
  std::vector<std::wstring> same = arguments();
  same[3] = toWide(port);
  const Ended second = runZuserve(same);
  EXPECT_EQ(second.status, 2u);
  EXPECT_EQ(second.error, "zuserve: cannot listen on 127.0.0.1:" + port + ": the port is in use\n");
  EXPECT_EQ(second.output, "");
}

TEST_F(ZuserveTest, KeepsItsKeyOutOfTheSite) {
  const std::wstring inside = tree.path(L"site\\ca");
  const Ended ended = runZuserve({L"--site", tree.path(L"site"), L"--port", L"0", L"--ca", inside});
  EXPECT_EQ(ended.status, 2u);
  EXPECT_EQ(ended.error,
            "zuserve: the authority's directory " + toUtf8(inside) + " lies in the site; choose another with --ca\n");
  EXPECT_FALSE(directoryExists(inside));
  EXPECT_EQ(runZuserve({L"--site", tree.path(L"SITE"), L"--port", L"0", L"--ca", inside}).status, 2u);
}

TEST_F(ZuserveTest, SaysToWhomItOffers) {
  std::vector<std::wstring> all = arguments();
  for (const wchar_t* one : {L"--share", L"12.50", L"--host-version", L">=7.1,<8", L"--pause", L"--fault", L"cut"})
    all.emplace_back(one);
  ChildProcess process(joinPath(programDirectory(), L"zuserve.exe"), all);
  std::vector<std::string> lines;
  for (int index = 0; index < 7; ++index) lines.push_back(process.readLine(30'000).value_or(""));
  addressOf(lines[0]);
  EXPECT_THAT(lines, testing::IsSupersetOf({std::string("zuserve: paused: offers nothing to anybody"),
                                            std::string("zuserve: offers it to 12.5 % of the users"),
                                            std::string("zuserve: offers it to host versions >=7.1, <8"),
                                            std::string("zuserve: fault on purpose: cut")}));
}

// Whoever gets as far as the certificate, which nobody trusts here, was listened to.
TEST_F(ZuserveTest, ListensToThisMachineAloneUnlessItIsTold) {
  ChildProcess process(joinPath(programDirectory(), L"zuserve.exe"), arguments());
  const std::string address = addressOf(process.readLine(30'000).value_or(""));
  EXPECT_EQ(codeAt("127.0.0.1", address), kRefused);
  EXPECT_EQ(codeAt("127.0.0.2", address), kNobodyListens);
}

TEST_F(ZuserveTest, ListensOnOtherAddressesWhenItIsTold) {
  std::vector<std::wstring> all = arguments();
  all.insert(all.end(), {L"--bind", L"0.0.0.0"});
  ChildProcess process(joinPath(programDirectory(), L"zuserve.exe"), all);
  const std::string address = addressOf(process.readLine(30'000).value_or(""));
  EXPECT_TRUE(process.readUntil([](const std::string& line) {
    return line ==
           "zuserve: listens on 0.0.0.0: other machines can fetch and read everything; settings change from this "
           "machine "
           "only";
  }));
  EXPECT_EQ(codeAt("127.0.0.1", address), kRefused);
  EXPECT_EQ(codeAt("127.0.0.2", address), kRefused);
}

TEST_F(ZuserveTest, EndsBadInputWithOneLineAndStatus2) {
  const std::vector<std::pair<std::vector<std::wstring>, std::string>> cases = {
      {{}, "zuserve: --site is required; see --help\n"},
      {{L"--other"}, "zuserve: The following argument was not expected: --other; see --help\n"},
      {{L"serve"}, "zuserve: The following argument was not expected: serve; see --help\n"},
      {{L"--site", L"x", L"--port", L"65536"}, "zuserve: --port: Value 65536 not in range 0 to 65535; see --help\n"},
      {{L"--site", L"x", L"--port", L"-1"}, "zuserve: --port: Value -1 not in range 0 to 65535; see --help\n"},
  };
  for (const auto& [arguments, error] : cases) {
    const Ended ended = runZuserve(arguments);
    EXPECT_EQ(ended.status, 2u);
    EXPECT_EQ(ended.error, error);
    EXPECT_EQ(ended.output, "");
  }
  const std::vector<std::pair<std::vector<std::wstring>, std::string>> settings = {
      {{L"--share", L"101"}, "--share: not a share of the users: \"101\"; from 0 to 100, with at most two decimals"},
      {{L"--share", L"ten"}, "--share: not a share of the users: \"ten\"; from 0 to 100, with at most two decimals"},
      {{L"--host-version", L"7.1"},
       "--host-version: not a rule for host versions: \"7.1\"; >=, >, <=, < or = and a version, as in >=7.1, <8"},
      {{L"--fault", L"stall"}, "--fault: stall needs a number of bytes, as in stall:65536"},
      {{L"--bind", L"localhost"}, "--bind: not an IPv4 address: \"localhost\"; 0.0.0.0 for all of this machine"},
  };
  for (const auto& [added, error] : settings) {
    std::vector<std::wstring> all = arguments();
    all.insert(all.end(), added.begin(), added.end());
    const Ended ended = runZuserve(all);
    EXPECT_EQ(ended.status, 2u);
    EXPECT_EQ(ended.error, "zuserve: " + error + "\n");
    EXPECT_EQ(ended.output, "");
  }
  EXPECT_FALSE(directoryExists(authority())) << "made for nothing";
  const Ended missing = runZuserve({L"--site", tree.path(L"none"), L"--ca", authority()});
  EXPECT_EQ(missing.status, 2u);
  EXPECT_THAT(missing.error, StartsWith("zuserve: cannot read the directory " + toUtf8(tree.path(L"none")) + ": "));
}

TEST_F(ZuserveTest, ShowsHelpAndVersion) {
  EXPECT_THAT(runZuserve({L"--help"}).output, testing::AllOf(HasSubstr("--site"), HasSubstr("untrust")));
  EXPECT_THAT(runZuserve({L"--version"}).output, testing::MatchesRegex("zuserve \\d+\\.\\d+\\.\\d+\\.\\d+\n"));
}

}  // namespace
}  // namespace zuvia::test
