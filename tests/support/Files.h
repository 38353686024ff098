#pragma once

#include <map>
#include <string>
#include <string_view>

// Files and directories for tests. Paths are wide and absolute; names that Windows would change or refuse
// (device names, trailing dots, more than 260 characters) are taken as they are written. Separators: "\".
// Failures throw std::system_error with the path in their text, except where an operation answers false.

namespace zuvia::test {

// Joins a directory and a name below it.
std::wstring joinPath(const std::wstring& directory, std::wstring_view name);

// The part before the last separator; "" when there is none.
std::wstring parentOf(const std::wstring& path);

// The user's directory for temporary files, without a separator at the end.
std::wstring temporaryDirectory();

// The directory of the running program. What the build makes lies there or beside it.
std::wstring programDirectory();

bool fileExists(const std::wstring& path);       // a file, or a link to one
bool directoryExists(const std::wstring& path);  // a directory, or a link to one

// Makes a directory and those above it that are missing.
void makeDirectories(const std::wstring& path);

// Writes a file whole, over an existing one; makes the directories above it that are missing.
void writeFile(const std::wstring& path, std::string_view content);

// Reads a file whole, also while others have it open for writing.
std::string readFile(const std::wstring& path);

// Copies a file, with its directories as writeFile does. The copy can be written to.
void copyFile(const std::wstring& from, const std::wstring& to);

// Removes a file, or a directory with everything in it, also what is read-only. Links are removed, never
// followed. What does not exist is no failure.
void removeTree(const std::wstring& path);

// What is below a directory: relative path to "directory", "link", or a file's size and SHA-256. Two listings
// are equal when the trees are, so that a test can tell that nothing has changed. Links are not followed.
using TreeListing = std::map<std::wstring, std::string>;
TreeListing listTree(const std::wstring& directory);

// The listing of a directory with these files (relative path to content) and the directories above them.
TreeListing listingOf(const std::map<std::wstring, std::string>& files);

// Says in one line each what is new in, missing from and different in `after`; "" when nothing is.
std::string describeChanges(const TreeListing& before, const TreeListing& after);

}  // namespace zuvia::test
