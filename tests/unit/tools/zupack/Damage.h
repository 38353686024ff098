#pragma once

#include <cstring>
#include <string>

#include "platform/Windows.h"

namespace zuvia::test {

// Where the file header of a program or module stands in its bytes.
inline std::size_t fileHeaderOffset(const std::string& module) {
  IMAGE_DOS_HEADER dos{};
  std::memcpy(&dos, module.data(), sizeof dos);
  return static_cast<std::size_t>(dos.e_lfanew) + sizeof(DWORD);
}

// The module with another architecture in its header.
inline std::string withMachine(std::string module, WORD machine) {
  std::memcpy(module.data() + fileHeaderOffset(module) + offsetof(IMAGE_FILE_HEADER, Machine), &machine,
              sizeof machine);
  return module;
}

// The module as a program.
inline std::string asProgram(std::string module) {
  const std::size_t offset = fileHeaderOffset(module) + offsetof(IMAGE_FILE_HEADER, Characteristics);
  WORD characteristics = 0;
  std::memcpy(&characteristics, module.data() + offset, sizeof characteristics);
  characteristics = static_cast<WORD>(characteristics & ~IMAGE_FILE_DLL);
  std::memcpy(module.data() + offset, &characteristics, sizeof characteristics);
  return module;
}

}  // namespace zuvia::test
