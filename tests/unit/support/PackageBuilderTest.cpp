#include "support/PackageBuilder.h"

#include <archive.h>
#include <archive_entry.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/Digest.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

std::vector<std::pair<std::wstring, std::string>> unpack(const std::string& package) {
  std::vector<std::pair<std::wstring, std::string>> entries;
  const std::unique_ptr<archive, decltype(&archive_read_free)> reader(archive_read_new(), &archive_read_free);
  archive_read_support_format_7zip(reader.get());
  if (archive_read_open_memory(reader.get(), package.data(), package.size()) != ARCHIVE_OK) return entries;
  archive_entry* entry = nullptr;
  while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
    std::string content(static_cast<std::size_t>(archive_entry_size(entry)), '\0');
    archive_read_data(reader.get(), content.data(), content.size());
    entries.emplace_back(archive_entry_pathname_w(entry), content);
  }
  return entries;
}

TEST(PackageBuilder, KeepsNamesOrderAndContents) {
  PackageBuilder builder;
  builder.add(L"z\u4e2d.txt", "1").add(L"..\\a/b:c", std::string(100'000, 'x')).add(L"empty", "");
  EXPECT_THAT(unpack(builder.build()),
              testing::UnorderedElementsAre(Pair(L"z\u4e2d.txt", "1"), Pair(L"..\\a/b:c", std::string(100'000, 'x')),
                                            Pair(L"empty", "")));
}

TEST(PackageBuilder, KnowsTheMethods) {
  for (const char* method : {"copy", "lzma1", "lzma2", "ppmd"}) {
    EXPECT_THAT(unpack(PackageBuilder(method).add(L"file", "content").build()), ElementsAre(Pair(L"file", "content")))
        << method;
  }
  EXPECT_THROW(PackageBuilder("none").build(), std::runtime_error);
}

TEST(Digest, IsTheKnownOne) {
  EXPECT_EQ(md5(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(md5("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace zuvia::test
