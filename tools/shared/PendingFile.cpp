#include "shared/PendingFile.h"

#include <utility>

#include "platform/Guid.h"
#include "platform/Handles.h"
#include "shared/CommandLine.h"
#include "shared/SystemError.h"
#include "shared/Utf8.h"

namespace zuvia::tools {
namespace {

constexpr DWORD kChunkBytes = 1 << 20;

[[noreturn]] void fail(const char* what, const std::filesystem::path& file, DWORD error = GetLastError()) {
  throw Failure(std::string(what) + " " + pathText(file) + ": " + systemErrorText(error));
}

void writeContent(const std::filesystem::path& file, const std::filesystem::path& target, std::string_view content) {
  const FileHandle handle(
      CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!handle) fail("cannot write", target);
  while (!content.empty()) {
    const auto wanted = static_cast<DWORD>(content.substr(0, kChunkBytes).size());
    DWORD written = 0;
    if (WriteFile(handle.get(), content.data(), wanted, &written, nullptr) == FALSE) fail("cannot write", target);
    content.remove_prefix(written);
  }
  if (FlushFileBuffers(handle.get()) == FALSE) fail("cannot write", target);
}

}  // namespace

PendingFile::PendingFile(std::filesystem::path target)
    : target_(std::move(target)), path_(target_.wstring() + L"." + freshGuidText() + L".partial") {}

PendingFile::~PendingFile() {
  if (isPending_) DeleteFileW(path_.c_str());
}

bool PendingFile::commit(Existing existing) {
  const DWORD replace = existing == Existing::Replace ? MOVEFILE_REPLACE_EXISTING : 0;
  if (MoveFileExW(path_.c_str(), target_.c_str(), MOVEFILE_WRITE_THROUGH | replace) == FALSE) {
    const DWORD error = GetLastError();
    const bool isThere = error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS;
    if (existing == Existing::Keep && isThere) return false;
    fail("cannot write", target_, error);
  }
  isPending_ = false;
  return true;
}

bool writeWholeFile(const std::filesystem::path& target, std::string_view content, PendingFile::Existing existing) {
  PendingFile file(target);
  writeContent(file.path(), target, content);
  return file.commit(existing);
}

std::string readWholeFile(const std::filesystem::path& file, std::size_t maxBytes) {
  const FileHandle handle(CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  LARGE_INTEGER size{};
  if (!handle || GetFileSizeEx(handle.get(), &size) == FALSE) fail("cannot read", file);
  if (static_cast<std::uint64_t>(size.QuadPart) > maxBytes) {
    throw Failure("cannot read " + pathText(file) + ": longer than " + std::to_string(maxBytes) + " bytes");
  }
  std::string content(static_cast<std::size_t>(size.QuadPart), '\0');
  DWORD count = 0;
  if (ReadFile(handle.get(), content.data(), static_cast<DWORD>(content.size()), &count, nullptr) == FALSE) {
    fail("cannot read", file);
  }
  content.resize(count);
  return content;
}

}  // namespace zuvia::tools
