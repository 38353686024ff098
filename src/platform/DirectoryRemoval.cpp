#include "platform/DirectoryRemoval.h"

#include "platform/DirectoryListing.h"

namespace zuvia {

namespace {

using Kind = RemovalFault::Kind;

// Windows takes dots and blanks off the end of a path: without a backslash behind it, a directory "sub " would be
// "sub", and ".. " its parent.
std::wstring asDirectoryPath(const std::wstring& path) {
  const bool wouldLose = path.back() == L'.' || path.back() == L' ';
  return wouldLose ? path + L'\\' : path;
}

class Removal {
 public:
  Removal(RemovalCheck check, const std::function<void(const RemovalFault&)>& report)
      : check_(check), report_(report) {}

  bool removeTree(const std::wstring& directory) const {
    if (check_ == RemovalCheck::PlainDirectory) {
      const DWORD attributes = GetFileAttributesW(directory.c_str());
      if (attributes == INVALID_FILE_ATTRIBUTES) {
        return true;
      }
      if (!isPlainDirectory(attributes)) {
        report_({Kind::NotPlainDirectory, 0, attributes, directory});
        return false;
      }
    }
    return removeListed(directory);
  }

 private:
  bool removeListed(const std::wstring& directory) const {
    std::wstring prefix = directory;
    if (!prefix.empty() && prefix.back() != L'\\') {
      prefix += L'\\';
    }
    DirectoryListing listing(prefix + L"*");
    if (!listing) {
      report_({Kind::ListFailed, GetLastError(), 0, directory});
      return false;
    }
    bool complete = true;
    while (listing.next()) {
      complete = removeChild(prefix + listing.name(), listing.attributes()) && complete;
    }
    listing.close();

    if (!RemoveDirectoryW(directory.c_str())) {
      report_({Kind::NotRemoved, GetLastError(), 0, directory});
      return false;
    }
    return complete;
  }

  bool removeChild(const std::wstring& path, DWORD attributes) const {
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
      report_({Kind::ReparsePoint, 0, attributes, path});
      return false;
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      return removeTree(asDirectoryPath(path));
    }
    return removeFile(path, attributes);
  }

  bool removeFile(const std::wstring& path, DWORD attributes) const {
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
      SetFileAttributesW(path.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
    }
    if (!DeleteFileW(path.c_str())) {
      report_({Kind::FileNotDeleted, GetLastError(), attributes, path});
      return false;
    }
    return true;
  }

  RemovalCheck check_;
  const std::function<void(const RemovalFault&)>& report_;
};

}  // namespace

bool removeDirectoryTree(const std::wstring& directory, RemovalCheck check,
                         const std::function<void(const RemovalFault&)>& report) {
  return Removal(check, report).removeTree(directory);
}

}  // namespace zuvia
