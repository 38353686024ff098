#include "ScriptedListing.h"

namespace zuvia::test {

ScriptedListing::ScriptedListing(Script script)
    : script_(std::move(script)),
      first_(GetModuleHandleW(nullptr), "FindFirstFileW",
             [this](auto* original, const wchar_t* pattern, WIN32_FIND_DATAW* data) -> HANDLE {
               const auto found = script_.find(pattern);
               return found == script_.end() ? original(pattern, data) : begin(found->second, data);
             }),
      next_(GetModuleHandleW(nullptr), "FindNextFileW",
            [this](auto* original, HANDLE handle, WIN32_FIND_DATAW* data) -> BOOL {
              return isOwn(handle) ? fill(*listings_.at(handle), data) : original(handle, data);
            }),
      close_(GetModuleHandleW(nullptr), "FindClose", [this](auto* original, HANDLE handle) -> BOOL {
        if (!isOwn(handle)) return original(handle);
        listings_.erase(handle);
        ++closed_;
        return TRUE;
      }) {}

HANDLE ScriptedListing::begin(const std::vector<Entry>& entries, WIN32_FIND_DATAW* data) {
  auto listing = std::make_unique<Listing>(Listing{&entries});
  if (!fill(*listing, data)) {
    SetLastError(ERROR_PATH_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  ++begun_;
  HANDLE handle = listing.get();
  listings_[handle] = std::move(listing);
  return handle;
}

bool ScriptedListing::fill(Listing& listing, WIN32_FIND_DATAW* data) {
  if (listing.next == listing.entries->size()) {
    SetLastError(ERROR_NO_MORE_FILES);
    return false;
  }
  const Entry& entry = (*listing.entries)[listing.next++];
  *data = {};
  data->dwFileAttributes = entry.attributes;
  entry.name.copy(data->cFileName, MAX_PATH - 1);
  return true;
}

}  // namespace zuvia::test
