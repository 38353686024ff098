#pragma once

#include <filesystem>
#include <vector>

#include "zupack/PackageContent.h"

namespace zuvia::zupack {

// Writes the files into a new 7z archive (LZMA2), in the given order. The same files give the same bytes: neither times
// nor owners are written. Throws tools::Failure, which names the file that could not be read or written; what
// was written until then stays.
void writeArchive(const std::filesystem::path& archive, const std::vector<PackageFile>& files);

}  // namespace zuvia::zupack
