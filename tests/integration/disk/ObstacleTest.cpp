// A directory lies where the plugin makes a file, or a file where it makes a directory.

#include <shlobj.h>

#include <string>

#include "integration/disk/DiskTest.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::IsEmpty;

class ObstacleTest : public DiskTest {
 protected:
  // Puts a directory with something in it there, or a file.
  static void putDirectory(const std::wstring& path) { writeFile(path + L"\\kept.txt", "kept"); }
  static void putFile(const std::wstring& path) { writeFile(path, "kept"); }

  // Expects it there as it was, and takes it away.
  static void takeDirectory(const std::wstring& path) {
    EXPECT_EQ(readFile(path + L"\\kept.txt"), "kept");
    removeTree(path);
  }
  static void takeFile(const std::wstring& path) {
    EXPECT_EQ(readFile(path), "kept");
    removeTree(path);
  }

  // What making a directory there answers now, by the system's own word.
  static int answerOfMaking(const std::wstring& path) { return SHCreateDirectoryExW(nullptr, path.c_str(), nullptr); }

  Messages notOpened(const std::wstring& reason) const {
    return {L"Download fail! Open save file failed, path: " + package() + reason, L"Download fail!"};
  }

  // The application path takes neither cache nor package, because a file is in the way of the directories.
  void expectNoCache(const std::wstring& obstacle, const std::wstring& message) {
    putFile(obstacle);
    const std::wstring answer = std::to_wstring(answerOfMaking(downloads));
    live({.host = {message},
          .stored = L"Failed to write to persistent cache file: " + cachePath(L"bbs.cache"),
          .decision = Messages{L"Directory not exist: " + target,
                               L"Directory not exist: " + downloads + L", create: " + answer},
          .task = notOpened(L", errno: 2, msg: No such file or directory")});
    takeFile(obstacle);
    recover();
  }
};

// ---- In the way of the caches: where the package can be kept, the update is none the worse

TEST_F(ObstacleTest, InTheWayOfTheCaches) {
  const std::wstring cache = cachePath(L"bbs.cache");
  putDirectory(cache);
  live({.host = {L"Create file failed: " + cache}, .stored = L"Failed to write to persistent cache file: " + cache});
  takeDirectory(cache);
  EXPECT_THAT(invariants->violations(), IsEmpty());
  clear();

  putDirectory(cachePath(L"hit.cache"));
  live({});
  takeDirectory(cachePath(L"hit.cache"));
  EXPECT_THAT(invariants->violations(), IsEmpty());
  clear();

  // What is there already counts as made.
  expectNoCache(cacheDirectory, L"Create file failed: " + cache);
  removeTree(tree.appPath() + L"\\zuviaplugin");
  expectNoCache(tree.appPath() + L"\\zuviaplugin", L"Create directory failed: " + cacheDirectory);
}

// ---- In the way of the download

TEST_F(ObstacleTest, InTheWayOfTheDownload) {
  const std::wstring directory = cachePath(L"update");
  putFile(directory);
  const std::wstring answer = std::to_wstring(answerOfMaking(downloads));
  live({.decision =
            Messages{L"Directory not exist: " + target, L"Directory not exist: " + downloads + L", create: " + answer},
        .task = notOpened(L", errno: 2, msg: No such file or directory")});
  takeFile(directory);
  recover();

  const std::wstring obstacle = package();
  putDirectory(obstacle);
  live({.task = notOpened(L", errno: 13, msg: Permission denied")});
  takeDirectory(obstacle);
  recover();
}

// ---- In the way of the version

TEST_F(ObstacleTest, InTheWayOfTheVersion) {
  const std::wstring obstacle = temporary();
  putFile(obstacle);
  const std::wstring inner = obstacle + L"\\sub";
  const std::wstring answer = std::to_wstring(answerOfMaking(inner));
  const std::wstring notPlain = L"Delete directory fail! Not a plain directory, attributes: " +
                                std::to_wstring(GetFileAttributesW(obstacle.c_str()));
  live({.task = Messages{L"Download success ver:  2.0.0.47", notPlain,
                         L"Unzip file fail! Create sub directory error: " + answer + L", path: " + inner, kNotUnpacked,
                         notPlain, kSkipped}});
  takeFile(obstacle);
  recover();

  putFile(target);
  live({.task = afterUnpacking({L"Invalid update target path: " + target})});
  EXPECT_THAT(leftovers(), IsEmpty());
  takeFile(target);
  recover();

  // A version without a module counts as damaged, and is replaced.
  putDirectory(target + L"\\zuimpl.dll");
  live({.decision = Messages{L"File not exist: " + target + L"\\zuimpl.dll",
                             L"Directory not exist: " + downloads + L", create: 0"}});
  EXPECT_EQ(readFile(modulePath(L"2.0.0.47")), content);
  EXPECT_THAT(leftovers(), IsEmpty());
  EXPECT_THAT(invariants->violations(), IsEmpty());
}

}  // namespace
}  // namespace zuvia::test
