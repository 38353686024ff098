#pragma once

#include <string>
#include <string_view>

#include "support/Files.h"

namespace zuvia::test {

// An installed plugin in a directory of its own, which is removed with everything in it at the end:
//
//   <base>\root\               where the plugin lies, with its version directories
//   <base>\root\zuviaplugin.dll
//   <base>\app\                the host's application path
//
// Paths are wide, absolute and without a separator at the end. Failures throw std::system_error.
// One thread at a time.
class InstallTree {
 public:
  // Makes the directories, without the plugin. name becomes part of every path; give blanks or characters
  // outside ASCII to test with them.
  explicit InstallTree(const std::wstring& name = L"zuvia");

  // Removes everything, links without following them. What cannot be removed, such as an implementation module
  // that is still loaded, fails the test. The plugin may still be loaded.
  ~InstallTree();

  // It stays when this is gone, for somebody to look at.
  void keep() { kept_ = true; }

  InstallTree(const InstallTree&) = delete;
  InstallTree& operator=(const InstallTree&) = delete;

  const std::wstring& base() const { return base_; }
  std::wstring root() const { return joinPath(base_, L"root"); }
  std::wstring appPath() const { return joinPath(base_, L"app"); }

  // Where the plugin lies once it is installed.
  std::wstring pluginPath() const;

  // Copies the plugin that the build made into the root. Returns pluginPath().
  std::wstring installPlugin() const;

  // Makes a directory below the root with a copy of an implementation module in it, named zuimpl.dll.
  // module: the path of a file (moduleFile() names the ones that the build makes). Returns the directory.
  std::wstring addVersion(const std::wstring& directoryName, const std::wstring& module) const;

  // Writes a file below the root, with the directories above it. Returns its path.
  std::wstring addFile(const std::wstring& relativePath, std::string_view content) const;

  // What is in the root, and in everything including the application path.
  TreeListing list() const { return listTree(root()); }
  TreeListing listAll() const { return listTree(base_); }

 private:
  std::wstring base_;
  bool kept_ = false;
};

// The plugin that the build made.
std::wstring builtPlugin();

// The module zuimpl.dll that the build made under this name: see tests/modules. Throws std::runtime_error when
// there is none.
std::wstring moduleFile(const std::wstring& name);

// The library zucompanion.dll, on which the module "needs-companion" depends.
std::wstring companionFile();

}  // namespace zuvia::test
