#include "dllloader/ZuDllLoader.h"

namespace zuvia {

std::string ZuDllLoader::shortVersionString() const {
  return module_ ? candidateShortVersionString(current_) : std::string();
}

void ZuDllLoader::unload() {
  module_.reset();
  loaded_ = false;
}

}  // namespace zuvia
