#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <vector>

#include "zupack/PackageContent.h"

namespace zuvia::zupack {

// Called with how many bytes of the contents were taken so far, and how many there are in all.
using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

// Writes the files into a new 7z archive (LZMA2), in the given order. The same contents under the same names give the
// same bytes: neither times nor owners nor places are written. progress: may be empty. Throws tools::Failure, which
// names the file that could not be read or written; what was written until then stays.
void writeArchive(const std::filesystem::path& archive, const std::vector<PackageFile>& files,
                  const Progress& progress = {});

}  // namespace zuvia::zupack
