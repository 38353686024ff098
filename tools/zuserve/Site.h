#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

#include "platform/Handles.h"

namespace zuvia::zuserve {

// One file of a site, open for reading. It may be renamed or deleted meanwhile; what is read stays the same.
class SiteFile {
 public:
  SiteFile(FileHandle file, std::uint64_t size) : file_(std::move(file)), size_(size) {}

  std::uint64_t size() const { return size_; }

  // Reads from an offset; returns how many bytes, 0 at the end and on failure. One thread at a time.
  std::size_t read(std::uint64_t offset, std::span<char> buffer) const;

 private:
  FileHandle file_;
  std::uint64_t size_;
};

// The directory that is served. Nothing outside it can be reached: every part of a path must be the exact name, upper
// and lower case included, of something that a listing of its directory shows, and no link is followed. That leaves
// "..", drive letters, streams, device and short names nowhere to go.
class Site {
 public:
  // Throws tools::Failure, which names the directory, when it cannot be listed.
  explicit Site(const std::filesystem::path& directory);

  // The directory, absolute.
  const std::filesystem::path& directory() const { return directory_; }

  // Opens the file at the decoded path of a URL ("/packages/x.7z", UTF-8). Empty when there is no such
  // file or it cannot be opened. Any thread.
  std::optional<SiteFile> open(std::string_view urlPath) const;

 private:
  std::filesystem::path directory_;
  std::wstring finalDirectory_;  // the same as the system names it once every link is resolved
};

// What to call a file's content, by the file name's extension.
std::string contentTypeOf(std::string_view urlPath);

}  // namespace zuvia::zuserve
