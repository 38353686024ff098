#include "shared/CommandLine.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>

#include "shared/SystemError.h"

namespace zuvia::tools {
namespace {

// What the command of a small app does, run with these arguments.
int runWith(
    std::vector<std::string> arguments, std::function<void(const std::string&)> command = [](const auto&) {}) {
  CLI::App app("Does one thing.", "tool");
  std::string value;
  app.set_version_flag("--version", "tool 1");
  app.add_option("--value", value)->required();
  app.callback([&] { command(value); });
  return runTool(app, std::move(arguments));
}

TEST(RunTool, RunsTheCommand) {
  std::string seen;
  EXPECT_EQ(runWith({"--value", "\u00E4"}, [&](const std::string& value) { seen = value; }), kDone);
  EXPECT_EQ(seen, "\u00E4");
}

TEST(RunTool, WritesHelpAndVersionToTheOutput) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(runWith({"--version"}), kDone);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "tool 1\n");
  testing::internal::CaptureStdout();
  EXPECT_EQ(runWith({"--help"}), kDone);
  EXPECT_EQ(testing::internal::GetCapturedStdout().find("Does one thing.\nUsage: tool [OPTIONS]\n"), 0u);
}

struct BadEnd {
  std::vector<std::string> arguments;
  std::function<void(const std::string&)> command;
  int status;
  std::string message;
};

void expectEnd(const BadEnd& end) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(runWith(end.arguments, end.command), end.status);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), end.message);
}

TEST(RunTool, EndsBadUsageWithOneLine) {
  const auto nothing = [](const std::string&) {};
  expectEnd({{}, nothing, kBadInput, "tool: --value is required; see --help\n"});
  expectEnd({{"--value", "x", "--other"},
             nothing,
             kBadInput,
             "tool: The following argument was not expected: --other; see --help\n"});
}

// What a tool of two commands says to these arguments.
std::string saidByTwoCommands(std::vector<std::string> arguments) {
  CLI::App app("Does two things.", "tool");
  app.require_subcommand(1);
  app.add_subcommand("one")->add_option("--value")->required();
  app.add_subcommand("two");
  testing::internal::CaptureStderr();
  EXPECT_EQ(runTool(app, std::move(arguments)), kBadInput);
  return testing::internal::GetCapturedStderr();
}

TEST(RunTool, NamesTheWordThatIsNoCommand) {
  EXPECT_EQ(saidByTwoCommands({}), "tool: a command is required; there are one, two; see --help\n");
  EXPECT_EQ(saidByTwoCommands({"three", "--value"}),
            "tool: there is no command three; there are one, two; see --help\n");
  EXPECT_EQ(saidByTwoCommands({"-V"}), "tool: there is no command -V; there are one, two; see --help\n");
  EXPECT_EQ(saidByTwoCommands({"one"}), "tool: --value is required; see --help\n");
}

TEST(RunTool, EndsFailuresWithTheirStatusOnOneLine) {
  const std::vector<std::string> arguments{"--value", "x"};
  expectEnd({arguments, [](const auto&) { throw Failure("no\ngood"); }, kBadInput, "tool: no\\x0agood\n"});
  expectEnd({arguments, [](const auto&) { throw Failure("bad", kCheckFailed); }, kCheckFailed, "tool: bad\n"});
  expectEnd({arguments, [](const auto&) { throw std::runtime_error("other"); }, kBadInput, "tool: other\n"});
}

TEST(SystemErrorText, NamesTheCode) {
  EXPECT_NE(systemErrorText(2).find(" (error 2)"), std::string::npos) << systemErrorText(2);
  EXPECT_EQ(systemErrorText(0x20000001), "error 536870913") << "a code that has no message";
}

}  // namespace
}  // namespace zuvia::tools
