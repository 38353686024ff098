#include "zuserve/Offer.h"

#include <algorithm>
#include <utility>

#include "common/VersionText.h"
#include "platform/DirectoryListing.h"
#include "shared/CommandLine.h"
#include "shared/EntryText.h"
#include "shared/Utf8.h"

namespace zuvia::zuserve {
namespace {

struct VersionedEntry {
  UpdateEntry entry;
  DllCandidate version;
};

std::vector<std::wstring> entryFileNames(const std::filesystem::path& directory) {
  constexpr DWORD kNotAFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  std::vector<std::wstring> names;
  DirectoryListing listing((directory / L"*").wstring());
  while (listing.next()) {
    const std::wstring name = listing.name();
    if ((listing.attributes() & kNotAFile) == 0 && name.ends_with(L".json")) names.push_back(name);
  }
  std::ranges::sort(names);
  return names;
}

std::string readText(const Site& site, const std::wstring& name) {
  const std::optional<SiteFile> file = site.open(std::string("/").append(tools::toUtf8(name)));
  if (!file) throw tools::Failure("cannot be read");
  if (file->size() > tools::kMaxEntryBytes) throw tools::Failure("too long for an update entry");
  std::string text(static_cast<std::size_t>(file->size()), '\0');
  text.resize(file->read(0, text));
  return text;
}

VersionedEntry readEntry(const Site& site, const std::wstring& name) {
  VersionedEntry read{tools::parseEntry(readText(site, name)), {}};
  const UpdateEntry& entry = read.entry;
  if (entry.ver.empty() || entry.pmd5.empty() || entry.dmd5.empty() || entry.url.empty()) {
    throw tools::Failure("ver, pmd5, dmd5 or url is missing");
  }
  if (!parseUpdateVersion(entry.ver, read.version)) throw tools::Failure("not a version: " + entry.ver);
  return read;
}

}  // namespace

Offer readOffer(const Site& site) {
  Offer offer;
  std::vector<VersionedEntry> usable;
  for (const std::wstring& name : entryFileNames(site.directory())) {
    try {
      usable.push_back(readEntry(site, name));
    } catch (const tools::Failure& failure) {
      offer.skipped.push_back(tools::toUtf8(name) + ": " + failure.what());
    }
  }
  std::ranges::reverse(usable);  // of equal versions the last by name comes first
  std::ranges::stable_sort(usable,
                           [](const auto& one, const auto& other) { return isOlder(other.version, one.version); });
  for (VersionedEntry& one : usable) offer.others.push_back(std::move(one.entry));
  if (!usable.empty()) {
    offer.entry = std::move(offer.others.front());
    offer.others.erase(offer.others.begin());
  }
  return offer;
}

}  // namespace zuvia::zuserve
