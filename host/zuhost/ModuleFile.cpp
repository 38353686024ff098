#include "ModuleFile.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace zuhost {
namespace {

// More names than any module has: what says so is damaged.
constexpr size_t kMostNames = 65'536;
constexpr size_t kMostCharacters = 4096;             // of one name; decorated ones are long
constexpr size_t kMostNameBytes = size_t{16} << 20;  // of all: any number of entries may refer to one text

class Image {
 public:
  explicit Image(std::string_view content) : content_(content) {
    const auto begin = read<IMAGE_DOS_HEADER>(0);
    if (begin.e_magic != IMAGE_DOS_SIGNATURE || begin.e_lfanew < 0) throw NoModule("it is no module");
    const auto offset = static_cast<size_t>(begin.e_lfanew);
    headers_ = read<IMAGE_NT_HEADERS64>(offset);
    if (headers_.Signature != IMAGE_NT_SIGNATURE) throw NoModule("it is no module");
    if (headers_.FileHeader.Machine != IMAGE_FILE_MACHINE_AMD64 ||
        headers_.OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC) {
      throw NoModule("it is for another kind of processor than x64");
    }
    sections_ = offset + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + headers_.FileHeader.SizeOfOptionalHeader;
  }

  template <typename Type>
  Type read(size_t offset) const {
    if (offset > content_.size() || content_.size() - offset < sizeof(Type)) throw NoModule("it is cut short");
    Type value;
    std::memcpy(&value, content_.data() + offset, sizeof(Type));
    return value;
  }

  // Where an address of the loaded module lies in the file.
  size_t offsetOf(size_t address) const {
    for (size_t i = 0; i < headers_.FileHeader.NumberOfSections; ++i) {
      const auto section = read<IMAGE_SECTION_HEADER>(sections_ + i * sizeof(IMAGE_SECTION_HEADER));
      if (address >= section.VirtualAddress && address - section.VirtualAddress < section.SizeOfRawData) {
        return address - section.VirtualAddress + section.PointerToRawData;
      }
    }
    throw NoModule("it refers to what it does not hold");
  }

  std::string textAt(size_t address) {
    const std::string_view rest = content_.substr(std::min(offsetOf(address), content_.size()));
    const size_t length = rest.substr(0, kMostCharacters + 1).find('\0');
    if (length == std::string_view::npos) {
      throw NoModule(rest.size() > kMostCharacters ? "a name in it is too long" : "it is cut short");
    }
    nameBytes_ += sizeof(std::string) + length;
    if (nameBytes_ > kMostNameBytes) throw NoModule("its names are too long");
    return std::string(rest.substr(0, length));
  }

  // The address of one of the module's tables; 0: there is none.
  size_t table(size_t index) const {
    const auto& header = headers_.OptionalHeader;
    return index < header.NumberOfRvaAndSizes ? header.DataDirectory[index].VirtualAddress : 0;
  }

 private:
  std::string_view content_;
  IMAGE_NT_HEADERS64 headers_ = {};
  size_t sections_ = 0;
  size_t nameBytes_ = 0;
};

std::vector<std::string> importsOf(Image& image) {
  std::vector<std::string> names;
  const size_t table = image.table(IMAGE_DIRECTORY_ENTRY_IMPORT);
  if (table == 0) return names;
  for (size_t offset = image.offsetOf(table);; offset += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
    const auto descriptor = image.read<IMAGE_IMPORT_DESCRIPTOR>(offset);
    if (descriptor.Name == 0) return names;
    if (names.size() == kMostNames) throw NoModule("it needs too many libraries");
    names.push_back(image.textAt(descriptor.Name));
  }
}

std::vector<std::string> exportsOf(Image& image) {
  std::vector<std::string> names;
  const size_t table = image.table(IMAGE_DIRECTORY_ENTRY_EXPORT);
  if (table == 0) return names;
  const auto directory = image.read<IMAGE_EXPORT_DIRECTORY>(image.offsetOf(table));
  if (directory.NumberOfNames > kMostNames) throw NoModule("it exports too much");
  for (size_t i = 0; i < directory.NumberOfNames; ++i) {
    const size_t entry = image.offsetOf(directory.AddressOfNames + i * sizeof(DWORD));
    names.push_back(image.textAt(image.read<DWORD>(entry)));
  }
  return names;
}

}  // namespace

ModuleFile readModuleFile(std::string_view content) {
  Image image(content);
  return {.imports = importsOf(image), .exports = exportsOf(image)};
}

}  // namespace zuhost
