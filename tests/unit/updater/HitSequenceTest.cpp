#include <gmock/gmock.h>

#include <cstdlib>

#include "platform/Handles.h"
#include "support/SecondProcess.h"
#include "unit/updater/UpdaterFixture.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HitSequenceFileTest : public UpdaterTest {
 protected:
  HitSequenceFileTest() { updater.setAppPath(tree.appPath()); }

  std::string idFromFile(std::string_view content) {
    writeFile(file, content);
    return updater.getHitSeqId();
  }

  // Whether an id looks like a new one.
  static bool isMade(const std::string& id) {
    return id.size() == 16 && id.find_first_not_of("0123456789ABCDEF") == std::string::npos;
  }

  ZuDllUpdater updater{1};
  const std::wstring cache = joinPath(tree.appPath(), L"zuviaplugin\\cache");
  const std::wstring file = joinPath(cache, L"hit.cache");
};

TEST_F(HitSequenceFileTest, IsMadeOnceAndKept) {
  removeTree(joinPath(tree.appPath(), L"zuviaplugin"));
  const std::string id = updater.getHitSeqId();
  EXPECT_TRUE(isMade(id)) << id;
  EXPECT_EQ(readFile(file), id);
  ZuDllUpdater later{2};
  later.setAppPath(tree.appPath());
  EXPECT_EQ(later.getHitSeqId(), id);
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(HitSequenceFileTest, FollowsTheGeneratorSeededFromTheTime) {
  removeTree(joinPath(tree.appPath(), L"zuviaplugin"));
  unsigned seed = 0;
  const ImportHook<decltype(srand)> hook(self(), "srand", [&seed](auto* original, unsigned value) {
    seed = value;
    original(value);
  });
  const auto before = static_cast<unsigned>(std::time(nullptr));
  const std::string id = updater.getHitSeqId();
  EXPECT_LE(seed - before, 5u);
  std::srand(seed);
  std::string expected;
  for (int i = 0; i < 16; ++i) expected += "0123456789ABCDEF"[std::rand() % 16];
  EXPECT_EQ(id, expected);
}

TEST_F(HitSequenceFileTest, IsTheTrimmedFirstLine) {
  EXPECT_EQ(idFromFile("  abc \r\nsecond line"), "abc");
  EXPECT_EQ(readFile(file), "  abc \r\nsecond line");
}

TEST_F(HitSequenceFileTest, IsTrimmedWithoutALineEnd) {
  EXPECT_EQ(idFromFile("  abc \r"), "abc");
}

TEST_F(HitSequenceFileTest, LosesTabsAtBothEndsAndKeepsThoseInside) {
  EXPECT_EQ(idFromFile("\t a \t b\t \n"), "a \t b");
}

TEST_F(HitSequenceFileTest, IsTakenInAnyFormAndLength) {
  const std::string longOne(5000, 'q');
  EXPECT_EQ(idFromFile(longOne), longOne);
  EXPECT_EQ(idFromFile("not hexadecimal!\n"), "not hexadecimal!");
}

TEST_F(HitSequenceFileTest, IsMadeForAnEmptyFile) {
  const std::string id = idFromFile("");
  EXPECT_TRUE(isMade(id)) << id;
  EXPECT_EQ(readFile(file), id);
}

TEST_F(HitSequenceFileTest, IsMadeWhenTheFirstLineIsBlank) {
  const std::string id = idFromFile(" \t\r\nabc\nand much more than an id has");
  EXPECT_TRUE(isMade(id)) << id;
  EXPECT_EQ(readFile(file), id);
}

TEST_F(HitSequenceFileTest, IsReturnedThoughItCannotBeWritten) {
  removeTree(file);
  makeDirectories(file);
  EXPECT_TRUE(isMade(updater.getHitSeqId()));
  EXPECT_TRUE(directoryExists(file));
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(HitSequenceFileTest, IsMadeWhenTheFileCannotBeRead) {
  writeFile(file, "abc");
  SecondProcess holder;
  holder.holdFile(file);
  EXPECT_TRUE(isMade(updater.getHitSeqId()));
  holder.releaseFiles();
  EXPECT_EQ(readFile(file), "abc");
}

TEST_F(HitSequenceFileTest, IsReturnedThoughTheDirectoryCannotBeMade) {
  removeTree(joinPath(tree.appPath(), L"zuviaplugin"));
  const FailingImport<decltype(SHCreateDirectoryExW)> failing(self(), "SHCreateDirectoryExW", ERROR_ACCESS_DENIED, {});
  EXPECT_TRUE(isMade(updater.getHitSeqId()));
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_FALSE(directoryExists(cache));
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(HitSequenceFileTest, DoesNotMakeADirectoryThatIsThere) {
  writeFile(file, "abc");
  const FailingImport<decltype(SHCreateDirectoryExW)> made(self(), "SHCreateDirectoryExW", 0, {.callCount = 0});
  EXPECT_EQ(updater.getHitSeqId(), "abc");
  EXPECT_EQ(made.calls(), 0u);
}

TEST_F(HitSequenceFileTest, IsEmptyWithoutAnApplicationPath) {
  updater.setAppPath(L"");
  const TreeListing before = tree.listAll();
  EXPECT_EQ(updater.getHitSeqId(), "");
  EXPECT_EQ(tree.listAll(), before);
  EXPECT_THAT(logged(), ElementsAre(L"getHitSeqId: getHitSeqId path empty fail!"));
}

}  // namespace
}  // namespace zuvia::test
