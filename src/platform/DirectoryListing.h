#pragma once

#include <string>

#include "platform/Handles.h"

namespace zuvia {

// Whether these attributes are those of a directory that is not a link.
inline bool isPlainDirectory(DWORD attributes) {
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
         (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

// The entries of one directory, in the system's order, without "." and "..".
// It begins before the first entry: call next() before anything is read.
class DirectoryListing {
 public:
  // pattern: the directory, a backslash and "*". On failure the listing is false and
  // GetLastError() says why.
  explicit DirectoryListing(const std::wstring& pattern);

  explicit operator bool() const { return static_cast<bool>(find_); }

  // Moves to the next entry. False at the end, and at any failure, which ends the listing too.
  bool next();

  // Of the present entry. The name holds no directory and is valid until next().
  const wchar_t* name() const { return entry_.cFileName; }
  DWORD attributes() const { return entry_.dwFileAttributes; }

  // Ends the listing; the directory is not open any more.
  void close() { find_.reset(); }

 private:
  WIN32_FIND_DATAW entry_ = {};
  FindHandle find_;
  bool first_ = true;
};

}  // namespace zuvia
