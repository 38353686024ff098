#include <hxutility/Zip.h>

#include "ArchiveReader.h"

namespace HxUtility::zip {

bool UnZip7zToMemory(const void* data, size_t size, std::map<std::wstring, std::string>& out) {
  out.clear();
  if (data == nullptr) return false;
  try {
    hxutility::Files files;
    if (!hxutility::readArchive({static_cast<const char*>(data), size}, hxutility::kMaxUnpackedBytes, files)) {
      return false;
    }
    out.swap(files);
    return true;
  } catch (...) {  // no memory
    return false;
  }
}

}  // namespace HxUtility::zip
