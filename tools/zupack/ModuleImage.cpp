#include "zupack/ModuleImage.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <utility>

#include "platform/Windows.h"
#include "shared/CommandLine.h"

namespace zuvia::zupack {
namespace {

using tools::Failure;

constexpr const char* kNoModule = "it is no Windows program or library";
constexpr std::size_t kMaxTextLength = 4096;  // decorated names are long
constexpr std::size_t kMaxNames = 65536;      // of one table; more than an export table can have
constexpr std::size_t kMaxLibraries = 4096;
constexpr std::size_t kMaxNameBytes = 16 << 20;  // of all entries: tables may overlap as often as they like

class Image {
 public:
  explicit Image(std::string_view bytes) : bytes_(bytes) {
    if (!bytes.starts_with("MZ")) throw Failure(kNoModule);
    headers_ = static_cast<std::size_t>(static_cast<std::uint32_t>(read<IMAGE_DOS_HEADER>(0).e_lfanew));
    if (read<DWORD>(headers_) != IMAGE_NT_SIGNATURE) throw Failure(kNoModule);
    file_ = read<IMAGE_FILE_HEADER>(headers_ + sizeof(DWORD));
    readOptionalHeader();
    readSections();
  }

  const IMAGE_FILE_HEADER& file() const { return file_; }
  std::vector<ImportedLibrary> imports();
  std::vector<ImportedLibrary> delayedImports();
  std::vector<std::string> exports();

 private:
  template <class Type>
  Type read(std::size_t offset) const {
    if (offset > bytes_.size() || bytes_.size() - offset < sizeof(Type)) throw Failure("it ends early");
    Type value;
    std::memcpy(&value, bytes_.data() + offset, sizeof value);
    return value;
  }

  template <class Type>
  Type readAt(std::uint64_t address) const {
    return read<Type>(offsetOf(address));
  }

  template <class Header>
  void keepDirectories(std::size_t offset) {
    const auto header = read<Header>(offset);
    wholeHeaders_ = header.SizeOfHeaders;
    base_ = header.ImageBase;
    std::copy_n(std::begin(header.DataDirectory),
                std::min<std::size_t>(header.NumberOfRvaAndSizes, directories_.size()), directories_.begin());
  }

  void readOptionalHeader() {
    const std::size_t offset = headers_ + sizeof(DWORD) + sizeof(IMAGE_FILE_HEADER);
    const WORD magic = read<WORD>(offset);
    if (magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC && magic != IMAGE_NT_OPTIONAL_HDR32_MAGIC) {
      throw Failure(kNoModule);
    }
    isWide_ = magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC;
    if (isWide_) {
      keepDirectories<IMAGE_OPTIONAL_HEADER64>(offset);
    } else {
      keepDirectories<IMAGE_OPTIONAL_HEADER32>(offset);
    }
  }

  void readSections() {
    const std::size_t first = headers_ + sizeof(DWORD) + sizeof(IMAGE_FILE_HEADER) + file_.SizeOfOptionalHeader;
    for (std::size_t index = 0; index < file_.NumberOfSections; ++index) {
      sections_.push_back(read<IMAGE_SECTION_HEADER>(first + index * sizeof(IMAGE_SECTION_HEADER)));
    }
  }

  // From an address relative to the image to a place in the file.
  std::size_t offsetOf(std::uint64_t address) const {
    if (address < wholeHeaders_) return static_cast<std::size_t>(address);
    for (const IMAGE_SECTION_HEADER& section : sections_) {
      if (address >= section.VirtualAddress && address - section.VirtualAddress < section.SizeOfRawData) {
        return static_cast<std::size_t>(address - section.VirtualAddress + section.PointerToRawData);
      }
    }
    throw Failure("a table of it lies outside of the file");
  }

  std::string textAt(std::uint64_t address) {
    const std::size_t begin = offsetOf(address);
    const std::string_view rest = bytes_.substr(std::min(begin, bytes_.size()), kMaxTextLength + 1);
    const std::size_t length = rest.find('\0');
    if (length == std::string_view::npos) throw Failure("a name in it has no end");
    return counted(std::string(rest.substr(0, length)));
  }

  // Every name passes here, and what all of them take together has a limit.
  std::string counted(std::string name) {
    nameBytes_ += sizeof(std::string) + name.size();
    if (nameBytes_ > kMaxNameBytes) throw Failure("its tables are too long");
    return name;
  }

  std::vector<std::string> functionsAt(std::uint64_t address);
  std::vector<std::string> exportedNumbers(const IMAGE_EXPORT_DIRECTORY& table);

  std::string_view bytes_;
  std::size_t headers_ = 0;
  IMAGE_FILE_HEADER file_{};
  bool isWide_ = false;
  std::uint64_t base_ = 0;
  std::uint64_t wholeHeaders_ = 0;
  std::array<IMAGE_DATA_DIRECTORY, IMAGE_NUMBEROF_DIRECTORY_ENTRIES> directories_{};
  std::vector<IMAGE_SECTION_HEADER> sections_;
  std::size_t nameBytes_ = 0;
};

std::string numberName(std::uint64_t ordinal) {
  return "#" + std::to_string(ordinal);
}

template <class List>
void requireRoom(const List& list, std::size_t most) {
  if (list.size() >= most) throw Failure("its tables are too long");
}

std::vector<std::string> Image::functionsAt(std::uint64_t address) {
  const std::size_t step = isWide_ ? sizeof(ULONGLONG) : sizeof(DWORD);
  const std::uint64_t numbered = isWide_ ? IMAGE_ORDINAL_FLAG64 : IMAGE_ORDINAL_FLAG32;
  std::vector<std::string> functions;
  for (;; address += step) {
    const std::uint64_t entry = isWide_ ? readAt<ULONGLONG>(address) : readAt<DWORD>(address);
    if (entry == 0) return functions;
    requireRoom(functions, kMaxNames);
    const bool hasName = (entry & numbered) == 0;
    functions.push_back(hasName ? textAt(entry + sizeof(WORD))
                                : counted(numberName(entry & 0xFFFF)));  // behind its hint
  }
}

std::vector<ImportedLibrary> Image::imports() {
  std::vector<ImportedLibrary> libraries;
  const DWORD first = directories_[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  for (std::uint64_t address = first; first != 0; address += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
    const auto entry = readAt<IMAGE_IMPORT_DESCRIPTOR>(address);
    if (entry.Name == 0) break;
    requireRoom(libraries, kMaxLibraries);
    const DWORD functions = entry.OriginalFirstThunk != 0 ? entry.OriginalFirstThunk : entry.FirstThunk;
    libraries.push_back({textAt(entry.Name), functionsAt(functions)});
  }
  return libraries;
}

std::vector<ImportedLibrary> Image::delayedImports() {
  std::vector<ImportedLibrary> libraries;
  const DWORD first = directories_[IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT].VirtualAddress;
  for (std::uint64_t address = first; first != 0; address += sizeof(IMAGE_DELAYLOAD_DESCRIPTOR)) {
    const auto entry = readAt<IMAGE_DELAYLOAD_DESCRIPTOR>(address);
    if (entry.DllNameRVA == 0) break;
    requireRoom(libraries, kMaxLibraries);
    const std::uint64_t base = entry.Attributes.RvaBased != 0 ? 0 : base_;  // old linkers wrote whole addresses
    libraries.push_back({textAt(entry.DllNameRVA - base), functionsAt(entry.ImportNameTableRVA - base)});
  }
  return libraries;
}

std::vector<std::string> Image::exportedNumbers(const IMAGE_EXPORT_DIRECTORY& table) {
  if (table.NumberOfFunctions > kMaxNames) throw Failure("its tables are too long");
  std::vector<std::string> numbers;
  for (std::uint64_t index = 0; index < table.NumberOfFunctions; ++index) {
    if (readAt<DWORD>(table.AddressOfFunctions + index * sizeof(DWORD)) != 0) {
      numbers.push_back(counted(numberName(table.Base + index)));
    }
  }
  return numbers;
}

std::vector<std::string> Image::exports() {
  const DWORD address = directories_[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
  if (address == 0) return {};
  const auto table = readAt<IMAGE_EXPORT_DIRECTORY>(address);
  std::vector<std::string> names;
  for (std::uint64_t index = 0; index < table.NumberOfNames; ++index) {
    requireRoom(names, kMaxNames);
    names.push_back(textAt(readAt<DWORD>(table.AddressOfNames + index * sizeof(DWORD))));
  }
  std::ranges::move(exportedNumbers(table), std::back_inserter(names));
  return names;
}

}  // namespace

ModuleImage readModuleImage(std::string_view bytes) {
  Image image(bytes);
  return {image.file().Machine, (image.file().Characteristics & IMAGE_FILE_DLL) != 0, image.imports(),
          image.delayedImports(), image.exports()};
}

std::string architectureName(std::uint16_t machine) {
  switch (machine) {
    case IMAGE_FILE_MACHINE_AMD64:
      return "x64";
    case IMAGE_FILE_MACHINE_I386:
      return "x86";
    case IMAGE_FILE_MACHINE_ARM64:
      return "ARM64";
    case IMAGE_FILE_MACHINE_ARMNT:
      return "ARM";
    default:
      break;
  }
  constexpr const char* kDigits = "0123456789abcdef";
  std::string name = "0x";
  for (int shift = 12; shift >= 0; shift -= 4) name += kDigits[machine >> shift & 0xF];
  return name;
}

std::string lowerCase(std::string name) {
  for (char& letter : name) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return name;
}

}  // namespace zuvia::zupack
