#include "StartHeader.h"

namespace hxutility::test {

std::string withStartHeader(std::string_view packedStreams, std::string_view header) {
  const std::string rest =
      littleEndian(packedStreams.size(), 8) + littleEndian(header.size(), 8) + littleEndian(checksum(header), 4);
  std::string archive("7z\xBC\xAF\x27\x1C\0\x04", 8);
  archive += littleEndian(checksum(rest), 4) + rest;
  archive += packedStreams;
  archive += header;
  return archive;
}

std::string littleEndian(uint64_t value, size_t size) {
  std::string bytes;
  for (size_t i = 0; i < size; ++i) bytes += static_cast<char>(value >> 8 * i & 0xFF);
  return bytes;
}

uint32_t checksum(std::string_view bytes) {
  uint32_t crc = ~0U;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320U : 0U);
  }
  return ~crc;
}

}  // namespace hxutility::test
