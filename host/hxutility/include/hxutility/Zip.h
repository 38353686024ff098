#pragma once

#include <cstddef>
#include <map>
#include <string>

#if !defined(_WIN32)
#define HXUTILITY_API
#elif defined(HXUTILITY_BUILDING)
#define HXUTILITY_API __declspec(dllexport)
#else
#define HXUTILITY_API __declspec(dllimport)
#endif

namespace HxUtility::zip {

// Unpacks a whole, unencrypted 7z archive into memory.
//
// data, size: the archive; only read during the call.
// out: replaced by the files of the archive, from entry name (UTF-16 on Windows, separators as in the
//      archive) to content. Directories are left out; an empty file has an empty content.
// Returns whether every file was read whole. On failure out is empty. What is not a 7z archive,
// is damaged, truncated, encrypted or one volume of several is a failure, and so is an archive that
// unpacks to more than 536870912 bytes (512 MiB) in all.
// Any thread, several calls at once. Logs nothing and lets no exception pass.
HXUTILITY_API bool UnZip7zToMemory(const void* data, size_t size, std::map<std::wstring, std::string>& out);

}  // namespace HxUtility::zip
