#include "integration/disk/FullDisk.h"

#include <io.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace zuvia::test {

FullDisk::FullDisk(HMODULE plugin, std::wstring path, std::size_t room)
    : path_(std::move(path)),
      room_(room),
      opening_(plugin, "_wfopen",
               [this](auto* original, const wchar_t* opened, const wchar_t* mode) {
                 FILE* const stream = original(opened, mode);
                 const std::lock_guard lock(mutex_);
                 if (stream != nullptr) paths_[_fileno(stream)] = opened;
                 return stream;
               }),
      writing_(plugin, "_write", [this](auto* original, int number, const void* data, unsigned size) {
        return write(original, number, data, size);
      }) {}

bool FullDisk::happened() const {
  const std::lock_guard lock(mutex_);
  return full_;
}

std::size_t FullDisk::offered(const std::wstring& path) const {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(path);
  return found == files_.end() ? 0 : found->second.offered;
}

int FullDisk::write(int (*original)(int, const void*, unsigned), int number, const void* data, unsigned size) {
  const std::lock_guard lock(mutex_);
  const auto found = paths_.find(number);
  if (found == paths_.end()) return original(number, data, size);
  const unsigned taken = fitting(found->second, size);
  File& file = files_[found->second];
  if (!file.refused) file.offered += taken > 0 ? taken : size;
  if (taken > 0) return original(number, data, taken);
  file.refused = true;
  return refuse();
}

// How much of a write is taken.
unsigned FullDisk::fitting(const std::wstring& path, unsigned size) {
  if (full_) return 0;
  if (path != path_) return size;
  const auto taken = static_cast<unsigned>(std::min<std::size_t>(size, room_));
  room_ -= taken;
  full_ = taken == 0;
  return taken;
}

int FullDisk::refuse() {
  errno = ENOSPC;
  SetLastError(ERROR_DISK_FULL);
  return -1;
}

}  // namespace zuvia::test
