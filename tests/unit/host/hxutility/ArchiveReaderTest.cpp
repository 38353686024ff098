#include "ArchiveReader.h"

#include <gtest/gtest.h>

#include <locale>
#include <random>

#include "Archives.h"

namespace hxutility {
namespace {

using test::HandMade;
using test::madeBySevenZip;
using test::packed;
using test::packedTree;
using test::withStartHeader;
using std::string_literals::operator""s;

constexpr uint32_t kUnixModes = 0x8000;  // of the attributes: the upper half holds a file mode
constexpr uint32_t kSymbolicLink = 0120777U << 16 | kUnixModes;
constexpr uint32_t kRegularFile = 0100644U << 16 | kUnixModes;
constexpr uint32_t kDirectory = 0040755U << 16 | kUnixModes;
constexpr uint32_t kPipe = 0010644U << 16 | kUnixModes;

class ArchiveReader : public testing::Test {
 protected:
  // Off Windows a wide name comes through the locale.
  void SetUp() override {
#if !defined(_WIN32)
    std::locale::global(std::locale("C.UTF-8"));
#endif
  }

  bool read(std::string_view archive, uint64_t limit = kMaxUnpackedBytes) {
    files.clear();
    return readArchive(archive, limit, files);
  }

  Files files;
};

// ---- archives of the real program -------------------------------------------------------------

class ReadableArchive : public ArchiveReader, public testing::WithParamInterface<const char*> {};

TEST_P(ReadableArchive, GivesEveryFileAndNoDirectory) {
  ASSERT_TRUE(read(madeBySevenZip(GetParam())));
  const Files expected = packedTree();
  ASSERT_EQ(expected.size(), 5U);
  ASSERT_EQ(files.size(), expected.size());
  for (const auto& [name, content] : expected) {
    ASSERT_TRUE(files.contains(name)) << testing::PrintToString(name);
    EXPECT_TRUE(files[name] == content) << testing::PrintToString(name);
  }
}

TEST_P(ReadableArchive, IsRefusedWhereverItIsTruncated) {
  const std::string archive = madeBySevenZip(GetParam());
  std::vector<size_t> lengths;
  for (size_t length = 0; length < 64; ++length) lengths.push_back(length);
  for (size_t length = 64; length < archive.size(); length += archive.size() / 97 + 1) lengths.push_back(length);
  for (size_t missing = 1; missing <= 64; ++missing) lengths.push_back(archive.size() - missing);
  for (const size_t length : lengths) EXPECT_FALSE(read(std::string_view(archive).substr(0, length))) << length;
}

// Most of the packed bytes are under a checksum; where a bit is not, the files are the same all the same.
TEST_P(ReadableArchive, NeverGivesOtherContentsWhenABitIsFlipped) {
  std::string archive = madeBySevenZip(GetParam());
  const Files expected = packedTree();
  std::minstd_rand random(7);
  std::vector<size_t> places;
  for (size_t place = 0; place < 32; ++place) places.push_back(place);
  for (size_t back = 1; back <= 100; ++back) places.push_back(archive.size() - back);
  for (int i = 0; i < 100; ++i) places.push_back(random() % archive.size());
  int refused = 0;
  for (const size_t place : places) {
    const char flip = static_cast<char>(1 << random() % 8);
    archive[place] = static_cast<char>(archive[place] ^ flip);
    if (read(archive)) {
      EXPECT_TRUE(files == expected) << place;
    } else {
      ++refused;
    }
    archive[place] = static_cast<char>(archive[place] ^ flip);
  }
  EXPECT_GT(refused, 200);
  EXPECT_TRUE(read(archive));
}

INSTANTIATE_TEST_SUITE_P(SevenZip, ReadableArchive,
                         testing::Values("lzma2", "lzma", "non-solid", "copy", "ppmd", "bcj", "bcj-lzma", "bcj2",
                                         "delta", "strongest", "plain-header", "times"),
                         [](const auto& archive) {
                           std::string name = archive.param;
                           std::erase(name, '-');
                           return name;
                         });

class RefusedArchive : public ArchiveReader, public testing::WithParamInterface<const char*> {};

TEST_P(RefusedArchive, IsNoArchiveOfPlainFiles) {
  EXPECT_FALSE(read(madeBySevenZip(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(SevenZip, RefusedArchive, testing::Values("encrypted", "encrypted-header", "symbolic-link"),
                         [](const auto& archive) {
                           std::string name = archive.param;
                           std::erase(name, '-');
                           return name;
                         });

TEST_F(ArchiveReader, RefusesEveryVolumeOfSeveralButReadsThemJoined) {
  std::string joined;
  for (const char* volume : {"001", "002", "003"}) {
    const std::string bytes = test::madeBySevenZipVolume("volumes", volume);
    EXPECT_FALSE(read(bytes)) << volume;
    joined += bytes;
  }
  EXPECT_TRUE(read(joined));
  EXPECT_TRUE(files == packedTree());
}

// ---- what is a whole archive ------------------------------------------------------------------

TEST_F(ArchiveReader, RefusesWhatIsNoArchive) {
  EXPECT_FALSE(read(""));
  EXPECT_FALSE(read("7z\xBC\xAF\x27\x1C"));
  EXPECT_FALSE(read("7z\xBC\xAF\x27\x1C and then text that is long enough for a start header"));
  EXPECT_FALSE(read(std::string(100'000, 'x')));
  EXPECT_FALSE(read("PK\x03\x04"s + std::string(100, '\0')));
}

TEST_F(ArchiveReader, ReadsAnArchiveWithoutEntries) {
  EXPECT_TRUE(read(withStartHeader("", "")));
  EXPECT_TRUE(files.empty());
}

TEST_F(ArchiveReader, RefusesBytesInFrontAndBehind) {
  const std::string archive = HandMade({{u"a", "content"}}).bytes();
  ASSERT_TRUE(read(archive));
  EXPECT_FALSE(read("MZ" + archive));
  EXPECT_FALSE(read(archive + "\0"s));
  EXPECT_FALSE(read(archive + archive));
}

TEST_F(ArchiveReader, RefusesADamagedStartHeaderThatTellsTheTruthOtherwise) {
  std::string archive = HandMade({{u"a", "content"}}).bytes();
  archive[8] = static_cast<char>(archive[8] ^ 1);
  EXPECT_FALSE(read(archive));
}

TEST_F(ArchiveReader, RefusesAnotherMajorFormatVersion) {
  std::string archive = HandMade({{u"a", "content"}}).bytes();
  archive[6] = 1;
  EXPECT_FALSE(read(archive));
}

TEST_F(ArchiveReader, RefusesAStartHeaderWhoseNumbersOverflow) {
  const std::string archive = HandMade({{u"a", "content"}}).bytes();
  for (const uint64_t offset : {UINT64_MAX, UINT64_MAX - 31, uint64_t{1} << 63}) {
    std::string changed = archive;
    changed.replace(12, 8, test::littleEndian(offset, 8));
    changed.replace(20, 8, test::littleEndian(archive.size() - 32 - offset, 8));  // the sum is right, modulo 2^64
    changed.replace(8, 4, test::littleEndian(test::checksum(changed.substr(12, 20)), 4));
    EXPECT_FALSE(read(changed)) << offset;
  }
}

TEST_F(ArchiveReader, RefusesAWrongChecksumOfAFile) {
  HandMade archive({{u"a", "content"}, {u"b", "more"}});
  ASSERT_TRUE(read(archive.bytes()));
  archive.firstChecksum = 0;
  EXPECT_FALSE(read(archive.bytes()));
}

TEST_F(ArchiveReader, RefusesAMethodThatIsNotKnown) {
  HandMade archive({{u"a", "content"}});
  archive.method = 0x7F;
  EXPECT_FALSE(read(archive.bytes()));
}

// ---- entries ----------------------------------------------------------------------------------

TEST_F(ArchiveReader, KeepsEmptyFilesAndLeavesDirectoriesOut) {
  ASSERT_TRUE(read(
      HandMade({{u"sub", "", kDirectory, true}, {u"sub/empty"}, {u"sub/full", "x"}, {u"plain", "", 0, true}}).bytes()));
  EXPECT_EQ(files, (Files{{L"sub/empty", ""}, {L"sub/full", "x"}}));
}

TEST_F(ArchiveReader, RefusesADirectoryWithContent) {
  EXPECT_FALSE(read(HandMade({{u"sub", "content", kDirectory}}).bytes()));
}

TEST_F(ArchiveReader, RefusesWhatIsNeitherFileNorDirectory) {
  EXPECT_FALSE(read(HandMade({{u"a", "content", kRegularFile}, {u"link", "a", kSymbolicLink}}).bytes()));
  EXPECT_FALSE(read(HandMade({{u"pipe", "x", kPipe}}).bytes()));
  EXPECT_FALSE(read(HandMade({{u"pipe", "", kPipe}}).bytes()));
}

TEST_F(ArchiveReader, TakesAttributesOfWindowsForAFile) {
  constexpr uint32_t kPinnedArchiveReadOnly = 0x00080021;
  ASSERT_TRUE(read(HandMade({{u"a", "content", kPinnedArchiveReadOnly}}).bytes()));
  EXPECT_EQ(files, (Files{{L"a", "content"}}));
}

TEST_F(ArchiveReader, RefusesTwoFilesOfOneName) {
  EXPECT_FALSE(read(HandMade({{u"a", "first"}, {u"a", "second"}}).bytes()));
  EXPECT_FALSE(read(HandMade({{u"a", "same"}, {u"a", "same"}}).bytes()));
  EXPECT_TRUE(read(HandMade({{u"a", "first"}, {u"A", "second"}}).bytes()));
}

TEST_F(ArchiveReader, RefusesAFileWithoutAName) {
  EXPECT_FALSE(read(HandMade({{u"", "content"}}).bytes()));
}

TEST_F(ArchiveReader, KeepsNamesAsTheyAre) {
  const std::vector<std::pair<std::u16string, std::wstring>> names = {
      {u"a/b.txt", L"a/b.txt"},
      {u"a\\b.txt", L"a\\b.txt"},
      {u"../x", L"../x"},
      {u"/x", L"/x"},
      {u"c:x", L"c:x"},
      {u"./x", L"./x"},
      {u"a//b", L"a//b"},
      {u" blank ", L" blank "},
      {u"\u00FC\u6587\u0416", L"\u00FC\u6587\u0416"},
      {u"\U0001F388", L"\U0001F388"},
      {std::u16string(300, u'n'), std::wstring(300, L'n')}};
  for (const auto& [stored, expected] : names) {
    ASSERT_TRUE(read(HandMade({{stored, "content"}}).bytes())) << testing::PrintToString(expected);
    EXPECT_EQ(files, (Files{{expected, "content"}}));
  }
}

TEST_F(ArchiveReader, RefusesANameThatIsNoText) {
  EXPECT_FALSE(read(HandMade({{u"a\xD83C", "content"}}).bytes()));
  EXPECT_FALSE(read(HandMade({{u"\xDF88z", "content"}}).bytes()));
}

TEST_F(ArchiveReader, ReadsWhatLibarchiveWrites) {
  const std::string text(100'000, 't');
  for (const char* compression : {"lzma1", "lzma2", "ppmd", "copy"}) {
    ASSERT_TRUE(read(packed({{L"zuimpl.dll", text}, {L"sub/\u6587.txt", ""}}, compression))) << compression;
    EXPECT_TRUE(files == (Files{{L"zuimpl.dll", text}, {L"sub/\u6587.txt", ""}}));
  }
}

// ---- limits -----------------------------------------------------------------------------------

TEST_F(ArchiveReader, ReadsExactlyTheLimitAndNoByteMore) {
  const std::string archive = HandMade({{u"a", "12345"}, {u"b", ""}, {u"c", "678"}}).bytes();
  EXPECT_TRUE(read(archive, 8));
  EXPECT_FALSE(read(archive, 7));
  EXPECT_FALSE(read(archive, 0));
}

TEST_F(ArchiveReader, RefusesClaimsThatItsBytesDoNotHold) {
  HandMade archive({{u"a", "content"}});
  for (const uint64_t claim : {uint64_t{8}, kMaxUnpackedBytes, kMaxUnpackedBytes + 1, uint64_t{1} << 40, UINT64_MAX}) {
    archive.unpackedSize = claim;
    EXPECT_FALSE(read(archive.bytes())) << claim;
  }
}

}  // namespace
}  // namespace hxutility
