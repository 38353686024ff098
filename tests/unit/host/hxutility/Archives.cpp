#include "Archives.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <memory>

namespace hxutility::test {
namespace {

const std::filesystem::path kMade(HOST_TEST_ARCHIVES);

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string joined(std::initializer_list<std::string_view> parts) {
  std::string whole;
  for (const std::string_view part : parts) whole += part;
  return whole;
}

// A property of a header: its id, its size and its bytes.
std::string property(const char* id, const std::string& bytes) {
  return joined({id, number(bytes.size()), bytes});
}

std::string bits(const std::vector<bool>& flags) {
  std::string bytes((flags.size() + 7) / 8, '\0');
  for (size_t i = 0; i < flags.size(); ++i) {
    if (flags[i]) bytes[i / 8] = static_cast<char>(bytes[i / 8] | 0x80 >> i % 8);
  }
  return bytes;
}

la_ssize_t appendTo(archive*, void* target, const void* bytes, size_t size) {
  static_cast<std::string*>(target)->append(static_cast<const char*>(bytes), size);
  return static_cast<la_ssize_t>(size);
}

void writeFile(archive* writer, const std::wstring& name, const std::string& content) {
  const std::unique_ptr<archive_entry, decltype(&archive_entry_free)> entry(archive_entry_new(), archive_entry_free);
  archive_entry_copy_pathname_w(entry.get(), name.c_str());
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), 0644);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
  EXPECT_EQ(archive_write_header(writer, entry.get()), ARCHIVE_OK) << archive_error_string(writer);
  EXPECT_EQ(archive_write_data(writer, content.data(), content.size()), static_cast<la_ssize_t>(content.size()));
}

}  // namespace

std::string madeBySevenZip(const std::string& name) {
  return contentOf(kMade / (name + ".7z"));
}

std::string madeBySevenZipVolume(const std::string& name, const std::string& number) {
  return contentOf(kMade / (name + ".7z." + number));
}

std::map<std::wstring, std::string> packedTree() {
  const std::pair<const wchar_t*, const char8_t*> names[] = {
      {L"zuimpl.dll", u8"zuimpl.dll"},
      {L"empty.txt", u8"empty.txt"},
      {L"sub/x.txt", u8"sub/x.txt"},
      {L"sub/deep/random.bin", u8"sub/deep/random.bin"},
      {L"sub/\u00DCn\u00EF \u6587\u4EF6 \U0001F388.txt", u8"sub/\u00DCn\u00EF \u6587\u4EF6 \U0001F388.txt"}};
  std::map<std::wstring, std::string> files;
  for (const auto& [name, path] : names) files[name] = contentOf(kMade / "tree" / path);
  return files;
}

std::string packed(const std::vector<std::pair<std::wstring, std::string>>& files, const char* compression) {
  std::string bytes;
  archive* const writer = archive_write_new();
  EXPECT_EQ(archive_write_set_format_7zip(writer), ARCHIVE_OK);
  EXPECT_EQ(archive_write_set_format_option(writer, nullptr, "compression", compression), ARCHIVE_OK);
  EXPECT_EQ(archive_write_set_bytes_in_last_block(writer, 1), ARCHIVE_OK);
  EXPECT_EQ(archive_write_open(writer, &bytes, nullptr, appendTo, nullptr), ARCHIVE_OK);
  for (const auto& [name, content] : files) writeFile(writer, name, content);
  EXPECT_EQ(archive_write_close(writer), ARCHIVE_OK) << archive_error_string(writer);
  archive_write_free(writer);
  return bytes;
}

std::string HandMade::bytes() const {
  return withStartHeader(packedStreams(), header());
}

std::string HandMade::packedStreams() const {
  std::string streams;
  for (const Entry& entry : entries_) streams += entry.content;
  return streams;
}

std::string HandMade::header() const {
  return joined({"\x01", streamsInfo(), filesInfo(), {"\0", 1}});
}

std::string HandMade::streamsInfo() const {
  const auto files = withContent();
  const size_t size = packedStreams().size();
  std::string sizes;
  std::string checksums;
  for (const Entry& entry : files) {
    sizes += number(entry.content.size());
    checksums += littleEndian(checksums.empty() && firstChecksum ? *firstChecksum : checksum(entry.content), 4);
  }
  if (!files.empty()) sizes.resize(sizes.size() - number(files.back().content.size()).size());  // the last one follows

  return joined({"\x04\x06",
                 number(0),
                 number(1),
                 "\x09",
                 number(size),
                 {"\0", 1},  // one packed stream
                 "\x07\x0B",
                 number(1),
                 {"\0\x01\x01", 3},
                 {&method, 1},  // one block, stored
                 "\x0C",
                 number(unpackedSize.value_or(size)),
                 {"\0", 1},  //
                 "\x08\x0D",
                 number(streamCount.value_or(files.size())),  // several files in it
                 sizes.empty() ? "" : "\x09",
                 sizes,
                 "\x0A\x01",
                 checksums,
                 {"\0\0", 2}});
}

std::string HandMade::filesInfo() const {
  std::string names(1, '\0');
  std::string attributes;
  std::vector<bool> hasNoContent;
  std::vector<bool> isFile;
  for (const Entry& entry : entries_) {
    for (const char16_t unit : entry.name + u'\0') names += littleEndian(unit, 2);
    hasNoContent.push_back(entry.content.empty());
    if (entry.content.empty()) isFile.push_back(!entry.isDirectory);
    attributes += littleEndian(entry.attributes, 4);
  }
  std::string info = joined({"\x05", number(fileCount.value_or(entries_.size()))});
  if (!isFile.empty()) info += joined({property("\x0E", bits(hasNoContent)), property("\x0F", bits(isFile))});
  info += property("\x11", names);
  info += property("\x15", joined({{"\x01\0", 2}, attributes}));
  return info + '\0';
}

std::vector<HandMade::Entry> HandMade::withContent() const {
  std::vector<Entry> files;
  std::ranges::copy_if(entries_, std::back_inserter(files), [](const Entry& entry) { return !entry.content.empty(); });
  return files;
}

std::string number(uint64_t value) {
  return joined({"\xFF", littleEndian(value, 8)});  // eight bytes follow
}

}  // namespace hxutility::test
