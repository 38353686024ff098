#include "updater/EntryNames.h"

#include <algorithm>
#include <cstddef>

namespace zuvia {

namespace {

constexpr std::wstring_view kSeparators = L"\\/";
constexpr size_t kMaxNameLength = 260;

bool hasParentComponent(std::wstring_view name) {
  for (bool more = true; more;) {
    const size_t separator = name.find_first_of(kSeparators);
    if (name.substr(0, separator) == L"..") {
      return true;
    }
    more = separator != std::wstring_view::npos;
    name.remove_prefix(more ? separator + 1 : name.size());
  }
  return false;
}

}  // namespace

bool isLegalEntryName(std::wstring_view name) {
  if (name.empty() || name.size() > kMaxNameLength) {
    return false;
  }
  const bool rooted = kSeparators.find(name[0]) != std::wstring_view::npos;
  const bool onDrive = name.size() > 1 && name[1] == L':';
  return !rooted && !onDrive && !hasParentComponent(name);
}

bool isTopLevelEntryName(std::wstring_view name) {
  return name.find_first_of(kSeparators) == std::wstring_view::npos;
}

std::wstring entryPath(const std::wstring& directory, std::wstring name) {
  std::replace(name.begin(), name.end(), L'/', L'\\');
  return directory + L'\\' + name;
}

}  // namespace zuvia
