#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zuvia::test {

struct PeSection {
  std::string name;
  size_t address = 0;  // relative to the image
  size_t offset = 0;   // of its bytes in the file
  size_t size = 0;     // of its bytes in the file
  bool writable = false;
  bool executable = false;
  bool shared = false;  // by all processes that load the file
};

struct PeExport {
  std::string name;
  bool forwarded = false;
};

// Reads a program or module as a file, without loading it. Whatever lies outside of the file is
// reported as std::runtime_error, so that a reading that went wrong never counts as "none found".
class PeFile {
 public:
  // Reads the file whole. Throws std::runtime_error when it cannot be read or is no 64-bit image.
  explicit PeFile(const std::filesystem::path& path);

  uint16_t machine() const;
  bool isModule() const;                // a DLL, not a program
  uint16_t dllCharacteristics() const;  // IMAGE_DLLCHARACTERISTICS_…
  bool hasRelocations() const;          // a base relocation directory that is not empty, and not marked as stripped
  bool hasDebugDirectory() const;       // where a linker notes the place of the symbols
  bool hasSymbols() const;              // a table of names within the file
  std::vector<PeSection> sections() const;
  size_t exportedFunctions() const;       // named or not
  std::vector<PeExport> exports() const;  // the named ones
  std::set<std::string> imports() const;  // the modules named for loading at start or at first use, in lower case

  // Whether the file holds the path, in single bytes or in UTF-16, with either kind of slash. Where a
  // dot stands before it, it is the end of a relative path and does not count. ASCII only.
  bool containsPath(std::string_view path) const;

 private:
  struct Range {
    size_t address;
    size_t size;
  };
  template <class Type>
  Type read(size_t offset) const;
  Range directory(size_t index) const;
  size_t offsetOf(size_t address) const;  // from an address relative to the image to a place in the file
  std::string textAt(size_t address) const;
  std::set<std::string> importsOf(size_t index, size_t descriptorSize, size_t nameOffset) const;

  std::string bytes_;
  size_t headers_ = 0;
};

}  // namespace zuvia::test
