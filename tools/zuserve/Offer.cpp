#include "zuserve/Offer.h"

#include <algorithm>
#include <utility>

#include "common/VersionText.h"
#include "platform/DirectoryListing.h"
#include "shared/CommandLine.h"
#include "shared/EntryText.h"
#include "shared/PendingFile.h"
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

VersionedEntry readEntry(const std::filesystem::path& file) {
  VersionedEntry read{tools::parseEntry(tools::readWholeFile(file, tools::kMaxEntryBytes)), {}};
  const UpdateEntry& entry = read.entry;
  if (entry.ver.empty() || entry.pmd5.empty() || entry.dmd5.empty() || entry.url.empty()) {
    throw tools::Failure("ver, pmd5, dmd5 or url is missing");
  }
  if (!parseUpdateVersion(entry.ver, read.version)) throw tools::Failure("not a version: " + entry.ver);
  return read;
}

}  // namespace

Offer readOffer(const std::filesystem::path& directory) {
  Offer offer;
  DllCandidate newest;
  for (const std::wstring& name : entryFileNames(directory)) {
    try {
      VersionedEntry read = readEntry(directory / name);
      if (offer.entry && isOlder(read.version, newest)) continue;
      newest = read.version;
      offer.entry = std::move(read.entry);
    } catch (const tools::Failure& failure) {
      offer.skipped.push_back(tools::toUtf8(name) + ": " + failure.what());
    }
  }
  return offer;
}

}  // namespace zuvia::zuserve
