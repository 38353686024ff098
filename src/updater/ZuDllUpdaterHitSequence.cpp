#include <filesystem>
#include <fstream>

#include "platform/Directories.h"
#include "updater/HitSequence.h"
#include "updater/ZuDllUpdater.h"
#include "updater/ZuDllUpdaterLog.h"

namespace zuvia {

std::string ZuDllUpdater::getHitSeqId() {
  if (appPath_.empty()) {
    UPDATER_LOG("getHitSeqId") << "getHitSeqId path empty fail!";
    return {};
  }
  const std::wstring directory = cacheDirectory();
  if (!isDirectory(directory)) {
    createDirectories(directory);
  }
  const std::filesystem::path file = directory + L"\\hit.cache";

  std::string line;
  std::getline(std::ifstream(file), line);
  const std::string_view kept = trimHitSequence(line);
  if (!kept.empty()) {
    return std::string(kept);
  }
  std::string made = makeHitSequence();
  std::ofstream(file, std::ios::trunc) << made;
  return made;
}

}  // namespace zuvia
