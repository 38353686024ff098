// From the package to the files of a version.

#include <stdexcept>

#include "Bare.h"
#include "Groups.h"
#include "Host.h"
#include "Packages.h"
#include "support/Files.h"
#include "updater/ZuDllUpdater.h"

namespace zuvia::bench {
namespace {

Medians compareUnpacking(const Settings& settings, std::size_t mebibytes) {
  const test::InstallTree tree;
  const std::wstring package = tree.addFile(L"package.7z", packageOf(mebibytes << 20).bytes);
  const std::wstring directory = test::joinPath(tree.root(), L"unpacked");
  // What was unpacked goes again, unmeasured.
  const auto measured = [&directory](std::function<void()> work) -> Operation {
    return [&directory, unpack = timed(std::move(work))] {
      const double took = unpack();
      test::removeTree(directory);
      return took;
    };
  };
  const auto ours = [&] {
    if (!ZuDllUpdater::unZip(package, directory)) throw std::runtime_error("The package was not unpacked");
  };
  return compare(settings.repetitions, measured(ours), measured([&] { bareUnpack(package, directory); }));
}

}  // namespace

void measureUnpacking(const Settings& settings, Rows& rows) {
  const SilentLog silent;
  for (const std::size_t mebibytes : {10u, 50u, 90u}) {
    const std::string name = "unpacking " + std::to_string(mebibytes) + " MiB of modules";
    if (!settings.wants(name)) continue;
    const Medians took = compareUnpacking(settings, mebibytes);
    rows.push_back({name, took.ours, took.yardstick, "ms", 1.1, "the LZMA2 decoder"});
  }
}

}  // namespace zuvia::bench
