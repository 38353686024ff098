#include "platform/DirectoryListing.h"

#include <cwchar>

namespace zuvia {

DirectoryListing::DirectoryListing(const std::wstring& pattern) : find_(FindFirstFileW(pattern.c_str(), &entry_)) {}

bool DirectoryListing::next() {
  do {
    if (!std::exchange(first_, false) && !FindNextFileW(find_.get(), &entry_)) {
      return false;
    }
  } while (std::wcscmp(entry_.cFileName, L".") == 0 || std::wcscmp(entry_.cFileName, L"..") == 0);
  return true;
}

}  // namespace zuvia
