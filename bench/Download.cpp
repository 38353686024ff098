// One transfer over TLS, from this machine to this machine.

#include "Bare.h"
#include "Groups.h"
#include "Host.h"
#include "common/HostInfo.h"
#include "support/Files.h"
#include "support/TestServer.h"
#include "support/TrustedRoot.h"
#include "updater/ZuDllUpdater.h"

namespace zuvia::bench {

void measureDownload(const Settings& settings, Rows& rows) {
  const std::string name = "download of 90 MiB over TLS";
  if (!settings.wants(name)) return;
  const SilentLog silent;
  const test::InstallTree tree;
  hostInfo().appPathW = tree.appPath();
  test::TestServer server;
  const test::TrustedRoot trusted(server.rootPem());
  server.serve("GET", "/package.7z", test::Answer::respond(200, noise(90u << 20)));
  const std::string url = server.url("/package.7z");
  const std::wstring path = test::joinPath(tree.base(), L"package.7z");
  ZuDllUpdater updater(1);
  const auto ours = [&] {
    if (!updater.download(path, url)) throw std::runtime_error("The download failed");
  };
  const Medians took = compare(settings.repetitions, timed(ours), timed([&] { bareDownload(url, path); }));
  rows.push_back({name, took.ours, took.yardstick, "ms", 1.05, "TLS, and the server on the same two processors"});
}

}  // namespace zuvia::bench
