#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zuvia::zupack {

// A library that a module needs, and what it takes from it.
struct ImportedLibrary {
  std::string name;                    // as the module spells it
  std::vector<std::string> functions;  // "#7" for one without a name
};

// What a module file says about itself.
struct ModuleImage {
  std::uint16_t machine = 0;             // IMAGE_FILE_MACHINE_…
  bool isLibrary = false;                // a DLL, not a program
  std::vector<ImportedLibrary> imports;  // without these it does not load
  std::vector<ImportedLibrary> delayed;  // looked for at first use only
  std::vector<std::string> exports;      // the names, and "#7" for each function, in the order of its tables
};

// Reads the bytes of a program or module of any architecture, without loading it. Nothing outside of the bytes is read,
// whatever they claim. Throws tools::Failure, which says what is wrong with them and names no file. Any thread.
ModuleImage readModuleImage(std::string_view bytes);

// What people call the architecture: "x64"; its number in hexadecimal when it has no name here.
std::string architectureName(std::uint16_t machine);

// A name in lower case, as libraries are compared; other letters than ASCII's stay.
std::string lowerCase(std::string name);

}  // namespace zuvia::zupack
