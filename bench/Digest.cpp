// The MD5 of a file as large as a package may be.

#include <windows.h>
// After windows.h.
#include <wincrypt.h>

#include <array>
#include <stdexcept>
#include <vector>

#include "Bare.h"
#include "Groups.h"
#include "support/Files.h"
#include "support/InstallTree.h"
#include "updater/ZuDllUpdater.h"

namespace zuvia::bench {

void measureDigest(const Settings& settings, Rows& rows) {
  const std::string name = "MD5 of 100 MiB";
  if (!settings.wants(name)) return;
  const test::InstallTree tree;
  const std::wstring file = tree.addFile(L"package.7z", noise(100u << 20));
  std::string ours;
  std::string theirs;
  const Medians took = compare(settings.repetitions, timed([&] { ours = ZuDllUpdater::getFileMD5(file); }),
                               timed([&] { theirs = bareMd5(file); }));
  if (ours != theirs) throw std::runtime_error("The digests differ");
  rows.push_back({name, took.ours, took.yardstick, "ms", 1.15, "reading in chunks of 8192 bytes"});
}

}  // namespace zuvia::bench
