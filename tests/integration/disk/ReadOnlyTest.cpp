// The root or the application path cannot be written to: nothing is changed there, and the plugin runs with what it
// has.

#include <string>

#include "integration/disk/DiskTest.h"
#include "integration/disk/ReadOnlyDirectory.h"
#include "support/Digest.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::IsEmpty;

class ReadOnlyTest : public DiskTest {
 protected:
  // A life that changes nothing in the root.
  void expectRootKept(const Life& expected) {
    const TreeListing before = tree.list();
    live(expected, readOnly(tree.root()));
    EXPECT_EQ(describeChanges(before, tree.list()), "");
    EXPECT_THAT(leftovers(), IsEmpty());
  }

  // A life without a package, and with a cache file that stays as it is.
  Life withoutPackage(const std::wstring& reason) const {
    return {.stored = L"Failed to write to persistent cache file: " + cachePath(L"bbs.cache"),
            .task = Messages{L"Download fail! Open save file failed, path: " + package() + reason, L"Download fail!"}};
  }

  // Nothing is unpacked into a root that is read-only.
  Messages notUnpacked() const {
    return afterDownload({L"Unzip file fail. CreateDirectory err: 2, path: " + temporary(), kNotUnpacked});
  }
};

TEST_F(ReadOnlyTest, RootStaysAsItIs) {
  expectRootKept({.task = notUnpacked()});
  recover();

  // An unused version.
  const std::wstring unused = tree.addVersion(L"2.0.0.44", moduleFile(L"2.0.0.44"));
  const std::wstring inner = unused + L"\\sub";
  const std::wstring companion = tree.addFile(L"2.0.0.44\\sub\\inner.txt", "x");
  watch();
  const std::wstring begin = L"Try delete unused plugin: " + unused;
  expectRootKept({.host = {begin, fileStays(companion, 5), directoryStays(inner, 5),
                           fileStays(unused + L"\\zuimpl.dll", 5), directoryStays(unused, 5)},
                  .task = notUnpacked()});
  recover({.host = {begin}});
  EXPECT_FALSE(directoryExists(unused));
}

// The version that is offered was published in another form after the load.
TEST_F(ReadOnlyTest, RootKeepsAVersionThatIsToBeReplaced) {
  const std::wstring path = modulePath(L"2.0.0.47");
  const std::string other = content + "other";
  const Fault published = [&](HMODULE hooked) {
    writeFile(path, other);
    return readOnly(tree.root())(hooked);
  };
  live({.decision = Messages{fileStays(path, 5), directoryStays(target, 5),
                             L"File md5 not match md5 " + toWide(md5(other)) + L", expected md5: " +
                                 toWide(usual.dmd5) + L", delete directory: false",
                             L"Directory not exist: " + downloads + L", create: 0"},
        .task = notUnpacked()},
       published);
  EXPECT_EQ(readFile(path), other);
  EXPECT_THAT(leftovers(), IsEmpty());
}

TEST_F(ReadOnlyTest, ApplicationPathStaysAsItIs) {
  // Without directories.
  Life life = withoutPackage(L", errno: 2, msg: No such file or directory");
  life.host = {L"Create directory failed: " + cacheDirectory};
  life.decision = Messages{L"Directory not exist: " + target, L"Directory not exist: " + downloads + L", create: 5"};
  live(life, readOnly(tree.appPath()));
  EXPECT_FALSE(directoryExists(cacheDirectory));
  EXPECT_EQ(sentHitSequence().find_first_not_of("0123456789ABCDEF"), std::string::npos);
  EXPECT_THAT(invariants->violations(), IsEmpty());

  // Without files.
  makeDirectories(cachePath(L"update"));
  life = withoutPackage(L", errno: 13, msg: Permission denied");
  life.host = {L"Create file failed: " + cachePath(L"bbs.cache")};
  live(life, readOnly(tree.appPath()));
  EXPECT_THAT(listTree(cacheDirectory), testing::ElementsAre(testing::Pair(L"update", "directory")));
  recover();

  // With all of them.
  live({});
  takeBack();
  const std::string id = readFile(cachePath(L"hit.cache"));
  const TreeListing before = listTree(tree.appPath());
  live(withoutPackage(L", errno: 13, msg: Permission denied"), readOnly(tree.appPath()));
  EXPECT_EQ(sentHitSequence(), id);
  EXPECT_EQ(describeChanges(before, listTree(tree.appPath())), "");
  recover();
}

}  // namespace
}  // namespace zuvia::test
