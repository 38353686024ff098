#include "ModuleBytes.h"

#include <windows.h>

#include <cstddef>

namespace zuvia::test {

std::string moduleBytes(std::size_t table, const std::string& section) {
  IMAGE_DOS_HEADER begin{};
  begin.e_magic = IMAGE_DOS_SIGNATURE;
  begin.e_lfanew = sizeof begin;
  IMAGE_NT_HEADERS64 headers{};
  headers.Signature = IMAGE_NT_SIGNATURE;
  headers.FileHeader.Machine = IMAGE_FILE_MACHINE_AMD64;
  headers.FileHeader.NumberOfSections = 1;
  headers.FileHeader.SizeOfOptionalHeader = sizeof headers.OptionalHeader;
  headers.FileHeader.Characteristics = IMAGE_FILE_DLL;
  headers.OptionalHeader.Magic = IMAGE_NT_OPTIONAL_HDR64_MAGIC;
  headers.OptionalHeader.SizeOfHeaders = sizeof begin + sizeof headers + sizeof(IMAGE_SECTION_HEADER);
  headers.OptionalHeader.NumberOfRvaAndSizes = IMAGE_NUMBEROF_DIRECTORY_ENTRIES;
  headers.OptionalHeader.DataDirectory[table].VirtualAddress = kSectionAddress;
  IMAGE_SECTION_HEADER place{};
  place.VirtualAddress = kSectionAddress;
  place.SizeOfRawData = static_cast<DWORD>(section.size());
  place.PointerToRawData = headers.OptionalHeader.SizeOfHeaders;
  return bytesOf(begin) + bytesOf(headers) + bytesOf(place) + section;
}

}  // namespace zuvia::test
