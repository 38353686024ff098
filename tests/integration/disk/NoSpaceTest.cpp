// The disk becomes full at every file that an update writes, at its first byte and later, and stays full until the
// next life.

#include <shlobj.h>

#include <cstddef>
#include <string>

#include "integration/disk/DiskTest.h"
#include "integration/disk/FullDisk.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::IsEmpty;

class NoSpaceTest : public DiskTest {
 protected:
  // A life during which the disk becomes full at this byte of a file.
  void liveUntilFull(const std::wstring& path, std::size_t room, Life expected) {
    const FullDisk disk(module, path, room);
    if (!expected.task) expected.laterTask = [&, path = package()] { return notWritten(path, disk.offered(path)); };
    live(expected);
    EXPECT_TRUE(disk.happened());
    EXPECT_THAT(leftovers(), IsEmpty());
    EXPECT_FALSE(directoryExists(target));
  }

  // No package can be written there.
  Messages notWritten(const std::wstring& path, std::size_t received) const {
    return {L"Download fail! path: " + path +
                L", curl code: 23, msg: Failure writing output to destination, http code: 200, received bytes: " +
                std::to_wstring(received) + L", write succeeded: false, url: " + toWide(usual.url),
            L"Download fail!"};
  }

  // An unpacked file cannot be written.
  void expectNotUnpacked(const std::wstring& name, std::size_t size, std::size_t room) {
    const std::wstring path = temporary() + L'\\' + name;
    liveUntilFull(path, room,
                  {.task = afterDownload({L"Unzip file fail! Write output file failed, path: " + path + L", size: " +
                                              std::to_wstring(size) + L", errno: 28, msg: No space left on device",
                                          kNotUnpacked})});
    EXPECT_THAT(invariants->violations(), IsEmpty());
  }
};

TEST_F(NoSpaceTest, ForTheCaches) {
  // The file then holds less than an id, or nothing; what it holds is the id from then on.
  for (const std::size_t room : {0u, 8u}) {
    liveUntilFull(cachePath(L"hit.cache"), room, {});
    const std::string kept = readFile(cachePath(L"hit.cache"));
    EXPECT_EQ(kept.size(), room);
    EXPECT_EQ(readFile(cachePath(L"bbs.cache")), "");
    EXPECT_THAT(invariants->violations(), IsEmpty());
    live({});
    EXPECT_EQ(sentHitSequence(), readFile(cachePath(L"hit.cache")));
    EXPECT_EQ(sentHitSequence().size(), room == 0 ? 16 : room);
    EXPECT_TRUE(sentHitSequence().starts_with(kept));
    EXPECT_GT(readFile(cachePath(L"bbs.cache")).size(), 0u);
    clear();
  }

  // Deliberately, only a cache file that does not open is spoken of.
  for (const std::size_t room : {0u, 100u}) {
    liveUntilFull(cachePath(L"bbs.cache"), room, {});
    EXPECT_EQ(readFile(cachePath(L"hit.cache")).size(), 16u);
    std::string cached = readFile(cachePath(L"bbs.cache"));
    std::erase(cached, '\r');  // the library's, in a text
    EXPECT_EQ(cached.size(), room);
    EXPECT_THAT(invariants->violations(), IsEmpty());
  }
  recover();
}

TEST_F(NoSpaceTest, ForThePackage) {
  const std::size_t size = usual.package.size();
  for (const std::size_t room : {std::size_t{0}, size / 2, size - 1}) {
    liveUntilFull(package(), room, {});
    EXPECT_GT(readFile(cachePath(L"bbs.cache")).size(), 0u);
    recover();
  }
}

TEST_F(NoSpaceTest, ForTheUnpackedFiles) {
  expectNotUnpacked(L"sub\\companion.txt", 9, 0);
  expectNotUnpacked(L"sub\\companion.txt", 9, 8);
  expectNotUnpacked(L"zuimpl.dll", content.size(), 0);
  expectNotUnpacked(L"zuimpl.dll", content.size(), content.size() - 1);
  recover();
}

// ---- For directories and names

TEST_F(NoSpaceTest, ForDirectoriesAndNames) {
  const auto full = [](const std::wstring& beginning) {
    return failing<decltype(SHCreateDirectoryExW)>("SHCreateDirectoryExW", ERROR_DISK_FULL, {.callCount = kEveryCall},
                                                   [beginning](HWND, const wchar_t* path, const SECURITY_ATTRIBUTES*) {
                                                     return std::wstring_view(path).starts_with(beginning);
                                                   });
  };
  live(
      {.host = {L"Create directory failed: " + cacheDirectory},
       .stored = L"Failed to write to persistent cache file: " + cachePath(L"bbs.cache"),
       .decision = Messages{L"Directory not exist: " + target, L"Directory not exist: " + downloads + L", create: 112"},
       .task = Messages{L"Download fail! Open save file failed, path: " + package() +
                            L", errno: 2, msg: No such file or directory",
                        L"Download fail!"}},
      full(cacheDirectory));
  EXPECT_FALSE(directoryExists(cacheDirectory));
  EXPECT_THAT(invariants->violations(), IsEmpty());

  live({.task = afterDownload({L"Unzip file fail. CreateDirectory err: 2, path: " + temporary(), kNotUnpacked})},
       full(temporary()));
  EXPECT_THAT(invariants->violations(), IsEmpty());

  const std::wstring inner = temporary() + L"\\sub";
  live({.task = afterDownload({L"Unzip file fail! Create sub directory error: 112, path: " + inner, kNotUnpacked})},
       full(inner));
  EXPECT_THAT(invariants->violations(), IsEmpty());

  live({.task = afterUnpacking(
            {L"Try published download plugin : false", L"MoveFileExW  published: false, dest: " + target})},
       failing<decltype(MoveFileExW)>("MoveFileExW", FALSE, {.lastError = ERROR_DISK_FULL}));
  EXPECT_THAT(leftovers(), IsEmpty());
  recover();
}

}  // namespace
}  // namespace zuvia::test
