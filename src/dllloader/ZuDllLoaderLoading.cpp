#include <utility>

#include "dllloader/ZuDllLoader.h"
#include "dllloader/ZuDllLoaderLog.h"

namespace zuvia {

namespace {

// A module's dependencies come from its own directory, the directories added for the time of loading
// and the system's; never from the current directory or PATH.
constexpr DWORD kSearchFlags =
    LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_USER_DIRS | LOAD_LIBRARY_SEARCH_SYSTEM32;

// Has the implementation module make its object. An exception counts as a refusal. Its own code and
// type belong to the module, which is freed next, so the handler must have ended by then.
IPluginEntryPoint* createObject(CreateImplFunction& createImpl) {
  try {
    return createImpl();
  } catch (...) {
    return nullptr;
  }
}

// Loads one candidate. On success returns its module, and its object in implOut; otherwise logs why
// and returns an empty handle.
ModuleHandle loadCandidate(const DllCandidate& candidate, IPluginEntryPoint*& implOut) {
  SetLastError(0);
  ModuleHandle module(LoadLibraryExW(candidate.path.c_str(), nullptr, kSearchFlags));
  if (!module) {
    const DWORD error = GetLastError();
    LOADER_LOG("loadZuDll") << "Load plugin failed, path: " << candidate.path
                            << ", version: " << candidateVersionString(candidate) << ", error: " << error;
    return {};
  }
  const FARPROC found = GetProcAddress(module.get(), kCreateImplExport);
  if (found == nullptr) {
    const DWORD error = GetLastError();
    LOADER_LOG("loadZuDll") << "Plugin export createImpl not found, path: " << candidate.path
                            << ", version: " << candidateVersionString(candidate) << ", error: " << error;
    return {};
  }
  implOut = createObject(*reinterpret_cast<CreateImplFunction*>(reinterpret_cast<void*>(found)));
  if (implOut == nullptr) {
    LOADER_LOG("loadZuDll") << "Plugin create returned null, path: " << candidate.path
                            << ", version: " << candidateVersionString(candidate);
    return {};
  }
  return module;
}

}  // namespace

bool ZuDllLoader::loadZuDll(IPluginEntryPoint*& implOut) {
  implOut = nullptr;
  const std::wstring root = getCurrentDllDirectory();
  if (root.empty()) {
    LOADER_LOG("loadZuDll") << "Load plugin fail! Current dll directory is empty.";
    return false;
  }
  std::vector<std::wstring> paths;
  scanDirectory(root, paths);
  if (paths.empty()) {
    LOADER_LOG("loadZuDll") << "Load plugin fail! Paths are empty. dir: " << root;
    return false;
  }
  readCandidates(paths);
  if (candidates_.empty()) {
    LOADER_LOG("loadZuDll") << "Load plugin fail! No candidate with valid version, scanned: " << paths.size()
                            << ", dir: " << root;
    return false;
  }
  return loadNewest(root, implOut);
}

void ZuDllLoader::readCandidates(const std::vector<std::wstring>& paths) {
  candidates_.clear();
  for (const std::wstring& path : paths) {
    DllCandidate candidate;
    if (getDllVersion(path, candidate)) {
      candidates_.push_back(std::move(candidate));
    }
  }
  sortNewestFirst(candidates_);
}

bool ZuDllLoader::loadNewest(const std::wstring& root, IPluginEntryPoint*& implOut) {
  DllDirectory searched(AddDllDirectory(root.c_str()));
  if (!searched) {
    const DWORD error = GetLastError();
    LOADER_LOG("loadZuDll") << "AddDllDirectory failed, dir: " << root << ", error: " << error;
  }
  for (const DllCandidate& candidate : candidates_) {
    if (ModuleHandle module = loadCandidate(candidate, implOut)) {
      adopt(std::move(module), candidate);
      searched.reset();
      LOADER_LOG("loadZuDll") << "Load plugin success, path: " << candidate.path
                              << ", version: " << candidateVersionString(candidate);
      return true;
    }
  }
  searched.reset();
  LOADER_LOG("loadZuDll") << "Load plugin fail! All candidates failed, count: " << candidates_.size()
                          << ", dir: " << root;
  return false;
}

void ZuDllLoader::adopt(ModuleHandle module, DllCandidate candidate) {
  unload();
  module_ = std::move(module);
  current_ = std::move(candidate);
  loaded_ = true;
}

}  // namespace zuvia
