#pragma once

#include <string>

namespace zuvia::test {

// Makes a link to a directory, as a junction would be: a directory that is a reparse point.
//
// link: a path that does not exist yet, in a directory that does. target: an existing directory.
// Both: characters of ASCII only. Throws std::runtime_error when the link is not there in the end.
void linkDirectory(const std::wstring& link, const std::wstring& target);

}  // namespace zuvia::test
