#include "ScriptedListing.h"

namespace zuvia::test {

ScriptedListing::ScriptedListing(Script script)
    : m_script(std::move(script)),
      m_first(GetModuleHandleW(nullptr), "FindFirstFileW",
              [this](auto* original, const wchar_t* pattern, WIN32_FIND_DATAW* data) -> HANDLE {
                const auto found = m_script.find(pattern);
                return found == m_script.end() ? original(pattern, data) : begin(found->second, data);
              }),
      m_next(GetModuleHandleW(nullptr), "FindNextFileW",
             [this](auto* original, HANDLE handle, WIN32_FIND_DATAW* data) -> BOOL {
               return isOwn(handle) ? fill(*m_listings.at(handle), data) : original(handle, data);
             }),
      m_close(GetModuleHandleW(nullptr), "FindClose", [this](auto* original, HANDLE handle) -> BOOL {
        if (!isOwn(handle)) return original(handle);
        m_listings.erase(handle);
        ++m_closed;
        return TRUE;
      }) {}

HANDLE ScriptedListing::begin(const std::vector<Entry>& entries, WIN32_FIND_DATAW* data) {
  auto listing = std::make_unique<Listing>(Listing{&entries});
  if (!fill(*listing, data)) {
    SetLastError(ERROR_PATH_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  ++m_begun;
  HANDLE handle = listing.get();
  m_listings[handle] = std::move(listing);
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
