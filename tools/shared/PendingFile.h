#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zuvia::tools {

// A file that takes its name only when it is complete. Until then it lies in the same directory under a
// name of its own that ends in ".partial"; unless it is committed, it goes away with the object.
class PendingFile {
 public:
  enum class Existing {
    Replace,
    Keep,  // a file that is there already is left alone
  };

  // target: where the file is to appear. Its directory must exist by the time something is written.
  explicit PendingFile(std::filesystem::path target);
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;
  ~PendingFile();

  // Where to write meanwhile. Nothing is there yet.
  const std::filesystem::path& path() const { return path_; }

  // Gives the file, closed by whoever wrote it, its name. Returns false when a file of that name was
  // kept. Throws Failure, which names the target, when it cannot be done.
  bool commit(Existing existing = Existing::Replace);

 private:
  std::filesystem::path target_;
  std::filesystem::path path_;
  bool isPending_ = true;
};

// Writes a file whole or not at all. Returns as PendingFile::commit; throws Failure when the file cannot be written.
bool writeWholeFile(const std::filesystem::path& target, std::string_view content,
                    PendingFile::Existing existing = PendingFile::Existing::Replace);

// Reads a file whole. Throws Failure, naming the file, when it cannot be read or is longer than maxBytes.
std::string readWholeFile(const std::filesystem::path& file, std::size_t maxBytes);

}  // namespace zuvia::tools
