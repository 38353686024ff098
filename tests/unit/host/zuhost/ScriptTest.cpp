#include "Script.h"

#include <gtest/gtest.h>

#include "support/Files.h"
#include "support/InstallTree.h"

namespace zuhost {
namespace {

const zuvia::test::InstallTree& tree() {
  static const zuvia::test::InstallTree tree;
  return tree;
}

Script scriptOf(const std::string& content) {
  const std::wstring file = tree().appPath() + L"\\a b.zu";
  zuvia::test::writeFile(file, content);
  return Script(file);
}

TEST(ScriptFile, GivesLinesWithTheirPlace) {
  Script script = scriptOf("listen\r\n\n# c\nload x");
  EXPECT_EQ(script.nextLine(), "listen");
  EXPECT_TRUE(script.position().ends_with("\\a b.zu:1")) << script.position();
  EXPECT_EQ(script.nextLine(), "");
  EXPECT_EQ(script.nextLine(), "# c");
  EXPECT_EQ(script.nextLine(), "load x");
  EXPECT_TRUE(script.position().ends_with(":4"));
  EXPECT_EQ(script.nextLine(), std::nullopt);
}

TEST(ScriptFile, MayBeginWithAByteOrderMark) {
  EXPECT_EQ(scriptOf("\xEF\xBB\xBFload").nextLine(), "load");
  EXPECT_EQ(scriptOf("").nextLine(), std::nullopt);
}

TEST(ScriptFile, IsNamedWhenItCannotBeRead) {
  try {
    const Script script(L"Z:\\no\\such.zu");
    FAIL();
  } catch (const UnreadableScript& failure) {
    EXPECT_STREQ(failure.what(), "cannot read the script Z:\\no\\such.zu");
  }
}

}  // namespace
}  // namespace zuhost
