#include "Options.h"

#include <gtest/gtest.h>

namespace zuhost {
namespace {

Refusal refusalOf(const std::vector<std::string>& arguments) {
  try {
    parseOptions(arguments);
  } catch (const Refusal& refusal) {
    return refusal;
  }
  return {"accepted", -1};
}

TEST(Options, AreOffByDefault) {
  const Options options = parseOptions({});
  EXPECT_FALSE(options.plugin);
  EXPECT_FALSE(options.json);
  EXPECT_FALSE(options.levelOff);
  EXPECT_EQ(options.mode, Options::Mode::Session);
  EXPECT_FALSE(options.recording);
  EXPECT_FALSE(options.appPath);
}

TEST(Options, AreTakenInAnyOrder) {
  const Options options = parseOptions({"--level-off", "--plugin", "C:\\a b\\\xE6\x96\x87.dll", "--json"});
  EXPECT_EQ(options.plugin, L"C:\\a b\\\u6587.dll");
  EXPECT_TRUE(options.json);
  EXPECT_TRUE(options.levelOff);
}

TEST(Options, MayStandBehindTheWordThatTheyBelongTo) {
  const Options run = parseOptions({"run", "a b.zu", "--plugin", "p.dll", "--record", "r.zu"});
  EXPECT_EQ(run.mode, Options::Mode::Run);
  EXPECT_EQ(run.script, L"a b.zu");
  EXPECT_EQ(run.plugin, L"p.dll");
  EXPECT_EQ(run.recording, L"r.zu");
  const Options status = parseOptions({"--json", "status", "--app-path", "C:\\app"});
  EXPECT_EQ(status.mode, Options::Mode::Status);
  EXPECT_EQ(status.appPath, L"C:\\app");
  EXPECT_TRUE(status.json);
}

TEST(Options, RefuseWhatIsUnknownOrIncompleteWithOneLine) {
  for (const auto& arguments : std::vector<std::vector<std::string>>{{"--bogus"},
                                                                     {"file"},
                                                                     {"--plugin"},
                                                                     {"run"},
                                                                     {"run", "a", "b"},
                                                                     {"status", "a"},
                                                                     {"status", "run", "a"},
                                                                     {"status", "--record", "a"}}) {
    const Refusal refusal = refusalOf(arguments);
    EXPECT_EQ(refusal.status, 2);
    EXPECT_TRUE(refusal.text.starts_with("zuhost: ")) << refusal.text;
    EXPECT_TRUE(refusal.text.ends_with("; see --help\n")) << refusal.text;
    EXPECT_EQ(refusal.text.find('\n'), refusal.text.size() - 1);
  }
}

TEST(Options, PrintHelpWithTheCommandsAndTheRuleForListeners) {
  const Refusal refusal = refusalOf({"--help"});
  EXPECT_EQ(refusal.status, 0);
  for (const char* text : {"--plugin", "--json", "--level-off", "relay2 A B C", "A listener must not\nunload"}) {
    EXPECT_NE(refusal.text.find(text), std::string::npos) << text;
  }
}

TEST(Options, PrintTheVersion) {
  const Refusal refusal = refusalOf({"--version"});
  EXPECT_EQ(refusal.status, 0);
  EXPECT_EQ(refusal.text, "zuhost " ZUHOST_VERSION "\n");
}

}  // namespace
}  // namespace zuhost
