#include "zuserve/Site.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/DirectoryListing.h"
#include "shared/CommandLine.h"
#include "shared/SystemError.h"
#include "shared/Utf8.h"

namespace zuvia::zuserve {
namespace {

constexpr DWORD kMaxReadBytes = 1 << 20;

// The attributes of the directory's entry of exactly this name; INVALID_FILE_ATTRIBUTES when it shows none.
DWORD attributesIn(const std::filesystem::path& directory, std::wstring_view name) {
  DirectoryListing listing((directory / L"*").wstring());
  while (listing.next()) {
    if (name == listing.name()) return listing.attributes();
  }
  return INVALID_FILE_ATTRIBUTES;
}

bool isPlainFile(DWORD attributes) {
  return attributes != INVALID_FILE_ATTRIBUTES &&
         (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
}

// The path of something open as the system names it, every link resolved; empty on failure.
std::wstring finalPathOf(const FileHandle& handle) {
  std::wstring path(GetFinalPathNameByHandleW(handle.get(), nullptr, 0, 0), L'\0');
  path.resize(GetFinalPathNameByHandleW(handle.get(), path.data(), static_cast<DWORD>(path.size()), 0));
  return path;
}

[[noreturn]] void failToRead(const std::filesystem::path& directory, DWORD error = GetLastError()) {
  throw tools::Failure("cannot read the directory " + tools::pathText(directory) + ": " +
                       tools::systemErrorText(error));
}

// With a backslash at its end.
std::wstring finalPathOfDirectory(const std::filesystem::path& directory) {
  const FileHandle handle(CreateFileW(directory.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  std::wstring path = handle ? finalPathOf(handle) : std::wstring();
  if (path.empty()) failToRead(directory);
  return path.ends_with(L'\\') ? path : path + L'\\';
}

// Looked at once more when it is open: something on the way may have become a link since it was listed.
std::optional<SiteFile> openPlainFile(const std::filesystem::path& path, const std::wstring& finalPath) {
  FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                              FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  BY_HANDLE_FILE_INFORMATION information{};
  if (!file || GetFileInformationByHandle(file.get(), &information) == FALSE) return std::nullopt;
  if (!isPlainFile(information.dwFileAttributes) || finalPathOf(file) != finalPath) return std::nullopt;
  const auto size = (std::uint64_t{information.nFileSizeHigh} << 32) | information.nFileSizeLow;
  return SiteFile(std::move(file), size);
}

}  // namespace

std::size_t SiteFile::read(std::uint64_t offset, std::span<char> buffer) const {
  OVERLAPPED position{};
  position.Offset = static_cast<DWORD>(offset & 0xFFFFFFFFu);
  position.OffsetHigh = static_cast<DWORD>(offset >> 32);
  const auto wanted = static_cast<DWORD>(std::min<std::size_t>(buffer.size(), kMaxReadBytes));
  DWORD count = 0;
  return ReadFile(file_.get(), buffer.data(), wanted, &count, &position) != FALSE ? count : 0;
}

Site::Site(const std::filesystem::path& directory)
    : directory_(std::filesystem::absolute(directory)), finalDirectory_(finalPathOfDirectory(directory_)) {
  const DirectoryListing listing((directory_ / L"*").wstring());
  if (!listing) failToRead(directory_);
}

std::optional<SiteFile> Site::open(std::string_view urlPath) const {
  if (!urlPath.starts_with('/')) return std::nullopt;
  std::wstring relative = tools::toWide(urlPath.substr(1));
  std::ranges::replace(relative, L'\\', L'\0');  // names nothing
  std::ranges::replace(relative, L'/', L'\\');
  std::filesystem::path directory = directory_;
  std::wstring_view rest = relative;
  for (std::size_t end = rest.find(L'\\'); end != std::wstring_view::npos; end = rest.find(L'\\')) {
    const std::wstring_view part = rest.substr(0, end);
    if (!isPlainDirectory(attributesIn(directory, part))) return std::nullopt;
    directory /= part;
    rest.remove_prefix(end + 1);
  }
  if (!isPlainFile(attributesIn(directory, rest))) return std::nullopt;
  return openPlainFile(directory / rest, finalDirectory_ + relative);
}

std::string contentTypeOf(std::string_view urlPath) {
  static constexpr std::array<std::pair<std::string_view, const char*>, 10> kTypes{{
      {".7z", "application/x-7z-compressed"},
      {".zip", "application/zip"},
      {".json", "application/json"},
      {".txt", "text/plain; charset=utf-8"},
      {".md", "text/plain; charset=utf-8"},
      {".html", "text/html; charset=utf-8"},
      {".css", "text/css; charset=utf-8"},
      {".js", "text/javascript; charset=utf-8"},
      {".svg", "image/svg+xml"},
      {".png", "image/png"},
  }};
  const auto found = std::ranges::find_if(kTypes, [&](const auto& type) { return urlPath.ends_with(type.first); });
  return found != kTypes.end() ? found->second : "application/octet-stream";
}

}  // namespace zuvia::zuserve
