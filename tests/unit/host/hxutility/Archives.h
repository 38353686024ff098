#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "StartHeader.h"

// Archives for the tests of the reader, from three sources: the real 7-Zip program, libarchive, and byte by byte.

namespace hxutility::test {

// Made by make-archives when the tests were built; the name has no extension.
std::string madeBySevenZip(const std::string& name);
std::string madeBySevenZipVolume(const std::string& name, const std::string& number);

// The files that make-archives packed.
std::map<std::wstring, std::string> packedTree();

// Packs with libarchive, as one solid block. compression: "lzma1", "lzma2", "ppmd" or "copy".
std::string packed(const std::vector<std::pair<std::wstring, std::string>>& files, const char* compression = "lzma1");

// An archive put together byte by byte, its contents stored as they are.
class HandMade {
 public:
  struct Entry {
    std::u16string name;
    std::string content = {};
    uint32_t attributes = 0;
    bool isDirectory = false;
  };

  explicit HandMade(std::vector<Entry> entries) : entries_(std::move(entries)) {}

  // What the header says instead of the truth.
  std::optional<uint64_t> streamCount;
  std::optional<uint64_t> fileCount;
  std::optional<uint64_t> unpackedSize;
  std::optional<uint32_t> firstChecksum;
  char method = 0;  // "stored"

  std::string bytes() const;

 private:
  std::string packedStreams() const;
  std::string header() const;
  std::string streamsInfo() const;
  std::string filesInfo() const;
  std::vector<Entry> withContent() const;

  std::vector<Entry> entries_;
};

// A number in the notation of 7z headers.
std::string number(uint64_t value);

}  // namespace hxutility::test
