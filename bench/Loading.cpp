// From nothing to a loaded implementation, with few and many versions installed.

#include <windows.h>

#include <cwchar>
#include <stdexcept>
#include <vector>

#include "Groups.h"
#include "Host.h"
#include "support/Files.h"
#include "support/ModuleVersion.h"
#include "support/Text.h"

namespace zuvia::bench {
namespace {

void addVersions(const test::InstallTree& tree, unsigned count) {
  const std::string module = test::readFile(test::moduleFile(L"tiny"));
  for (unsigned i = 1; i <= count; ++i) {
    const std::string version = "2.0." + std::to_string(i / 100) + '.' + std::to_string(i % 100);
    tree.addFile(test::toWide(version) + L"\\zuimpl.dll", test::withFileVersion(module, version));
  }
}

// ---- what cannot be done with less --------------------------------------------------------------

bool isDots(const wchar_t* name) {
  return std::wcscmp(name, L".") == 0 || std::wcscmp(name, L"..") == 0;
}

void walk(const std::wstring& directory, std::vector<std::wstring>& modules) {
  WIN32_FIND_DATAW entry;
  const HANDLE find = FindFirstFileW((directory + L"\\*").c_str(), &entry);
  if (find == INVALID_HANDLE_VALUE) throw std::runtime_error("A directory cannot be listed");
  do {
    if (isDots(entry.cFileName)) continue;
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      walk(directory + L'\\' + entry.cFileName, modules);
    } else if (_wcsicmp(entry.cFileName, L"zuimpl.dll") == 0) {
      modules.push_back(directory + L'\\' + entry.cFileName);
    }
  } while (FindNextFileW(find, &entry));
  FindClose(find);
}

uint64_t versionOf(const std::wstring& module) {
  const DWORD size = GetFileVersionInfoSizeW(module.c_str(), nullptr);
  std::vector<std::byte> resource(size + 64);  // Wine writes a mark behind some
  void* found = nullptr;
  UINT length = 0;
  if (!GetFileVersionInfoW(module.c_str(), 0, size, resource.data()) ||
      !VerQueryValueW(resource.data(), L"\\", &found, &length)) {
    throw std::runtime_error("A module has no version");
  }
  const auto* const info = static_cast<const VS_FIXEDFILEINFO*>(found);
  return static_cast<uint64_t>(info->dwFileVersionMS) << 32 | info->dwFileVersionLS;
}

HMODULE loadNewest(const std::wstring& root) {
  std::vector<std::wstring> modules;
  walk(root, modules);
  std::wstring newest;
  uint64_t newestVersion = 0;
  for (const std::wstring& module : modules) {
    const uint64_t version = versionOf(module);
    if (version > newestVersion) newest = module, newestVersion = version;
  }
  const HMODULE loaded = LoadLibraryExW(newest.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR);
  if (loaded == nullptr) throw std::runtime_error("The newest module does not load");
  return loaded;
}

// ---- the comparison -----------------------------------------------------------------------------

Medians compareLoading(const Settings& settings, unsigned versions) {
  const InstalledPlugin installed;
  addVersions(installed.tree(), versions);
  const Operation ours = [&] {
    const Stopwatch stopwatch;
    const LoadedPlugin plugin(installed);
    return stopwatch.milliseconds();
  };
  const Operation yardstick = [&] {
    const Stopwatch stopwatch;
    const HMODULE loaded = loadNewest(installed.tree().root());
    const double took = stopwatch.milliseconds();
    FreeLibrary(loaded);
    return took;
  };
  // The median of nine loads of a millisecond still moves by a fifth.
  const unsigned rounds = versions < 100 ? 10 : 1;
  return compare(settings.repetitions * rounds, ours, yardstick);
}

}  // namespace

void measureLoading(const Settings& settings, Rows& rows) {
  const SilentLog silent;
  for (const unsigned versions : {1u, 10u, 100u, 1000u}) {
    const std::string name = "create and onLoaded, " + std::to_string(versions) + " versions";
    if (!settings.wants(name)) continue;
    const Medians took = compareLoading(settings, versions);
    rows.push_back({name, took.ours, took.yardstick, "ms", 1.15, "the system's directory and version calls"});
  }
}

}  // namespace zuvia::bench
