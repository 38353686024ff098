#include "support/ImportTable.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <system_error>

namespace zuvia::test {
namespace {

template <typename Type>
const Type* at(HMODULE module, std::size_t offset) {
  return reinterpret_cast<const Type*>(reinterpret_cast<const std::byte*>(module) + offset);
}

const IMAGE_IMPORT_DESCRIPTOR* firstDescriptor(HMODULE module) {
  const auto dosOffset = static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(module, 0)->e_lfanew);
  const auto& optional = at<IMAGE_NT_HEADERS64>(module, dosOffset)->OptionalHeader;
  const auto& directory = optional.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  return directory.Size == 0 ? nullptr : at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
}

Import describe(HMODULE module, const char* library, ULONGLONG name, ULONGLONG entryOffset) {
  Import import;
  import.library = library;
  if (IMAGE_SNAP_BY_ORDINAL64(name)) {
    import.ordinal = static_cast<WORD>(IMAGE_ORDINAL64(name));
  } else {
    // A two-byte hint stands before the name.
    import.function = at<char>(module, static_cast<std::size_t>(name) + sizeof(WORD));
  }
  import.entry = const_cast<void**>(at<void*>(module, static_cast<std::size_t>(entryOffset)));
  return import;
}

// Two names of one address: what a library forwards counts as well.
bool leadsTo(const Import& import, const std::string& function) {
  const HMODULE library = GetModuleHandleA(import.library.c_str());
  const FARPROC wanted = library == nullptr ? nullptr : GetProcAddress(library, function.c_str());
  const auto byOrdinal = reinterpret_cast<const char*>(static_cast<std::uintptr_t>(import.ordinal));
  return wanted != nullptr && GetProcAddress(library, byOrdinal) == wanted;
}

bool matches(const Import& import, const std::string& function, const std::string& library) {
  if (!library.empty() && _stricmp(import.library.c_str(), library.c_str()) != 0) return false;
  return import.ordinal == 0 ? import.function == function : leadsTo(import, function);
}

}  // namespace

std::vector<Import> importsOf(HMODULE module) {
  std::vector<Import> imports;
  const IMAGE_IMPORT_DESCRIPTOR* descriptor = firstDescriptor(module);
  for (; descriptor != nullptr && descriptor->Name != 0; ++descriptor) {
    const char* library = at<char>(module, descriptor->Name);
    const auto* names = at<ULONGLONG>(module, descriptor->OriginalFirstThunk);
    for (std::size_t i = 0; names[i] != 0; ++i) {
      imports.push_back(describe(module, library, names[i], descriptor->FirstThunk + i * sizeof(void*)));
    }
  }
  return imports;
}

std::vector<Import> findImports(HMODULE module, const std::string& function, const std::string& library) {
  std::vector<Import> imports = importsOf(module);
  std::erase_if(imports, [&](const Import& import) { return !matches(import, function, library); });
  return imports;
}

void* exchangeEntry(void** entry, void* value) {
  // Two entries may share a page: one thread at a time changes and restores its protection.
  static std::mutex protectionMutex;
  const std::lock_guard lock(protectionMutex);
  DWORD protection = 0;
  if (!VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &protection)) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "VirtualProtect");
  }
  void* previous = std::atomic_ref<void*>(*entry).exchange(value);
  VirtualProtect(entry, sizeof *entry, protection, &protection);
  return previous;
}

}  // namespace zuvia::test
