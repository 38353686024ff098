#include "ArchiveReader.h"

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <string>

#include "StartHeader.h"
#include "Targets.h"

namespace zuvia::fuzz {

namespace {

using hxutility::Files;
using hxutility::readArchive;

// Small, so that an input which unpacks to much costs little time.
constexpr uint64_t kLimit = 1'048'576;

constexpr size_t kStartHeaderSize = 32;

// Off Windows, names outside ASCII need it.
void useUtf8() {
  [[maybe_unused]] static const char* const locale = std::setlocale(LC_CTYPE, "C.UTF-8");
}

uint64_t sizeOf(const Files& files) {
  uint64_t size = 0;
  for (const auto& [name, content] : files) size += content.size();
  return size;
}

bool isReadable(std::string_view archive, uint64_t limit) {
  Files files;
  return readArchive(archive, limit, files);
}

void check(const std::string& archive) {
  Files files;
  const bool whole = readArchive(archive, kLimit, files);
  const uint64_t size = sizeOf(files);
  require(size <= kLimit, "no more is unpacked than may be");
  for (const auto& [name, content] : files) {
    require(!name.empty() && name.find(L'\0') == std::wstring::npos, "every file has a name");
  }
  if (!whole) return;
  Files again;
  require(readArchive(archive, size, again) && again == files, "an archive has the same files every time");
  require(size == 0 || !isReadable(archive, size - 1), "one byte less than its size is too little");
  require(!isReadable(archive + '\0', kLimit), "nothing may be behind an archive");
  require(!isReadable(std::string_view(archive).substr(0, archive.size() - 1), kLimit), "nothing may be missing");
}

uint64_t statedHeaderSize(std::string_view startHeader) {
  uint64_t size = 0;
  for (size_t i = 28; i-- > 20;) size = size << 8 | static_cast<unsigned char>(startHeader[i]);
  return size;
}

// The input with sizes and checksums that are right, which a change made at random hardly ever leaves.
std::string repaired(std::string_view input) {
  const std::string_view rest = input.substr(kStartHeaderSize);
  const size_t headerSize = std::min<uint64_t>(statedHeaderSize(input), rest.size());
  const size_t packedSize = rest.size() - headerSize;
  return hxutility::test::withStartHeader(rest.substr(0, packedSize), rest.substr(packedSize));
}

}  // namespace

void archiveReader(std::string_view input) {
  useUtf8();
  check(std::string(input));
  if (input.size() >= kStartHeaderSize) check(repaired(input));
}

}  // namespace zuvia::fuzz
