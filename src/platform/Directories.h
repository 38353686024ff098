#pragma once

#include <string>

namespace zuvia {

// Makes a directory with all its missing parents. Returns the system's code: 0 when it was made,
// 183 (ERROR_ALREADY_EXISTS) or 80 (ERROR_FILE_EXISTS) when there is something already.
// Any thread. Logs nothing.
int createDirectories(const std::wstring& directory);

// Whether the path names an existing directory, a link to one included. Any thread.
bool isDirectory(const std::wstring& path);

// Whether the path names something that exists and is no directory. Any thread.
bool isFile(const std::wstring& path);

}  // namespace zuvia
