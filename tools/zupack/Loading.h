#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "zupack/ModuleImage.h"

namespace zuvia::zupack {

// Where a host finds a library that a module needs.
enum class Provider {
  System,   // every Windows has it
  Host,     // the host has loaded it
  Package,  // it lies beside the module
  Nobody,
};

// Returns the file of this name (any letter case) that lies in the module's own directory once it is installed; nothing
// when there is none.
using Neighbours = std::function<std::optional<std::filesystem::path>(const std::string& name)>;

// Who provides the libraries that a module needs.
struct Surroundings {
  Neighbours neighbours;
  std::set<std::string> hostLibraries;  // beside those that every host has; in lower case

  Provider providerOf(const std::string& library) const;
};

// What is known about a module before any host loads it.
struct LoadingCheck {
  std::optional<ModuleImage> image;    // nothing: it cannot be read as one
  std::optional<std::string> version;  // of its version resource, four numbers
  // Why no host could load it, one line each, the decisive one first; none: nothing that can be seen speaks against it.
  std::vector<std::string> faults;
};

// Looks at a module as a host's loader would: architecture, kind, version resource, the export createImpl, and what it
// and the libraries beside it need. Nothing is loaded, no code of it runs.
// Throws tools::Failure when the file, or a library beside it, cannot be read at all.
LoadingCheck checkLoading(const std::filesystem::path& module, const Surroundings& surroundings);

// Reads one module. Throws tools::Failure, which names the file, when it is none.
ModuleImage readModule(const std::filesystem::path& file);

}  // namespace zuvia::zupack
