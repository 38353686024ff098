#include "binary/BinaryRules.h"

#include <windows.h>

#include <stdexcept>
#include <utility>

namespace zuvia::test {

namespace {

// Part of every Windows 10.
const std::set<std::string> kSystemLibraries = {
    "advapi32.dll", "bcrypt.dll",  "crypt32.dll", "gdi32.dll",  "kernel32.dll", "msvcrt.dll", "ntdll.dll",
    "ole32.dll",    "shell32.dll", "shlwapi.dll", "user32.dll", "version.dll",  "ws2_32.dll",
};

std::string versionText(const VS_FIXEDFILEINFO& info) {
  const auto pair = [](DWORD two) { return std::to_string(HIWORD(two)) + "." + std::to_string(LOWORD(two)); };
  return pair(info.dwFileVersionMS) + "." + pair(info.dwFileVersionLS);
}

std::vector<std::byte> versionResource(const std::filesystem::path& file) {
  DWORD unused = 0;
  std::vector<std::byte> resource(GetFileVersionInfoSizeW(file.c_str(), &unused));
  if (resource.empty() || !GetFileVersionInfoW(file.c_str(), 0, static_cast<DWORD>(resource.size()), resource.data())) {
    throw std::runtime_error("no version resource in " + file.string());
  }
  return resource;
}

// A value of the resource with its length: bytes, and characters with their end, respectively.
template <class Type>
std::pair<const Type*, UINT> value(const std::vector<std::byte>& resource, const wchar_t* name) {
  void* found = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(resource.data(), name, &found, &length) || length == 0) {
    throw std::runtime_error("the version resource lacks a value");
  }
  return {static_cast<const Type*>(found), length};
}

}  // namespace

Faults hardeningFaults(const PeFile& file) {
  Faults faults;
  const auto require = [&](bool holds, const std::string& fault) {
    if (!holds) faults.push_back(fault);
  };
  const auto characteristics = file.dllCharacteristics();
  require(file.machine() == IMAGE_FILE_MACHINE_AMD64, "not built for x64");
  require((characteristics & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE) != 0, "not loaded at a random address");
  require((characteristics & IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA) != 0, "random over 32 bits only");
  require((characteristics & IMAGE_DLLCHARACTERISTICS_NX_COMPAT) != 0, "data may run");
  require(file.hasRelocations(), "has no relocations");
  for (const PeSection& section : file.sections()) {
    require(!section.writable || !section.executable, "section " + section.name + " is written and run");
    require(!section.shared, "section " + section.name + " is shared with other processes");
  }
  return faults;
}

Faults importFaults(const PeFile& file, const std::set<std::string>& allowed) {
  Faults faults;
  for (const std::string& library : file.imports()) {
    if (!kSystemLibraries.contains(library) && !allowed.contains(library)) faults.push_back("loads " + library);
  }
  return faults;
}

Faults exportFaults(const PeFile& file, const std::set<std::string>& expected) {
  Faults faults;
  auto missing = expected;
  for (const PeExport& entry : file.exports()) {
    if (missing.erase(entry.name) == 0) faults.push_back("exports " + entry.name);
    if (entry.forwarded) faults.push_back("passes " + entry.name + " on to another module");
  }
  for (const std::string& name : missing) faults.push_back("does not export " + name);
  if (file.exportedFunctions() != expected.size()) {
    faults.push_back("exports " + std::to_string(file.exportedFunctions()) + " functions");
  }
  return faults;
}

Faults pathFaults(const PeFile& file, const std::vector<std::string>& paths) {
  Faults faults;
  for (const std::string& path : paths) {
    if (file.containsPath(path)) faults.push_back("holds " + path);
  }
  if (file.hasDebugDirectory()) faults.push_back("says where its symbols are");
  if (file.hasSymbols()) faults.push_back("holds the names of its functions");
  return faults;
}

Faults versionFaults(const std::filesystem::path& file, const std::string& version) {
  const auto resource = versionResource(file);
  const auto [fixed, fixedSize] = value<VS_FIXEDFILEINFO>(resource, L"\\");
  const auto [text, textLength] = value<wchar_t>(resource, L"\\StringFileInfo\\040904B0\\FileVersion");

  Faults faults;
  if (fixedSize != sizeof *fixed || versionText(*fixed) != version) {
    faults.push_back("the fixed part says " + versionText(*fixed));
  }
  if (std::wstring(text) != std::wstring(version.begin(), version.end())) faults.push_back("the text says another one");
  return faults;
}

}  // namespace zuvia::test
