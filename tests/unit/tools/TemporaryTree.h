#pragma once

#include <string>

#include "platform/Guid.h"
#include "support/Files.h"

namespace zuvia::test {

// A fresh directory with a blank and letters outside ASCII in its name; it goes away with the object.
class TemporaryTree {
 public:
  TemporaryTree() { makeDirectories(path_); }
  TemporaryTree(const TemporaryTree&) = delete;
  TemporaryTree& operator=(const TemporaryTree&) = delete;
  ~TemporaryTree() { removeTree(path_); }

  const std::wstring& path() const { return path_; }
  std::wstring path(std::wstring_view name) const { return joinPath(path_, name); }

 private:
  std::wstring path_ = joinPath(temporaryDirectory(), L"zuvia \u00E4\u6F22 " + freshGuidText());
};

}  // namespace zuvia::test
