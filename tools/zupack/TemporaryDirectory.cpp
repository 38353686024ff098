#include "zupack/TemporaryDirectory.h"

#include <filesystem>

#include "platform/Guid.h"
#include "updater/ZuDllUpdater.h"

namespace zuvia::zupack {

TemporaryDirectory::TemporaryDirectory()
    : path_((std::filesystem::temp_directory_path() / (L"zupack-" + freshGuidText())).wstring()) {}

TemporaryDirectory::~TemporaryDirectory() {
  ZuDllUpdater::deleteDirectory(path_);
}

}  // namespace zuvia::zupack
