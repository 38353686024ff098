// A whole update by the plugin that ships, from the host information to the event; the memory that it takes; and what
// of it runs on the thread of the host.

// Before windows.h.
#include "common/config/BssConfig.h"

#include <windows.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

#include "Bare.h"
#include "Groups.h"
#include "Host.h"
#include "Packages.h"
#include "common/HostInfo.h"
#include "dllloader/ZuDllLoader.h"
#include "integration/PluginTest.h"
#include "support/Digest.h"
#include "support/Files.h"
#include "support/HostProcess.h"
#include "support/NetworkRedirect.h"
#include "support/Text.h"
#include "support/TrustedRoot.h"
#include "support/Wine.h"
#include "updater/ZuDllUpdater.h"

namespace zuvia::bench {
namespace {

constexpr std::size_t kMebibyte = 1u << 20;
constexpr double kDictionary = 8.0 * kMebibyte;  // of LZMA2 as libarchive writes it
const std::string kVersion = "2.0.0.47";
const std::string kUpgraded = "pluginUpgradeEvent";

test::Offer offerOf(const Package& package) {
  return {kVersion, package.bytes, test::md5(package.bytes), test::md5(package.module),
          "https://config.zuvia.example/zuimpl-2.0.0.47.7z"};
}

// A service that offers one package to whoever asks.
class Service {
 public:
  explicit Service(const Package& package) : offer(offerOf(package)) {
    server.serve("POST", "/configs/pc/post", test::Answer::respond(200, offer.answer()));
    server.serve("GET", "/zuimpl-2.0.0.47.7z", test::Answer::respond(200, offer.package));
  }

  const test::Offer offer;
  test::TestServer server;
  const test::TrustedRoot trusted{server.rootPem()};
};

// A plugin object that has loaded 2.0.0.45, and hears when it has updated. Its tree is as before when it is gone.
class Updating {
 public:
  explicit Updating(const InstalledPlugin& installed)
      : published_(test::joinPath(installed.tree().root(), test::toWide(kVersion))), plugin_(installed) {
    listener_ = plugin_.monitor().addListener([this](const char* name, const char*) {
      if (name != kUpgraded) return;
      const std::lock_guard lock(mutex_);
      upgraded_ = true;
      raised_.notify_all();
    });
    information_ = R"({"uid": 4711, "ver": "9.1.2", "test_env": true, "app_path": ")" +
                   escaped(test::toUtf8(installed.tree().appPath())) + "\"}";
  }

  ~Updating() {
    plugin_.entry().onUnload();
    plugin_.monitor().removeListener(listener_);
    test::removeTree(published_);
  }

  IPluginEntryPoint& entry() { return plugin_.entry(); }
  bool isPublished() const { return test::directoryExists(published_); }
  void inform() { plugin_.monitor().sendCommand("setHostInfo", information_.c_str()); }

  void waitForUpgrade() {
    std::unique_lock lock(mutex_);
    if (!raised_.wait_for(lock, std::chrono::minutes(2), [this] { return upgraded_; })) {
      throw std::runtime_error("There was no update");
    }
  }

 private:
  static std::string escaped(const std::string& path) {
    std::string text;
    for (const char character : path) text += character == '\\' ? std::string("\\\\") : std::string(1, character);
    return text;
  }

  std::wstring published_;
  std::string information_;
  std::mutex mutex_;
  std::condition_variable raised_;
  bool upgraded_ = false;
  LoadedPlugin plugin_;
  uint64_t listener_ = 0;
};

// ---- the whole update ---------------------------------------------------------------------------

// The stages alone, one after another, in a tree of its own.
class BareUpdate {
 public:
  explicit BareUpdate(Service& service) : service_(service) {}

  double operator()() const {
    const std::wstring package = test::joinPath(tree_.base(), L"package.7z");
    const std::wstring temporary = test::joinPath(tree_.root(), L".update");
    const std::wstring target = test::joinPath(tree_.root(), test::toWide(kVersion));
    const Stopwatch stopwatch;
    bareRequest(service_.server.url("/configs/pc/post"), "{}");
    bareDownload(service_.server.url("/zuimpl-2.0.0.47.7z"), package);
    const bool whole = bareMd5(package) == service_.offer.pmd5;
    bareUnpack(package, temporary);
    const bool good = bareMd5(temporary + L"\\zuimpl.dll") == service_.offer.dmd5;
    const bool moved = MoveFileExW(temporary.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH) != FALSE;
    DeleteFileW(package.c_str());
    const double took = stopwatch.milliseconds();
    test::removeTree(target);
    if (!whole || !good || !moved) throw std::runtime_error("The yardstick fails: a stage of the update");
    return took;
  }

 private:
  Service& service_;
  test::InstallTree tree_;
};

// The same as a person would script it, with Linux's own programs: curl, md5sum, 7zz, mv.
class ScriptedUpdate {
 public:
  explicit ScriptedUpdate(Service& service) {
    test::writeFile(test::joinPath(tree_.base(), L"root.pem"), service.server.rootPem());
    const std::string curl = "curl --silent --fail --cacert root.pem ";
    const std::string script =
        "set -e; cd '" + test::toUtf8(test::linuxPath(tree_.base())) + "'; " + curl + "--data '{}' " +
        service.server.url("/configs/pc/post") + " > answer.json; " + curl + "--output package.7z " +
        service.server.url("/zuimpl-2.0.0.47.7z") + "; echo '" + service.offer.pmd5 +
        "  package.7z' | md5sum --check --quiet; 7zz x -bd -otemporary package.7z > 7zz.log; echo '" +
        service.offer.dmd5 + "  temporary/zuimpl.dll' | md5sum --check --quiet; rm package.7z; mv temporary published";
    test::writeFile(script_, script);
  }

  double operator()() const {
    const std::wstring published = test::joinPath(tree_.base(), L"published");
    const Stopwatch stopwatch;
    test::runLinuxProgram(L"/bin/sh", {test::linuxPath(script_)});
    while (!test::directoryExists(published)) {
      if (stopwatch.milliseconds() > 120000) throw std::runtime_error("The script did not update");
      Sleep(1);
    }
    const double took = stopwatch.milliseconds();
    test::removeTree(published);
    return took;
  }

 private:
  test::InstallTree tree_;
  const std::wstring script_ = test::joinPath(tree_.base(), L"update.sh");
};

void measureWhole(const Settings& settings, const InstalledPlugin& installed, Service& service, Rows& rows) {
  const std::string name = "whole update, 50 MiB unpacked";
  if (!settings.wants(name)) return;
  const Operation ours = [&] {
    Updating update(installed);
    const Stopwatch stopwatch;
    update.inform();
    update.waitForUpgrade();
    return stopwatch.milliseconds();
  };
  const BareUpdate bare(service);
  const Medians took = compare(settings.repetitions, ours, [&] { return bare(); });
  rows.push_back({name, took.ours, took.yardstick, "ms", 1.1, "the LZMA2 decoder, TLS and reading the certificates"});
  if (!test::runsUnderWine()) return;
  const ScriptedUpdate scripted(service);
  const Medians scale = compare(settings.repetitions, ours, [&] { return scripted(); });
  rows.push_back({name + ", against a script of Linux programs", scale.ours, scale.yardstick, "ms", {}, "as above"});
}

// ---- memory -------------------------------------------------------------------------------------

double memoryOfUpdate(Service& service) {
  const test::InstallTree tree;
  tree.installPlugin();
  tree.addVersion(L"2.0.0.45", benchModule());
  test::HostProcess host(tree, service.server.port());
  host.load();
  const std::size_t before = host.memory().workingSet;
  host.sendHostInformation();
  if (!host.waitForEvent(kUpgraded + '=' + kVersion, 120000)) throw std::runtime_error("There was no update");
  const std::size_t peak = host.memory().peakWorkingSet;
  host.unload();
  host.exit();
  return static_cast<double>(peak - before);
}

void measureMemory(const Settings& settings, Rows& rows) {
  const std::string name = "peak memory of an update, 90 MiB unpacked";
  if (!settings.wants(name)) return;
  const Package& package = packageOf(90 * kMebibyte);
  Service service(package);
  const auto needed = static_cast<double>(package.bytes.size() + package.content) + kDictionary;
  rows.push_back({name, memoryOfUpdate(service) / kMebibyte, needed / kMebibyte, "MiB", 1.1 + 16.0 * kMebibyte / needed,
                  "package and content are held at once, as the unpacking is stated"});
}

// ---- the thread of the host ---------------------------------------------------------------------

// Milliseconds of the processor and of the clock, added up over several rounds: the system counts in steps of 10 ms.
class ThreadTime {
 public:
  void measure(const std::function<void()>& work) {
    const double processorBefore = processorTime();
    const Stopwatch stopwatch;
    work();
    wall_ += stopwatch.milliseconds();
    processor_ += processorTime() - processorBefore;
    ++rounds_;
  }

  Row row(const std::string& name, const std::string& where) const {
    return {name, processor_ / rounds_, wall_ / rounds_, "ms", {}, where};
  }

 private:
  static double processorTime() {
    FILETIME created, ended, kernel, user;
    GetThreadTimes(GetCurrentThread(), &created, &ended, &kernel, &user);
    return static_cast<double>(ticksOf(kernel) + ticksOf(user)) / 10000;
  }
  static uint64_t ticksOf(const FILETIME& time) {
    return static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
  }

  double processor_ = 0;
  double wall_ = 0;
  unsigned rounds_ = 0;
};

constexpr unsigned kThreadRounds = 3;  // for each repetition

void measureHostThread(const Settings& settings, const InstalledPlugin& installed, const Service& service, Rows& rows) {
  const std::string name = "host thread, processor against wall time: ";
  if (!settings.wants(name)) return;
  ThreadTime load, inform, unload;
  for (unsigned i = 0; i < settings.repetitions * kThreadRounds; ++i) {
    Updating update(installed);
    update.entry().onUnload();
    load.measure([&] { update.entry().onLoaded(""); });
    const std::size_t requests = service.server.requests().size();
    inform.measure([&] { update.inform(); });
    if (!service.server.waitForRequests(requests + 1)) throw std::runtime_error("No update began");
    unload.measure([&] { update.entry().onUnload(); });
    if (!update.isPublished()) throw std::runtime_error("onUnload did not wait for the update");
  }
  rows.push_back(load.row(name + "onLoaded", "the system loads the module"));
  rows.push_back(inform.row(name + "setHostInfo", "clean-up pass, cache file check, hit sequence id"));
  rows.push_back(unload.row(name + "onUnload during an update", "it waits for the update"));
}

// The clean-up pass: what setHostInfo takes when there are versions to remove, against what it takes when there are
// none.
void measureCleanUp(const Settings& settings, const InstalledPlugin& installed, Rows& rows) {
  const std::string name = "on the host thread: setHostInfo that removes 10 versions";
  if (!settings.wants(name)) return;
  const auto informing = [&installed](unsigned versions) -> Operation {
    return [&installed, versions] {
      for (unsigned i = 0; i < versions; ++i) {
        installed.tree().addVersion(L"2.0.0." + std::to_wstring(30 + i), test::moduleFile(L"2.0.0.44"));
      }
      Updating update(installed);
      const Stopwatch stopwatch;
      update.inform();
      return stopwatch.milliseconds();
    };
  };
  const Medians took = compare(settings.repetitions, informing(10), informing(0));
  rows.push_back({name, took.ours, took.yardstick, "ms", {}, "the system removes files and directories"});
}

// What else setHostInfo does on the host's thread, each by itself.
void measureHostSteps(const Settings& settings, Rows& rows) {
  const std::string name = "on the host thread: ";
  if (!settings.wants(name)) return;
  const test::InstallTree tree;
  hostInfo().appPathW = tree.appPath();
  const std::wstring cache = test::joinPath(tree.appPath(), L"zuviaplugin\\cache\\bbs.cache");
  ZuDllUpdater updater(1);
  updater.setAppPath(tree.appPath());
  ThreadTime check, id;
  for (unsigned i = 0; i < settings.repetitions * kThreadRounds; ++i) {
    check.measure([&] { BssConfig::CheckCache(cache); });
    id.measure([&] { updater.getHitSeqId(); });
  }
  rows.push_back(check.row(name + "cache file check", "opening one file"));
  rows.push_back(id.row(name + "hit sequence id", "reading one file"));
}

}  // namespace

void measureUpdate(const Settings& settings, Rows& rows) {
  const SilentLog silent;
  const auto wanted = {"whole update, 50 MiB unpacked", "host thread, processor against wall time: ",
                       "on the host thread: setHostInfo that removes 10 versions"};
  if (std::ranges::any_of(wanted, settings.wants)) {
    const InstalledPlugin installed;
    installed.tree().addVersion(L"2.0.0.45", benchModule());
    Service service(packageOf(50 * kMebibyte));
    const test::NetworkRedirect network(installed.module(), {{"config.zuvia.example", 443, service.server.port()},
                                                             {"localhost", 18443, service.server.port()}});
    // The yardstick's names are looked up in the same way.
    const test::NetworkRedirect yardstick(GetModuleHandleW(nullptr),
                                          {{"localhost", service.server.port(), service.server.port()}});
    measureWhole(settings, installed, service, rows);
    measureHostThread(settings, installed, service, rows);
    measureCleanUp(settings, installed, rows);
  }
  measureHostSteps(settings, rows);
  measureMemory(settings, rows);
}

}  // namespace zuvia::bench
