#include "Packages.h"

#include <windows.h>

#include <array>
#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>

#include "Host.h"
#include "support/Files.h"
#include "support/ModuleVersion.h"
#include "support/PackageBuilder.h"

namespace zuvia::bench {
namespace {

// A companion of an implementation is a library of some size.
constexpr std::size_t kSmallest = 1u << 20;

// In alphabetical order.
std::set<std::filesystem::path> systemLibraries() {
  std::array<wchar_t, MAX_PATH> directory{};
  GetSystemDirectoryW(directory.data(), static_cast<UINT>(directory.size()));
  std::set<std::filesystem::path> libraries;
  for (const auto& entry : std::filesystem::directory_iterator(directory.data())) {
    if (entry.path().extension() == L".dll") libraries.insert(entry.path());
  }
  return libraries;
}

Package make(std::size_t wanted) {
  Package package;
  package.module = test::withFileVersion(test::readFile(benchModule()), "2.0.0.47");
  package.content = package.module.size();
  test::PackageBuilder builder;
  builder.add(L"zuimpl.dll", package.module);
  for (const std::filesystem::path& file : systemLibraries()) {
    if (package.content >= wanted) break;
    std::string library = test::readFile(file.wstring());
    if (library.size() < kSmallest || package.content + library.size() > wanted + (1u << 20)) continue;
    package.content += library.size();
    builder.add(file.filename().wstring(), std::move(library));
  }
  if (package.content < wanted) throw std::runtime_error("The system has too few libraries");
  package.bytes = builder.build();
  return package;
}

}  // namespace

const Package& packageOf(std::size_t content) {
  static std::map<std::size_t, Package> made;
  const auto found = made.find(content);
  return found != made.end() ? found->second : made.emplace(content, make(content)).first->second;
}

}  // namespace zuvia::bench
