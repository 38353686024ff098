#include "binary/PeFile.h"

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace zuvia::test {

namespace {

// Of a module that is loaded at its first use: the second of the eight fields names it.
constexpr size_t kDelayedImportSize = 32;
constexpr size_t kDelayedImportName = 4;

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

std::string asUtf16(std::string_view text) {
  std::string wide;
  for (const char c : text) wide.append({c, '\0'});
  return wide;
}

// Whether the text occurs in the bytes without the other one directly before it.
bool startsSomewhere(const std::string& bytes, const std::string& text, const std::string& exceptAfter) {
  for (size_t at = bytes.find(text); at != std::string::npos; at = bytes.find(text, at + 1)) {
    const bool preceded =
        at >= exceptAfter.size() && bytes.compare(at - exceptAfter.size(), exceptAfter.size(), exceptAfter) == 0;
    if (!preceded) return true;
  }
  return false;
}

}  // namespace

PeFile::PeFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  bytes_.assign(std::istreambuf_iterator<char>(file), {});
  if (!file || bytes_.empty()) throw std::runtime_error("cannot read " + path.string());

  const auto dos = read<IMAGE_DOS_HEADER>(0);
  headers_ = static_cast<size_t>(dos.e_lfanew);
  const auto nt = read<IMAGE_NT_HEADERS64>(headers_);
  if (dos.e_magic != IMAGE_DOS_SIGNATURE || nt.Signature != IMAGE_NT_SIGNATURE ||
      nt.OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC) {
    throw std::runtime_error(path.string() + " is no 64-bit image");
  }
}

uint16_t PeFile::machine() const {
  return read<IMAGE_NT_HEADERS64>(headers_).FileHeader.Machine;
}

bool PeFile::isModule() const {
  return (read<IMAGE_NT_HEADERS64>(headers_).FileHeader.Characteristics & IMAGE_FILE_DLL) != 0;
}

uint16_t PeFile::dllCharacteristics() const {
  return read<IMAGE_NT_HEADERS64>(headers_).OptionalHeader.DllCharacteristics;
}

bool PeFile::hasRelocations() const {
  const auto header = read<IMAGE_NT_HEADERS64>(headers_).FileHeader;
  return (header.Characteristics & IMAGE_FILE_RELOCS_STRIPPED) == 0 &&
         directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).size > sizeof(IMAGE_BASE_RELOCATION);
}

bool PeFile::hasDebugDirectory() const {
  return directory(IMAGE_DIRECTORY_ENTRY_DEBUG).size != 0;
}

bool PeFile::hasSymbols() const {
  return read<IMAGE_NT_HEADERS64>(headers_).FileHeader.NumberOfSymbols != 0;
}

std::vector<PeSection> PeFile::sections() const {
  const auto header = read<IMAGE_NT_HEADERS64>(headers_).FileHeader;
  const size_t first = headers_ + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + header.SizeOfOptionalHeader;
  std::vector<PeSection> sections;
  for (size_t i = 0; i < header.NumberOfSections; ++i) {
    const auto section = read<IMAGE_SECTION_HEADER>(first + i * sizeof(IMAGE_SECTION_HEADER));
    const auto* const name = reinterpret_cast<const char*>(section.Name);
    sections.push_back({.name = std::string(name, strnlen(name, sizeof section.Name)),
                        .address = section.VirtualAddress,
                        .offset = section.PointerToRawData,
                        .size = section.SizeOfRawData,
                        .writable = (section.Characteristics & IMAGE_SCN_MEM_WRITE) != 0,
                        .executable = (section.Characteristics & IMAGE_SCN_MEM_EXECUTE) != 0,
                        .shared = (section.Characteristics & IMAGE_SCN_MEM_SHARED) != 0});
  }
  return sections;
}

size_t PeFile::exportedFunctions() const {
  const Range range = directory(IMAGE_DIRECTORY_ENTRY_EXPORT);
  return range.size == 0 ? 0 : read<IMAGE_EXPORT_DIRECTORY>(offsetOf(range.address)).NumberOfFunctions;
}

std::vector<PeExport> PeFile::exports() const {
  const Range range = directory(IMAGE_DIRECTORY_ENTRY_EXPORT);
  if (range.size == 0) return {};

  const auto table = read<IMAGE_EXPORT_DIRECTORY>(offsetOf(range.address));
  std::vector<PeExport> exports;
  for (size_t i = 0; i < table.NumberOfNames; ++i) {
    const auto name = read<DWORD>(offsetOf(table.AddressOfNames) + i * sizeof(DWORD));
    const auto ordinal = read<WORD>(offsetOf(table.AddressOfNameOrdinals) + i * sizeof(WORD));
    const auto target = read<DWORD>(offsetOf(table.AddressOfFunctions) + ordinal * sizeof(DWORD));
    exports.push_back({.name = textAt(name), .forwarded = target - range.address < range.size});
  }
  return exports;
}

std::set<std::string> PeFile::imports() const {
  auto found =
      importsOf(IMAGE_DIRECTORY_ENTRY_IMPORT, sizeof(IMAGE_IMPORT_DESCRIPTOR), offsetof(IMAGE_IMPORT_DESCRIPTOR, Name));
  found.merge(importsOf(IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT, kDelayedImportSize, kDelayedImportName));
  return found;
}

std::set<std::string> PeFile::importsOf(size_t index, size_t descriptorSize, size_t nameOffset) const {
  const Range range = directory(index);
  if (range.size == 0) return {};

  std::set<std::string> found;
  for (size_t offset = offsetOf(range.address) + nameOffset;; offset += descriptorSize) {
    const auto name = read<DWORD>(offset);
    if (name == 0) return found;
    found.insert(lowerCase(textAt(name)));
  }
}

bool PeFile::containsPath(std::string_view path) const {
  std::string backslashed(path);
  std::replace(backslashed.begin(), backslashed.end(), '/', '\\');
  for (const std::string& spelling : {std::string(path), backslashed}) {
    if (startsSomewhere(bytes_, spelling, ".") || startsSomewhere(bytes_, asUtf16(spelling), asUtf16("."))) return true;
  }
  return false;
}

template <class Type>
Type PeFile::read(size_t offset) const {
  if (offset > bytes_.size() || bytes_.size() - offset < sizeof(Type)) throw std::runtime_error("the image ends early");
  Type value;
  std::memcpy(&value, bytes_.data() + offset, sizeof value);
  return value;
}

PeFile::Range PeFile::directory(size_t index) const {
  const auto header = read<IMAGE_NT_HEADERS64>(headers_).OptionalHeader;
  if (index >= header.NumberOfRvaAndSizes) return {};
  return {header.DataDirectory[index].VirtualAddress, header.DataDirectory[index].Size};
}

size_t PeFile::offsetOf(size_t address) const {
  for (const PeSection& section : sections()) {
    if (address >= section.address && address - section.address < section.size) {
      return address - section.address + section.offset;
    }
  }
  throw std::runtime_error("an address lies outside of every section");
}

std::string PeFile::textAt(size_t address) const {
  const size_t begin = offsetOf(address);
  const size_t end = bytes_.find('\0', begin);
  if (end == std::string::npos) throw std::runtime_error("a text does not end");
  return bytes_.substr(begin, end - begin);
}

}  // namespace zuvia::test
