#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zuhost {

// The bytes are no module for 64-bit Windows, or are cut short. what() says so in a few words.
class NoModule : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a module needs and offers, as its file says; nothing is loaded.
struct ModuleFile {
  std::vector<std::string> imports;  // libraries that must be there when it is loaded
  std::vector<std::string> exports;  // by name
};

// Reads the content of a module's file. Whatever the bytes are, nothing outside of them is looked at.
// Throws NoModule.
ModuleFile readModuleFile(std::string_view content);

}  // namespace zuhost
