#include "zupack/Inspect.h"

#include <fstream>
#include <optional>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"
#include "zupack/Files.h"
#include "zupack/Loading.h"
#include "zupack/UnpackedPackage.h"
#include "zupack/VersionStrings.h"

namespace zuvia::zupack {
namespace {

constexpr std::size_t kLabelWidth = 13;

class Report {
 public:
  explicit Report(const Say& say) : say_(say) {}

  void add(const std::string& label, const std::string& fact) const {
    say_(label + std::string(kLabelWidth - label.size(), ' ') + fact);
  }
  void add(const std::string& label, const std::string& name, const std::string& fact) const {
    add(label, name + ": " + fact);
  }

 private:
  const Say& say_;
};

std::string sizeAndDigest(const std::filesystem::path& file) {
  return std::to_string(std::filesystem::file_size(file)) + " bytes, MD5 " + digestOf(file);
}

std::string providerText(Provider provider) {
  switch (provider) {
    case Provider::System:
      return "Windows";
    case Provider::Host:
      return "the host";
    case Provider::Package:
      return "beside it";
    case Provider::Nobody:
      break;
  }
  return "MISSING";
}

std::string functionCount(const ImportedLibrary& library) {
  const std::size_t count = library.functions.size();
  return std::to_string(count) + (count == 1 ? " function" : " functions");
}

void addImports(const Report& report, const std::string& label, const std::vector<ImportedLibrary>& libraries,
                const Surroundings& surroundings) {
  for (const ImportedLibrary& library : libraries) {
    report.add(label, library.name,
               providerText(surroundings.providerOf(library.name)) + ", " + functionCount(library));
  }
}

void addImage(const Report& report, const ModuleImage& image, const Surroundings& surroundings) {
  report.add("architecture", architectureName(image.machine));
  report.add("kind", image.isLibrary ? "DLL" : "program");
  for (const std::string& name : image.exports) {
    if (!name.starts_with('#')) report.add("export", name);
  }
  addImports(report, "import", image.imports, surroundings);
  addImports(report, "delayed", image.delayed, surroundings);
}

std::vector<std::string> inspectModule(const Report& report, const std::filesystem::path& module,
                                       const Surroundings& surroundings) {
  LoadingCheck check = checkLoading(module, surroundings);
  if (check.version) report.add("version", *check.version);
  for (const auto& [name, text] : versionStrings(module)) report.add("resource", name, text);
  if (check.image) addImage(report, *check.image, surroundings);
  for (const std::string& fault : check.faults) report.add("fault", fault);
  return check.faults;
}

std::vector<std::string> inspectPackage(const Report& report, const std::filesystem::path& package,
                                        const std::set<std::string>& hostLibraries) {
  report.add("package", tools::pathText(package));
  report.add("size", sizeAndDigest(package));
  const UnpackedPackage unpacked(package);
  for (const std::string& name : unpacked.names()) {
    report.add("entry", name, sizeAndDigest(unpacked.pathOf(name)));
  }
  return inspectModule(report, unpacked.module(), {unpacked.neighbours(), hostLibraries});
}

bool beginsWith(const std::filesystem::path& file, std::string_view signature) {
  std::ifstream input(file, std::ios::binary);
  std::string begin(signature.size(), '\0');
  input.read(begin.data(), static_cast<std::streamsize>(begin.size()));
  return input.good() && begin == signature;
}

}  // namespace

std::vector<std::string> inspect(const std::filesystem::path& file, const std::set<std::string>& hostLibraries,
                                 const Say& say) {
  requireFile(file);
  const Report report(say);
  if (beginsWith(file, "7z\xBC\xAF\x27\x1C")) return inspectPackage(report, file, hostLibraries);
  if (!beginsWith(file, "MZ")) {
    throw tools::Failure("neither a 7z package nor a Windows module: " + tools::pathText(file));
  }
  report.add("module", tools::pathText(file));
  report.add("size", sizeAndDigest(file));
  return inspectModule(report, file, {librariesIn(file.parent_path()), hostLibraries});
}

}  // namespace zuvia::zupack
