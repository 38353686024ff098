#include "ArchiveReader.h"

#include <archive.h>
#include <archive_entry.h>

#include <array>
#include <memory>
#include <optional>

namespace hxutility {
namespace {

constexpr std::string_view kSignature("7z\xBC\xAF\x27\x1C", 6);
constexpr size_t kStartHeaderSize = 32;

struct ArchiveDeleter {
  void operator()(archive* reader) const { archive_read_free(reader); }
};
using ArchiveHandle = std::unique_ptr<archive, ArchiveDeleter>;

uint64_t littleEndian(std::string_view bytes) {
  uint64_t value = 0;
  for (size_t i = bytes.size(); i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[i]);
  return value;
}

uint32_t crc32(std::string_view bytes) {
  uint32_t crc = 0xFFFFFFFF;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
  }
  return ~crc;
}

// The start header: signature (6 bytes), format version (2, the first of them 0), checksum of the
// rest (4), then offset behind this header (8), size (8) and checksum (4) of the header at the end.
// libarchive itself skips a program in front, ignores what follows, and does not look at the checksum.
bool hasWholeStartHeader(std::string_view archive) {
  if (archive.size() < kStartHeaderSize || !archive.starts_with(kSignature) || archive[6] != 0) return false;
  if (littleEndian(archive.substr(8, 4)) != crc32(archive.substr(12, 20))) return false;
  const uint64_t rest = archive.size() - kStartHeaderSize;
  const uint64_t offset = littleEndian(archive.substr(12, 8));
  const uint64_t size = littleEndian(archive.substr(20, 8));
  return offset <= rest && size == rest - offset;
}

// Null when libarchive has no memory; a reader that could not open the archive fails at its first entry.
ArchiveHandle openArchive(std::string_view bytes) {
  ArchiveHandle reader(archive_read_new());
  if (reader == nullptr) return nullptr;
  if (archive_read_support_format_7zip(reader.get()) != ARCHIVE_OK) return nullptr;
  if (archive_read_open_memory(reader.get(), bytes.data(), bytes.size()) != ARCHIVE_OK) return nullptr;
  return reader;
}

bool isDirectory(archive_entry* entry) {
  return archive_entry_filetype(entry) == AE_IFDIR;
}

// Type 0: a file whose archive says nothing about types, or says other things in the same bits.
bool isFile(archive_entry* entry) {
  const auto type = archive_entry_filetype(entry);
  return type == AE_IFREG || type == 0;
}

uint64_t claimedSize(archive_entry* entry) {
  return static_cast<uint64_t>(archive_entry_size(entry));
}

// Reads the content of the present entry, which is `size` bytes long. Empty when it is damaged or of another length.
std::optional<std::string> readContent(archive* reader, uint64_t size) {
  std::string content;
  content.reserve(size);
  for (;;) {
    const void* block = nullptr;
    size_t count = 0;
    la_int64_t offset = 0;
    const int result = archive_read_data_block(reader, &block, &count, &offset);
    if (result == ARCHIVE_EOF && content.size() == size) return content;
    // Warnings too: that is how a wrong checksum is reported.
    if (result != ARCHIVE_OK || static_cast<uint64_t>(offset) != content.size()) return std::nullopt;
    if (count > size - content.size()) return std::nullopt;
    content.append(static_cast<const char*>(block), count);
  }
}

// Reads the present entry. Returns false when it is not a whole, uniquely named file.
bool readFile(archive* reader, archive_entry* entry, uint64_t maxBytes, Files& files) {
  const wchar_t* name = archive_entry_pathname_w(entry);
  if (name == nullptr || *name == L'\0' || files.contains(name)) return false;
  if (!isFile(entry) || archive_entry_is_encrypted(entry) != 0 || claimedSize(entry) > maxBytes) return false;
  auto content = readContent(reader, claimedSize(entry));
  if (!content) return false;
  files.emplace(name, std::move(*content));
  return true;
}

}  // namespace

bool readArchive(std::string_view archive, uint64_t maxUnpackedBytes, Files& files) {
  if (!hasWholeStartHeader(archive)) return false;
  const ArchiveHandle reader = openArchive(archive);
  if (reader == nullptr) return false;
  uint64_t bytesLeft = maxUnpackedBytes;
  for (;;) {
    archive_entry* entry = nullptr;
    const int result = archive_read_next_header(reader.get(), &entry);
    if (result == ARCHIVE_EOF) return true;
    if (result != ARCHIVE_OK) return false;
    if (isDirectory(entry) && claimedSize(entry) == 0) continue;
    if (!readFile(reader.get(), entry, bytesLeft, files)) return false;
    bytesLeft -= claimedSize(entry);
  }
}

}  // namespace hxutility
