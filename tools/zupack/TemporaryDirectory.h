#pragma once

#include <string>

namespace zuvia::zupack {

// A name below the system's temporary directory that nothing else uses. Whatever is made there goes away with the
// object.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory();

  // Nothing is there at first.
  const std::wstring& path() const { return path_; }

 private:
  std::wstring path_;
};

}  // namespace zuvia::zupack
