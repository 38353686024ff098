#pragma once

#include <functional>
#include <string>

#include "platform/Windows.h"

namespace zuvia {

// One thing that a removal met and could not do.
struct RemovalFault {
  enum class Kind {
    NotPlainDirectory,  // the path is a file or a reparse point; attributes is set. Left alone
    ListFailed,         // the directory could not be listed. Left alone; error is set
    ReparsePoint,       // a child is a reparse point: neither followed nor deleted
    FileNotDeleted,     // a child file could not be deleted; error is set
    NotRemoved,         // the directory itself could not be removed; error is set
  };

  Kind kind;
  DWORD error;               // GetLastError() right after the call that failed
  DWORD attributes;          // of NotPlainDirectory
  const std::wstring& path;  // what could not be removed; valid during the report only
};

// Whether removal looks at a directory before it lists it.
enum class RemovalCheck {
  None,            // list it whatever it is
  PlainDirectory,  // a missing path counts as removed; anything but a plain directory is a fault
};

// Removes a directory with everything in it, never following a link out of it: a reparse point
// inside stays, and keeps its parents in place. A read-only file is made writable first. What can
// be removed is removed, whatever else fails.
//
// directory: with or without a trailing backslash.
// report: called for every fault when it is met, on this thread.
// Returns whether everything is gone. Any thread. Logs nothing itself.
bool removeDirectoryTree(const std::wstring& directory, RemovalCheck check,
                         const std::function<void(const RemovalFault&)>& report);

}  // namespace zuvia
