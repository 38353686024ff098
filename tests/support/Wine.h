#pragma once

#include <string>
#include <vector>

// What is different under Wine 8, in one place; tests and the rest of this library ask here.
//
// Facts that tests have to know, and need no code:
// - A loaded module can be opened with share mode 0 (Windows refuses). A test of "in use" holds an open handle
//   in a second process instead.
// - A directory with an open file in it can be renamed (Windows refuses): a hook supplies the refusal.
// - A read-only directory can be written to by the user that runs the tests on the Linux side: a hook again.
// - A module that failed to load for a missing dependency (error 126) cannot be deleted by the process that tried
//   (error 5), until that process ends.
// - A file named "nul" swallows what is written, "zuimpl.dll." names "zuimpl.dll", "ab:c" is an ordinary file.

namespace zuvia::test {

bool runsUnderWine();

// Makes a directory link that looks like a junction to programs (a directory and a reparse point). Under Wine it
// is a symbolic link made on the Linux side, because CreateSymbolicLinkW reports success and makes nothing.
// Throws std::runtime_error when it cannot be made.
void makeDirectoryLink(const std::wstring& link, const std::wstring& target);

// Removes a directory with everything in it on the Linux side, also modules that are or stay mapped. Returns
// whether it is gone; does nothing, and returns false, elsewhere than under Wine.
bool removeThroughLinux(const std::wstring& directory);

// Starts a Linux program, whose end nobody tells: arguments as it is to see them. Only under Wine.
void runLinuxProgram(const std::wstring& path, const std::vector<std::wstring>& arguments);

// The Linux side's path of a file. Only under Wine.
std::wstring linuxPath(const std::wstring& path);

}  // namespace zuvia::test
