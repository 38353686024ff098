#pragma once

#include <cstddef>
#include <map>
#include <string>

#include "integration/PluginTest.h"
#include "support/Files.h"
#include "support/InstallTree.h"

namespace zuvia::test {

// A version, as the service offers it and as it lies on the disk when it is published.
struct Release {
  Offer offer;
  TreeListing files;

  const std::string& version() const { return offer.version; }
};

// Makes releases of any version: one module, whose version changes, and files beside it, which do not. The packages are
// not compressed, so that making them takes little time.
class ReleaseMaker {
 public:
  // Path below a version directory, separated by "\", to content.
  using Companions = std::map<std::wstring, std::string>;

  // module: the content of a module file.
  ReleaseMaker(std::string module, Companions companions);

  // version: four numbers, "2.0.0.47".
  Release make(const std::string& version) const;

  // Puts a version where an update would have.
  void install(const InstallTree& tree, const std::string& version) const;

 private:
  const std::string module_;
  const Companions companions_;
  TreeListing companionFiles_;
};

// The smallest release that a host can load, in which every call of Windows is of another kind than the one before.
ReleaseMaker smallReleases();

// Releases large enough to be met in the middle of everything that is done with them: a file of so many bytes that do
// not compress, and small files, so many of which are unpacked before the module and as many after it.
ReleaseMaker largeReleases(std::size_t bytes = 16 << 20, int files = 100);

}  // namespace zuvia::test
