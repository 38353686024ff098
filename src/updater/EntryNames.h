#pragma once

#include <string>
#include <string_view>

namespace zuvia {

// Whether an archive entry may be written below a directory under this name: 1 to 260 characters,
// beginning with neither separator, no colon in second place (a drive), and no component, split at
// both separators, that is "..". Components that are "." or empty may be there.
bool isLegalEntryName(std::wstring_view name);

// Whether the name has no directory in it.
bool isTopLevelEntryName(std::wstring_view name);

// The file that an entry of this name becomes below a directory: both joined, every separator of the name a backslash.
std::wstring entryPath(const std::wstring& directory, std::wstring name);

}  // namespace zuvia
