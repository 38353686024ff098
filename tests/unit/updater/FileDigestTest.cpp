#include <gmock/gmock.h>

#include "support/Digest.h"
#include "support/HandleCount.h"
#include "support/SecondProcess.h"
#include "unit/updater/UpdaterFixture.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr DWORD kCryptError = 0x80090008;  // beyond what a signed number of 32 bits holds
const std::wstring kCryptErrorText = L"2148073480";
const std::string kDigestOfNothing = "d41d8cd98f00b204e9800998ecf8427e";

// Content that is different in every chunk.
std::string someContent(size_t size) {
  std::string content;
  for (size_t i = 0; content.size() < size; ++i) content += std::to_string(i) + ' ';
  content.resize(size);
  return content;
}

class FileDigestTest : public UpdaterTest {
 protected:
  std::wstring addContent(const std::string& content) const { return tree.addFile(L"digest.bin", content); }

  // How often each thing is given back while its step fails: destroyed hashes, released contexts.
  template <typename Function>
  std::pair<size_t, size_t> releasesWhileFailing(const char* step, const std::wstring& path) {
    const RecordedImport<decltype(CryptDestroyHash), HCRYPTHASH> destroyed(self(), "CryptDestroyHash",
                                                                           [](HCRYPTHASH hash) { return hash; });
    const RecordedImport<decltype(CryptReleaseContext), HCRYPTPROV> released(
        self(), "CryptReleaseContext", [](HCRYPTPROV provider, DWORD) { return provider; });
    const FailingImport<Function> failing(self(), step, FALSE, {.lastError = kCryptError});
    EXPECT_EQ(ZuDllUpdater::getFileMD5(path), "");
    EXPECT_EQ(failing.failures(), 1u);
    return {destroyed.records().size(), released.records().size()};
  }
};

TEST_F(FileDigestTest, OfAnEmptyFileIsThatOfNoData) {
  EXPECT_EQ(ZuDllUpdater::getFileMD5(addContent("")), kDigestOfNothing);
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(FileDigestTest, OfKnownDataIsKnown) {
  EXPECT_EQ(ZuDllUpdater::getFileMD5(addContent("abc")), "900150983cd24fb0d6963f7d28e17f72");
}

TEST_F(FileDigestTest, AgreesWithAnotherImplementationAroundTheChunkSize) {
  for (const size_t size : {8191u, 8192u, 8193u, 16384u, 100000u}) {
    const std::string content = someContent(size);
    EXPECT_EQ(ZuDllUpdater::getFileMD5(addContent(content)), md5(content)) << size;
  }
}

TEST_F(FileDigestTest, ReadsInChunksAndGivesEverythingBack) {
  const std::wstring path = addContent(someContent(20000));
  ZuDllUpdater::getFileMD5(path);
  const HandleCheck check;
  const RecordedImport<decltype(ReadFile), DWORD> reads(
      self(), "ReadFile", [](HANDLE, void*, DWORD size, DWORD*, OVERLAPPED*) { return size; });
  const RecordedImport<decltype(CryptDestroyHash), HCRYPTHASH> destroyed(self(), "CryptDestroyHash",
                                                                         [](HCRYPTHASH hash) { return hash; });
  const RecordedImport<decltype(CryptReleaseContext), HCRYPTPROV> released(
      self(), "CryptReleaseContext", [](HCRYPTPROV provider, DWORD) { return provider; });
  ZuDllUpdater::getFileMD5(path);
  EXPECT_THAT(reads.records(), ElementsAre(8192u, 8192u, 8192u, 8192u));
  EXPECT_THAT(destroyed.records(), SizeIs(1));
  EXPECT_THAT(released.records(), SizeIs(1));
}

TEST_F(FileDigestTest, OpensTheFileForReadingBesideOtherReaders) {
  const std::wstring path = addContent("abc");
  struct Opening {
    DWORD access, share, disposition, flags;
  };
  const RecordedImport<decltype(CreateFileW), Opening> opened(
      self(), "CreateFileW",
      [](const wchar_t*, DWORD access, DWORD share, SECURITY_ATTRIBUTES*, DWORD disposition, DWORD flags, HANDLE) {
        return Opening{access, share, disposition, flags};
      });
  ZuDllUpdater::getFileMD5(path);
  ASSERT_THAT(opened.records(), SizeIs(1));
  EXPECT_EQ(opened.records()[0].access, DWORD{GENERIC_READ});
  EXPECT_EQ(opened.records()[0].share, DWORD{FILE_SHARE_READ});
  EXPECT_EQ(opened.records()[0].disposition, DWORD{OPEN_EXISTING});
  EXPECT_EQ(opened.records()[0].flags, DWORD{FILE_FLAG_SEQUENTIAL_SCAN});
}

TEST_F(FileDigestTest, OfAMissingFileIsEmpty) {
  const std::wstring path = joinPath(tree.root(), L"missing.dll");
  EXPECT_EQ(ZuDllUpdater::getFileMD5(path), "");
  EXPECT_THAT(logged(), ElementsAre(L"getFileMD5: Get file md5 fail! CreateFile error: 2, path: " + path));
}

TEST_F(FileDigestTest, OfAFileInUseIsEmpty) {
  const std::wstring path = addContent("abc");
  SecondProcess holder;
  holder.holdFile(path);
  EXPECT_EQ(ZuDllUpdater::getFileMD5(path), "");
  EXPECT_THAT(logged(), ElementsAre(L"getFileMD5: Get file md5 fail! CreateFile error: 32, path: " + path));
}

TEST_F(FileDigestTest, FailsWithoutAContext) {
  const std::wstring path = addContent("abc");
  ZuDllUpdater::getFileMD5(path);
  const HandleCheck check;
  EXPECT_EQ(releasesWhileFailing<decltype(CryptAcquireContextW)>("CryptAcquireContextW", path), std::pair(0ull, 0ull));
  EXPECT_THAT(logged(), ElementsAre(L"getFileMD5: Get file md5 fail! CryptAcquireContext error: " + kCryptErrorText +
                                    L", path: " + path));
}

TEST_F(FileDigestTest, FailsWithoutAHash) {
  const std::wstring path = addContent("abc");
  ZuDllUpdater::getFileMD5(path);
  const HandleCheck check;
  EXPECT_EQ(releasesWhileFailing<decltype(CryptCreateHash)>("CryptCreateHash", path), std::pair(0ull, 1ull));
  EXPECT_THAT(logged(), ElementsAre(L"getFileMD5: Get file md5 fail! CryptCreateHash error: " + kCryptErrorText +
                                    L", path: " + path));
}

TEST_F(FileDigestTest, FailsWhenAChunkCannotBeHashed) {
  const std::wstring path = addContent("abc");
  ZuDllUpdater::getFileMD5(path);
  const HandleCheck check;
  EXPECT_EQ(releasesWhileFailing<decltype(CryptHashData)>("CryptHashData", path), std::pair(1ull, 1ull));
  EXPECT_THAT(logged(), ElementsAre(L"getFileMD5: Get file md5 fail! CryptHashData error: " + kCryptErrorText +
                                    L", path: " + path));
}

TEST_F(FileDigestTest, FailsWhenTheDigestCannotBeHad) {
  const std::wstring path = addContent("abc");
  ZuDllUpdater::getFileMD5(path);
  const HandleCheck check;
  EXPECT_EQ(releasesWhileFailing<decltype(CryptGetHashParam)>("CryptGetHashParam", path), std::pair(1ull, 1ull));
  EXPECT_THAT(logged(), ElementsAre(L"getFileMD5: Get file md5 fail! CryptGetHashParam error: " + kCryptErrorText +
                                    L", path: " + path));
}

TEST_F(FileDigestTest, TakesAReadErrorForTheEndOfTheFile) {
  const std::string content = someContent(20000);
  const std::wstring path = addContent(content);
  const FailingImport<decltype(ReadFile)> failing(self(), "ReadFile", FALSE,
                                                  {.lastError = ERROR_READ_FAULT, .fromCall = 2});
  EXPECT_EQ(ZuDllUpdater::getFileMD5(path), md5(content.substr(0, 8192)));
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(FileDigestTest, OfAFileThatCannotBeReadAtAllIsThatOfNoData) {
  const std::wstring path = addContent("abc");
  const FailingImport<decltype(ReadFile)> failing(self(), "ReadFile", FALSE, {.lastError = ERROR_READ_FAULT});
  EXPECT_EQ(ZuDllUpdater::getFileMD5(path), kDigestOfNothing);
}

TEST(DigestComparison, IgnoresLetterCaseAndNeverTakesAnEmptyOne) {
  EXPECT_TRUE(ZuDllUpdater::isSameDigest("0a1b", "0A1b"));
  EXPECT_FALSE(ZuDllUpdater::isSameDigest("0a1b", "0a1c"));
  EXPECT_FALSE(ZuDllUpdater::isSameDigest("0a1b", "0a1b "));
  EXPECT_FALSE(ZuDllUpdater::isSameDigest("", ""));
  EXPECT_FALSE(ZuDllUpdater::isSameDigest("", "0a1b"));
}

}  // namespace
}  // namespace zuvia::test
