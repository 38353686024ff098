#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "common/UpdateEntry.h"
#include "zupack/Loading.h"
#include "zupack/TemporaryDirectory.h"

namespace zuvia::zupack {

// A package, unpacked as a host unpacks it; what was unpacked goes away with the object.
class UnpackedPackage {
 public:
  // Throws tools::Failure when the file is none, or, with status kCheckFailed, when hosts would refuse to unpack it;
  // that names what they would log.
  explicit UnpackedPackage(const std::filesystem::path& package);

  // The implementation module in it.
  std::filesystem::path module() const;

  // The names of its files, parts joined by "/", in ascending order.
  std::vector<std::string> names() const;

  // Where a file of it lies now.
  std::filesystem::path pathOf(const std::string& name) const;

  Neighbours neighbours() const;

 private:
  TemporaryDirectory directory_;
};

// The libraries that lie in a directory, not below it.
Neighbours librariesIn(std::filesystem::path directory);

struct PackageFacts {
  UpdateEntry entry;                // without its url
  std::vector<std::string> faults;  // why no host could load the module, as in LoadingCheck
};

// Makes the entry for a finished package. Throws as UnpackedPackage does, and when the module has no version.
PackageFacts examinePackage(const std::filesystem::path& package, const std::set<std::string>& hostLibraries);

// The same for somebody who publishes it: an address for it below the base, and nothing that hosts could not load
// unless it is forced. overridden: receives what spoke against it then. Throws tools::Failure when something speaks
// against it.
UpdateEntry entryOf(const std::filesystem::path& package, const std::string& baseUrl,
                    const std::set<std::string>& hostLibraries, bool force, std::vector<std::string>& overridden);

// Throws tools::Failure with the first of the faults, if there are any. what: the file that is spoken of.
void requireLoadable(const std::string& what, const std::vector<std::string>& faults);

}  // namespace zuvia::zupack
