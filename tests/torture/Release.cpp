#include "torture/Release.h"

#include <random>
#include <utility>

#include "support/Digest.h"
#include "support/ModuleVersion.h"
#include "support/PackageBuilder.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

constexpr const wchar_t* kModule = L"zuimpl.dll";

std::string randomContent(std::size_t size) {
  std::mt19937_64 random(size);
  std::string content;
  content.reserve(size + sizeof(std::uint64_t));
  while (content.size() < size) {
    const std::uint64_t word = random();
    content.append(reinterpret_cast<const char*>(&word), sizeof word);
  }
  return content;
}

}  // namespace

ReleaseMaker::ReleaseMaker(std::string module, Companions companions)
    : module_(std::move(module)), companions_(std::move(companions)), companionFiles_(listingOf(companions_)) {}

Release ReleaseMaker::make(const std::string& version) const {
  const std::string module = withFileVersion(module_, version);
  PackageBuilder builder("copy");
  for (const auto& [path, content] : companions_) builder.add(path, content);
  const std::string package = builder.add(kModule, module).build();
  Release release{{version, package, md5(package), md5(module), "https://config.zuvia.example/package.7z"},
                  companionFiles_};
  release.files.merge(listingOf({{kModule, module}}));
  return release;
}

void ReleaseMaker::install(const InstallTree& tree, const std::string& version) const {
  const std::wstring directory = joinPath(tree.root(), toWide(version));
  for (const auto& [path, content] : companions_) writeFile(joinPath(directory, path), content);
  writeFile(joinPath(directory, kModule), withFileVersion(module_, version));
}

ReleaseMaker smallReleases() {
  return {readFile(moduleFile(L"tiny")), {{L"sub\\companion.txt", "companion"}}};
}

ReleaseMaker largeReleases(std::size_t bytes, int files) {
  ReleaseMaker::Companions companions = {{L"companion.bin", randomContent(bytes)}};
  for (int i = 0; i < files; ++i) {
    const std::wstring number = std::to_wstring(i);
    companions[L"before\\" + number + L".txt"] = randomContent(1000);
    companions[L"zz\\" + number + L".txt"] = randomContent(1000);
  }
  return {readFile(moduleFile(L"2.0.0.45")), companions};
}

}  // namespace zuvia::test
