#pragma once

#include <windows.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/ImportHook.h"

namespace zuvia::test {

// Listings of directories that do not exist, in the order that the test wants, for this program's own calls
// of FindFirstFileW. Everything else is listed as it is.
class ScriptedListing {
 public:
  struct Entry {
    std::wstring name;
    DWORD attributes = FILE_ATTRIBUTE_ARCHIVE;
  };

  // By the pattern that is asked for: "directory\*". Without an entry the listing fails as of a missing directory.
  using Script = std::map<std::wstring, std::vector<Entry>>;

  explicit ScriptedListing(Script script);

  // How many listings were begun, and how many of them were ended with FindClose.
  std::size_t begun() const { return begun_; }
  std::size_t closed() const { return closed_; }

 private:
  // The handle of a listing is its address.
  struct Listing {
    const std::vector<Entry>* entries;
    std::size_t next = 0;
  };

  HANDLE begin(const std::vector<Entry>& entries, WIN32_FIND_DATAW* data);
  static bool fill(Listing& listing, WIN32_FIND_DATAW* data);
  bool isOwn(HANDLE handle) const { return listings_.contains(handle); }

  Script script_;
  std::map<HANDLE, std::unique_ptr<Listing>> listings_;
  std::size_t begun_ = 0;
  std::size_t closed_ = 0;
  ImportHook<decltype(FindFirstFileW)> first_;
  ImportHook<decltype(FindNextFileW)> next_;
  ImportHook<decltype(FindClose)> close_;
};

}  // namespace zuvia::test
