// The module file as it ships.

#include "Groups.h"
#include "support/Files.h"
#include "support/InstallTree.h"

namespace zuvia::bench {

void measureSize(const Settings& settings, Rows& rows) {
  const std::string name = "size of zuviaplugin.dll";
  if (!settings.wants(name)) return;
  const auto kibibytes = [](const std::wstring& file) {
    return static_cast<double>(test::readFile(file).size()) / 1024;
  };
  const std::wstring baseline = test::joinPath(test::programDirectory(), L"zuvia_bench_libraries.dll");
  rows.push_back({name, kibibytes(test::builtPlugin()), kibibytes(baseline), "KiB", 1.1, "OpenSSL and libcurl"});
}

}  // namespace zuvia::bench
