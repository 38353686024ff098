#include "binary/Locations.h"

#include <windows.h>

#include <sstream>

namespace zuvia::test {

std::filesystem::path binaryDirectory() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return std::filesystem::path(path).parent_path();
}

std::vector<std::string> machinePaths() {
  std::istringstream list(ZUVIA_MACHINE_PATHS);  // joined with "|" by the build
  std::vector<std::string> paths;
  for (std::string path; std::getline(list, path, '|');) paths.push_back(path);
  return paths;
}

}  // namespace zuvia::test
