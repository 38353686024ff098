// Keeping one exchange when the file need not be written: with many exchanges in the table it must not cost more.

#include <json/writer.h>
// Before windows.h.
#include "common/config/BssConfig.h"

#include <array>
#include <filesystem>
#include <fstream>

#include "Groups.h"
#include "Host.h"
#include "common/HostInfo.h"
#include "support/Files.h"
#include "support/InstallTree.h"

namespace zuvia::bench {
namespace {

constexpr std::array<unsigned, 3> kEntries = {1, 100, 10000};
const std::string kResponse(300, 'x');

CacheKey keyOf(unsigned number) {
  return {"https://localhost/configs/pc/post", "{\"number\": " + std::to_string(number) + '}', {"uid: 4711"}};
}

// Writes the document of a table of so many entries.
Operation writing(unsigned entries, const std::wstring& path) {
  CacheTable table;
  for (unsigned i = 0; i < entries; ++i) table.insert_or_assign(keyOf(i), CacheEntry{kResponse, 1});
  return timed([table, path] { std::ofstream(std::filesystem::path(path), std::ios::trunc) << cacheDocument(table); });
}

}  // namespace

void measureCache(const Settings& settings, Rows& rows) {
  const std::string name = "StoreToCache that writes nothing, entries: ";
  if (!settings.wants(name)) return;
  const SilentLog silent;
  const test::InstallTree tree;
  hostInfo().appPathW = tree.appPath();
  BssConfig client(1, "bench", "bench");
  unsigned stored = 0;
  std::vector<double> skipped;
  for (const unsigned entries : kEntries) {
    while (stored < entries) client.StoreToCache(keyOf(stored++), kResponse);  // the first one writes the file
    const Operation ours = timed([&] { client.StoreToCache(keyOf(0), kResponse); });
    const Medians took =
        compare(settings.repetitions, ours, writing(entries, test::joinPath(tree.base(), L"yardstick.cache")));
    rows.push_back(
        {name + std::to_string(entries), took.ours * 1000, took.yardstick * 1000, "µs", 0.1, "one log line"});
    skipped.push_back(took.ours * 1000);
  }
  rows.push_back({name + "10000 against 1", skipped.back(), skipped.front(), "µs", 3, "memory that is far away"});
}

}  // namespace zuvia::bench
