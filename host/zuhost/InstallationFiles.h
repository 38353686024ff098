#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "Installation.h"

// The parts of Installation that are about files as such.
namespace zuhost {

struct FileFacts {
  bool isFile = false;  // and no directory
  uint64_t bytes = 0;
  int64_t ageSeconds = 0;  // since it was written last
};

// Of something that is not there: no file. It is not opened.
FileFacts factsOf(const std::wstring& path);

FoundFile fileAt(const std::wstring& path, const std::wstring& name);

// Reads a file whole, of at most 256 MiB. Whoever has it open, or wants to open, write, rename or delete it
// meanwhile, may. Nothing: it cannot be read.
std::optional<std::string> contentOf(const std::wstring& path);

// What the plugin keeps for a host with this application path.
Caches cachesOf(const std::filesystem::path& appPath);

}  // namespace zuhost
