#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace hxutility::test {

// Puts a start header in front of packed streams and their header. The checksums are right.
std::string withStartHeader(std::string_view packedStreams, std::string_view header);

// A number as size bytes, lowest first.
std::string littleEndian(uint64_t value, size_t size);

// The checksum that 7z uses, CRC-32.
uint32_t checksum(std::string_view bytes);

}  // namespace hxutility::test
