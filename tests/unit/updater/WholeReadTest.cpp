#include <gmock/gmock.h>

#include "platform/Handles.h"
#include "support/HandleCount.h"
#include "unit/updater/UpdaterFixture.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int64_t kMost = 104'857'600;

// A file of zero bytes that takes no room.
void writeSparse(const std::wstring& path, int64_t size) {
  const FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  ASSERT_TRUE(file);
  LARGE_INTEGER end = {};
  end.QuadPart = size;
  ASSERT_TRUE(SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN));
  ASSERT_TRUE(SetEndOfFile(file.get()));
}

class WholeReadTest : public UpdaterTest {
 protected:
  // Reads the file, which must be refused; what was in the buffer must be gone.
  void expectRefusal() {
    std::string out = "before";
    EXPECT_FALSE(ZuDllUpdater::readAllBytes(path, out));
    EXPECT_EQ(out, "");
  }

  const std::wstring path = joinPath(tree.root(), L"whole.bin");
};

TEST_F(WholeReadTest, ReturnsEveryByte) {
  const std::string content("\0a\r\n\x1a\xff z", 8);
  writeFile(path, content);
  std::string out = "before";
  EXPECT_TRUE(ZuDllUpdater::readAllBytes(path, out));
  EXPECT_EQ(out, content);
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WholeReadTest, ReadsAFileOfOneByte) {
  writeFile(path, "x");
  std::string out;
  EXPECT_TRUE(ZuDllUpdater::readAllBytes(path, out));
  EXPECT_EQ(out, "x");
}

TEST_F(WholeReadTest, GoesOnAfterAShortRead) {
  writeFile(path, "0123456789");
  std::vector<DWORD> asked;
  const ImportHook<decltype(ReadFile)> hook(
      self(), "ReadFile",
      [&asked](auto* original, HANDLE file, void* data, DWORD size, DWORD* read, OVERLAPPED* overlapped) -> BOOL {
        asked.push_back(size);
        return original(file, data, std::min<DWORD>(size, 4), read, overlapped);
      });
  std::string out;
  EXPECT_TRUE(ZuDllUpdater::readAllBytes(path, out));
  EXPECT_EQ(out, "0123456789");
  EXPECT_THAT(asked, ElementsAre(10u, 6u, 2u));
}

TEST_F(WholeReadTest, RefusesAMissingFile) {
  expectRefusal();
  EXPECT_THAT(logged(), ElementsAre(L"readAllBytes: Read file fail! CreateFile error: 2, path: " + path));
}

TEST_F(WholeReadTest, RefusesAnEmptyFile) {
  writeFile(path, "");
  const ImportHook<decltype(GetFileSizeEx)> hook(self(), "GetFileSizeEx",
                                                 [](auto* original, HANDLE file, LARGE_INTEGER* size) -> BOOL {
                                                   const BOOL result = original(file, size);
                                                   SetLastError(0x80000007);
                                                   return result;
                                                 });
  expectRefusal();
  EXPECT_THAT(
      logged(),
      ElementsAre(L"readAllBytes: Read file fail! Invalid file size: 0, max: 104857600, error: 2147483655, path: " +
                  path));
}

TEST_F(WholeReadTest, AcceptsTheGreatestSize) {
  writeSparse(path, kMost);
  std::string out;
  EXPECT_TRUE(ZuDllUpdater::readAllBytes(path, out));
  EXPECT_EQ(out.size(), static_cast<size_t>(kMost));
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(WholeReadTest, RefusesOneByteMore) {
  writeSparse(path, kMost + 1);
  const FailingImport<decltype(ReadFile)> reads(self(), "ReadFile", FALSE, {.callCount = kEveryCall});
  expectRefusal();
  EXPECT_EQ(reads.calls(), 0u);
  EXPECT_THAT(logged(), ElementsAre(WideStartsWith(std::wstring(
                            L"readAllBytes: Read file fail! Invalid file size: 104857601, max: 104857600, error: "))));
}

TEST_F(WholeReadTest, RefusesAFileWhoseSizeIsNotTold) {
  writeFile(path, "abc");
  const FailingImport<decltype(GetFileSizeEx)> failing(self(), "GetFileSizeEx", FALSE,
                                                       {.lastError = ERROR_INVALID_HANDLE});
  expectRefusal();
  EXPECT_THAT(
      logged(),
      ElementsAre(L"readAllBytes: Read file fail! Invalid file size: 0, max: 104857600, error: 6, path: " + path));
}

TEST_F(WholeReadTest, FailsWhenAReadFailsHalfway) {
  writeFile(path, "0123456789");
  size_t calls = 0;
  const ImportHook<decltype(ReadFile)> hook(
      self(), "ReadFile",
      [&calls](auto* original, HANDLE file, void* data, DWORD size, DWORD* read, OVERLAPPED* overlapped) -> BOOL {
        if (++calls == 1) return original(file, data, std::min<DWORD>(size, 4), read, overlapped);
        SetLastError(0x80000017);
        return FALSE;
      });
  expectRefusal();
  EXPECT_THAT(
      logged(),
      ElementsAre(L"readAllBytes: Read file fail! ReadFile error: 2147483671, read: 0, offset: 4, path: " + path,
                  L"readAllBytes: Read file fail! Incomplete read, got: 4, expect: 10, path: " + path));
}

TEST_F(WholeReadTest, FailsWhenTheFileEndsEarly) {
  writeFile(path, "0123456789");
  const ImportHook<decltype(GetFileSizeEx)> longer(self(), "GetFileSizeEx",
                                                   [](auto*, HANDLE, LARGE_INTEGER* size) -> BOOL {
                                                     size->QuadPart = 12;
                                                     return TRUE;
                                                   });
  const ImportHook<decltype(ReadFile)> hook(self(), "ReadFile", [](auto* original, auto... arguments) -> BOOL {
    const BOOL result = original(arguments...);
    SetLastError(ERROR_SUCCESS);
    return result;
  });
  expectRefusal();
  EXPECT_THAT(logged(),
              ElementsAre(L"readAllBytes: Read file fail! ReadFile error: 0, read: 0, offset: 10, path: " + path,
                          L"readAllBytes: Read file fail! Incomplete read, got: 10, expect: 12, path: " + path));
}

TEST_F(WholeReadTest, FailsWithoutMemoryForTheFile) {
  constexpr size_t kSize = 1'000'000;
  writeSparse(path, kSize);
  const FailingImport<void*(size_t)> exhausted(self(), "malloc", nullptr, {.callCount = kEveryCall},
                                               [](size_t size) { return size > kSize; });
  expectRefusal();
  EXPECT_EQ(exhausted.failures(), 1u);
  EXPECT_THAT(logged(),
              ElementsAre(L"readAllBytes: Read file fail! Incomplete read, got: 0, expect: 1000000, path: " + path));
}

TEST_F(WholeReadTest, ClosesTheFileHoweverItEnds) {
  writeFile(path, "0123456789");
  std::string out;
  ZuDllUpdater::readAllBytes(path, out);
  const HandleCheck check;
  EXPECT_TRUE(ZuDllUpdater::readAllBytes(path, out));
  const FailingImport<decltype(ReadFile)> failing(self(), "ReadFile", FALSE, {});
  EXPECT_FALSE(ZuDllUpdater::readAllBytes(path, out));
  writeFile(path, "");
  EXPECT_FALSE(ZuDllUpdater::readAllBytes(path, out));
}

}  // namespace
}  // namespace zuvia::test
