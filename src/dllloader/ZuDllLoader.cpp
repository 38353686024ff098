#include "dllloader/ZuDllLoader.h"

namespace zuvia {

const std::string& ZuDllLoader::versionString() {
  if (!module_) {
    return noVersion_;
  }
  if (versionText_.empty()) {
    versionText_ = candidateVersionString(current_);
  }
  return versionText_;
}

std::string ZuDllLoader::shortVersionString() const {
  return module_ ? candidateShortVersionString(current_) : std::string();
}

void ZuDllLoader::unload() {
  module_.reset();
  loaded_ = false;
}

}  // namespace zuvia
