#pragma once

#include <cstdint>
#include <string>

namespace zuvia::test {

// Where the one section of moduleBytes() lies in the loaded module.
inline constexpr std::uint32_t kSectionAddress = 0x1000;

// The bytes of a DLL for x64 with one section. Its table of this kind (IMAGE_DIRECTORY_ENTRY_…), the only one, begins
// where the section does. Nobody can load it; readers of modules can be told anything by it.
std::string moduleBytes(std::size_t table, const std::string& section);

// The bytes of a value, to put a section together.
template <class Type>
std::string bytesOf(const Type& value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

}  // namespace zuvia::test
