#include "zupack/Loading.h"

#include <algorithm>
#include <map>
#include <utility>

#include "common/Limits.h"
#include "common/VersionText.h"
#include "platform/Windows.h"
#include "shared/CommandLine.h"
#include "shared/PendingFile.h"
#include "shared/Utf8.h"
#include "updater/ZuDllUpdater.h"
#include "zupack/PackageContent.h"
#include "zupack/ProductLog.h"
#include "zupack/SystemLibraries.h"

namespace zuvia::zupack {
namespace {

constexpr const char* kExport = "createImpl";
constexpr std::uint16_t kMachine = IMAGE_FILE_MACHINE_AMD64;

std::string list(const std::vector<std::string>& names) {
  constexpr std::size_t kShown = 5;
  std::string text;
  for (std::size_t index = 0; index < std::min(names.size(), kShown); ++index) {
    text += (index == 0 ? "" : ", ") + names[index];
  }
  return names.size() <= kShown ? text : text + " and " + std::to_string(names.size() - kShown) + " more";
}

bool contains(const std::vector<std::string>& names, const std::string& name) {
  return std::ranges::find(names, name) != names.end();
}

// Goes from the module through everything in its directory that it needs.
class Walk {
 public:
  Walk(const Surroundings& surroundings, std::vector<std::string>& faults)
      : surroundings_(surroundings), faults_(faults) {}

  // The module is known from here on, so that a companion that needs it does not lead back into it.
  void lookFrom(const std::string& module, const ModuleImage& image) {
    seen_.emplace(lowerCase(module), image);
    look(module, image);
  }

 private:
  void look(const std::string& name, const ModuleImage& image) {
    for (const ImportedLibrary& library : image.imports) look(name, library);
  }

  void look(const std::string& user, const ImportedLibrary& library) {
    const Provider provider = surroundings_.providerOf(library.name);
    if (provider == Provider::Nobody) {
      faults_.push_back(user + " needs " + library.name +
                        ", which neither the package nor a host nor Windows has; add it with --add, or name it with "
                        "--host-library when the host brings it");
    }
    if (provider == Provider::Package) lookBeside(user, library);
  }

  void lookBeside(const std::string& user, const ImportedLibrary& library) {
    const ModuleImage* const image = neighbour(library.name);
    if (image == nullptr) return;
    std::vector<std::string> absent;
    for (const std::string& function : library.functions) {
      if (!contains(image->exports, function)) absent.push_back(function);
    }
    if (!absent.empty()) {
      faults_.push_back(user + " takes from " + library.name + " what the one beside it does not export: " +
                        list(absent) + "; add the one that it was linked with");
    }
  }

  // Reads a library at the first time, and everything that it needs. Null when it is of no use.
  const ModuleImage* neighbour(const std::string& name) {
    const auto [found, isNew] = seen_.try_emplace(lowerCase(name));
    std::optional<ModuleImage>& image = found->second;
    if (!isNew) return image ? &*image : nullptr;
    try {
      image = readModule(*surroundings_.neighbours(name));
    } catch (const tools::Failure& failure) {
      faults_.emplace_back(failure.what());
      return nullptr;
    }
    if (image->machine != kMachine) {
      faults_.push_back(name + " beside it is built for " + architectureName(image->machine) + ", hosts are x64");
      image.reset();
      return nullptr;
    }
    look(name, *image);
    return &*image;
  }

  const Surroundings& surroundings_;
  std::vector<std::string>& faults_;
  std::map<std::string, std::optional<ModuleImage>> seen_;
};

// The version of its resource, or why there is none.
std::optional<std::string> versionOf(const std::filesystem::path& module, std::string& reason) {
  ProductLog log;
  DllCandidate version;
  if (ZuDllUpdater::getDllVersion(module.wstring(), version)) return candidateVersionString(version);
  reason = log.takeFirst().value_or("it cannot be read");
  return std::nullopt;
}

void checkImage(LoadingCheck& check) {
  const ModuleImage& image = *check.image;
  if (image.machine != kMachine) {
    check.faults.push_back("it is built for " + architectureName(image.machine) + ", hosts are x64; build it for x64");
  }
  if (!image.isLibrary) check.faults.emplace_back("it is a program, not a DLL; link it as a DLL");
}

void checkVersion(LoadingCheck& check, const std::filesystem::path& module) {
  std::string reason;
  check.version = versionOf(module, reason);
  if (!check.version) {
    check.faults.push_back("it has no version resource, so that hosts pass over it (" + reason +
                           "); link a VERSIONINFO resource into it");
  }
}

void checkExport(LoadingCheck& check) {
  if (contains(check.image->exports, kExport)) return;
  check.faults.push_back(std::string("it does not export ") + kExport + "; declare that extern \"C\" and exported");
}

}  // namespace

Provider Surroundings::providerOf(const std::string& library) const {
  const std::string name = lowerCase(library);
  if (isSystemLibrary(name)) return Provider::System;
  if (isHostLibrary(name) || hostLibraries.contains(name)) return Provider::Host;
  return neighbours(library) ? Provider::Package : Provider::Nobody;
}

ModuleImage readModule(const std::filesystem::path& file) {
  const std::string bytes = tools::readWholeFile(file, kMaxPackageBytes);
  try {
    return readModuleImage(bytes);
  } catch (const tools::Failure& failure) {
    throw tools::Failure(tools::pathText(file) + " cannot be read as a module: " + failure.what());
  }
}

LoadingCheck checkLoading(const std::filesystem::path& module, const Surroundings& surroundings) {
  LoadingCheck check;
  const std::string bytes = tools::readWholeFile(module, kMaxPackageBytes);
  try {
    check.image = readModuleImage(bytes);
  } catch (const tools::Failure& failure) {
    check.faults.emplace_back(std::string(failure.what()) + "; name a DLL for Windows x64");
    return check;
  }
  checkImage(check);
  checkVersion(check, module);
  checkExport(check);
  if (check.image->machine == kMachine) Walk(surroundings, check.faults).lookFrom(kModuleName, *check.image);
  return check;
}

}  // namespace zuvia::zupack
