#include "zupack/Files.h"

#include "platform/Directories.h"
#include "platform/Windows.h"
#include "shared/CommandLine.h"
#include "shared/SystemError.h"
#include "shared/Utf8.h"
#include "updater/ZuDllUpdater.h"
#include "zupack/ProductLog.h"

namespace zuvia::zupack {

using tools::Failure;

void requireFile(const std::filesystem::path& file) {
  if (!isFile(file.wstring())) throw Failure("not a file: " + tools::pathText(file));
}

std::string digestOf(const std::filesystem::path& file) {
  ProductLog log;
  std::string digest = ZuDllUpdater::getFileMD5(file.wstring());
  if (digest.empty()) throw Failure(log.takeFirst().value_or("cannot read " + tools::pathText(file)));
  return digest;
}

void makeDirectory(const std::filesystem::path& directory) {
  const int code = createDirectories(std::filesystem::absolute(directory).wstring());
  if (isDirectory(directory.wstring())) return;
  throw Failure("cannot make the directory " + tools::pathText(directory) + ": " +
                tools::systemErrorText(static_cast<std::uint32_t>(code)));
}

void removeFile(const std::filesystem::path& file) {
  if (DeleteFileW(file.c_str()) != FALSE) return;
  const DWORD error = GetLastError();
  if (error == ERROR_FILE_NOT_FOUND) return;
  throw Failure("cannot replace " + tools::pathText(file) + ": " + tools::systemErrorText(error));
}

}  // namespace zuvia::zupack
