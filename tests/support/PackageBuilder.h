#pragma once

#include <string>
#include <vector>

namespace zuvia::test {

// Makes 7z archives in memory, with whatever entries a test wants, in the order in which they are added.
// Failures throw std::runtime_error.
class PackageBuilder {
 public:
  // method: "copy", "lzma1", "lzma2", "ppmd", "bzip2" or "deflate".
  explicit PackageBuilder(std::string method = "lzma2") : method_(std::move(method)) {}

  // name: as it is to stand in the archive, legal or not; separators too.
  PackageBuilder& add(const std::wstring& name, std::string content);
  PackageBuilder& addDirectory(const std::wstring& name);

  // The archive.
  std::string build() const;

 private:
  struct Entry {
    std::wstring name;
    std::string content;
    bool directory = false;
  };

  std::string method_;
  std::vector<Entry> entries_;
};

}  // namespace zuvia::test
