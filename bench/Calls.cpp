// What a host calls often, and what happens often inside: measured by Google Benchmark, the repetitions of all of them
// in random order.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <cwchar>
#include <map>
#include <optional>
#include <stdexcept>

#include "Allocations.h"
#include "Groups.h"
#include "Host.h"
#include "common/LogRecord.h"

namespace zuvia::bench {
namespace {

using benchmark::DoNotOptimize;
using benchmark::State;

// ---- pairs of benchmarks ------------------------------------------------------------------------

const std::string kOurs = "/ours";
const std::string kYardstick = "/yardstick";

// The times of each repetition, in nanoseconds, by the name of the benchmark.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) throw std::runtime_error(run.error_message);
      if (run.run_type == Run::RT_Iteration) times_[run.run_name.function_name].push_back(run.GetAdjustedRealTime());
    }
  }
  double medianOf(const std::string& name) const { return median(times_.at(name)); }

 private:
  std::map<std::string, std::vector<double>> times_;
};

// Has a benchmark do nothing but this, again and again.
template <typename Call>
auto each(Call call) {
  return [call](State& state) mutable {
    for ([[maybe_unused]] auto again : state) call();
  };
}

class Calls {
 public:
  explicit Calls(const Settings& settings) : settings_(settings) {}

  template <typename Ours, typename Yardstick>
  void add(const std::string& name, std::optional<double> target, const char* limitedBy, Ours ours,
           Yardstick yardstick) {
    if (!settings_.wants(name)) return;
    benchmark::RegisterBenchmark((name + kOurs).c_str(), ours);
    benchmark::RegisterBenchmark((name + kYardstick).c_str(), yardstick);
    rows_.push_back({name, 0, 0, "ns", target, limitedBy});
  }

  // Runs what was added, and appends the rows.
  void run(Rows& rows);

 private:
  const Settings& settings_;
  Rows rows_;
};

void Calls::run(Rows& rows) {
  if (rows_.empty()) return;
  std::array<std::string, 4> options = {"zuvia_bench",
                                        "--benchmark_repetitions=" + std::to_string(settings_.repetitions),
                                        "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.02"};
  std::array<char*, 4> arguments{};
  std::ranges::transform(options, arguments.begin(), [](std::string& option) { return option.data(); });
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  benchmark::ClearRegisteredBenchmarks();
  for (Row& row : rows_) {
    row.ours = collector.medianOf(row.name + kOurs);
    row.yardstick = collector.medianOf(row.name + kYardstick);
    rows.push_back(row);
  }
}

// ---- the plugin object --------------------------------------------------------------------------

void addObject(Calls& calls, LoadedPlugin& plugin, IPluginEntryPoint& implementation) {
  auto* const monitor = static_cast<IWxMonitor*>(implementation.queryInterface(IID_IWxMonitor));
  auto* const loader = static_cast<IPluginLoader*>(implementation.queryInterface(IID_IPluginLoader));
  calls.add("sendCommand passed on", 1.5, "one more virtual call and three compares of the command",
            each([&plugin] { DoNotOptimize(plugin.monitor().sendCommand("status", "")); }),
            each([monitor, answer = std::string()]() mutable {
              answer = monitor->sendCommand("status", "");
              DoNotOptimize(answer.data());
            }));
  const auto virtualCall = each([loader] { DoNotOptimize(loader->isLoaded()); });
  calls.add("isLoaded", 3, "the state is behind two pointers",
            each([&plugin] { DoNotOptimize(plugin.loader().isLoaded()); }), virtualCall);
  const auto getVersion = each([&plugin] { DoNotOptimize(plugin.loader().getVersion()); });
  calls.add("getVersion", 3, "the text goes to the one that sendCommand returns, too", getVersion, virtualCall);
  calls.add("getVersion against a call that copies its text", std::nullopt, "the share of the copy in the row above",
            getVersion,
            each([loader, version = std::string(plugin.loader().getVersion()), text = std::string()]() mutable {
              DoNotOptimize(loader->isLoaded());
              text = version;
              DoNotOptimize(text.data());
            }));
}

void addInterfaceQuery(Calls& calls, LoadedPlugin& plugin) {
  // In memory, so that the compiler does not know what they are.
  static std::array<const char*, 4> ids = {IID_IPluginEntryPoint, IID_IPluginLoader, IID_IWxMonitor, IID_IZUPlugin};
  DoNotOptimize(ids.data());
  calls.add("queryInterface of the last identifier", 3, "four compares",
            each([&plugin] { DoNotOptimize(plugin.entry().queryInterface(ids[3])); }), each([] {
              benchmark::ClobberMemory();
              for (const char* const id : ids) DoNotOptimize(std::strcmp(ids[3], id));
            }));
}

// ---- events -------------------------------------------------------------------------------------

// What a host's listener is: a function with a pointer in it.
Listener listener() {
  static std::size_t heard = 0;
  return [counter = &heard](const char*, const char*) { DoNotOptimize(++*counter); };
}

void raiseToAll(State& state, IWxMonitor& monitor, RaiseFunction* raise, std::size_t count) {
  std::vector<uint64_t> ids;
  for (std::size_t i = 0; i < count; ++i) ids.push_back(monitor.addListener(listener()));
  for ([[maybe_unused]] auto again : state) raise("state", "ready");
  for (const uint64_t id : ids) monitor.removeListener(id);
}

void callCopies(State& state, std::size_t count, bool asksForLevel) {
  const std::vector<Listener> listeners(count, listener());
  for ([[maybe_unused]] auto again : state) {
    const std::vector<Listener> copies = listeners;
    for (const Listener& copy : copies) {
      copy("state", "ready");
      if (asksForLevel) DoNotOptimize(IsLogLevelEnabled(kLogLevel));
      DoLog2(kLogLevel, "ZuLoaderPrivate", "ZuLoader", 1, "ZuLoaderPrivate::onNotifyEvent", L"", "zuviaplugin.dll");
    }
  }
}

void addEvents(Calls& calls, LoadedPlugin& plugin, RaiseFunction* raise) {
  for (const std::size_t count : {1u, 8u, 64u}) {
    const std::string name = "event to " + std::to_string(count) + " listeners, level disabled";
    const auto ours = [&plugin, raise, count](State& state) { raiseToAll(state, plugin.monitor(), raise, count); };
    calls.add(name, 1.3, "each record asks for its level, and the table has a lock", ours,
              [count](State& state) { callCopies(state, count, false); });
    calls.add(name + ", against a loop that asks for it", std::nullopt, "the share of asking in the row above", ours,
              [count](State& state) { callCopies(state, count, true); });
  }
}

// ---- log lines ----------------------------------------------------------------------------------

// Five pieces that come to 120 characters, as most lines are made: narrow and wide texts, a number.
constexpr const char* kText = "Load plugin success, path: ";
constexpr const wchar_t* kPath = L"C:\\Program Files\\Application\\plugins\\2.0.0.45\\zuimpl.dll";  // 56
constexpr const char* kMore = ", version: 2.0.0.45, error: ";                                       // 28
constexpr int kNumber = -12345;
constexpr const char* kEnd = " ok";
constexpr std::size_t kLength = 120;

void logRecord() {
  LogRecord("Bench", kLogLevel, "Calls", __LINE__, "Bench::log") << kText << kPath << kMore << kNumber << kEnd;
}

void logFormatted() {
  std::array<wchar_t, 512> message;
  const int length =
      std::swprintf(message.data(), message.size(), L"%hs%ls%hs%d%hs", kText, kPath, kMore, kNumber, kEnd);
  if (length != static_cast<int>(kLength)) throw std::runtime_error("The formatted line is another");
  DoLog2(kLogLevel, "Bench", "Calls", __LINE__, "Bench::log", message.data(), "zuvia_bench.exe");
}

void askAndLogNothing() {
  DoNotOptimize(IsLogLevelEnabled(kLogLevel));
  DoLog2(kLogLevel, "Bench", "Calls", __LINE__, "Bench::log", L"", "zuvia_bench.exe");
}

void checkLength() {
  LogRecord record("Bench", kLogLevel, "Calls", __LINE__, "Bench::log");
  record << kText << kPath << kMore << kNumber << kEnd;
  if (record.length() != kLength) {
    throw std::runtime_error("The line has " + std::to_string(record.length()) + " characters");
  }
}

// The memory that lines of up to 511 characters ask for.
void countAllocations(const Settings& settings, Rows& rows) {
  const std::string name = "memory asked for by lines of up to 511 characters";
  if (!settings.wants(name)) return;
  const std::wstring longest(511, L'x');
  const std::size_t before = allocations();
  for (std::size_t length = 0; length <= longest.size(); ++length) {
    LogRecord("Bench", kLogLevel, "Calls", __LINE__, "Bench::log") << std::wstring_view(longest).substr(0, length);
  }
  logRecord();
  const auto asked = static_cast<double>(allocations() - before);
  rows.push_back({name, asked, 0, "allocations", 0, "nothing"});
}

void measureObject(const Settings& settings, Rows& rows) {
  const InstalledPlugin installed;
  const std::wstring version = installed.tree().addVersion(L"2.0.0.45", benchModule());
  LoadedPlugin plugin(installed);
  const HMODULE module = GetModuleHandleW((version + L"\\zuimpl.dll").c_str());
  IPluginEntryPoint* const implementation = findExport<CreateImplFunction>(module, kCreateImplExport)();
  {
    Calls calls(settings);
    addObject(calls, plugin, *implementation);
    addInterfaceQuery(calls, plugin);
    calls.run(rows);
  }
  const DisabledLevel disabled;
  Calls calls(settings);
  addEvents(calls, plugin, findExport<RaiseFunction>(module, kRaiseExport));
  calls.add("log line, level disabled", 2, "the record's beginning and end", each(&logRecord), each(&askAndLogNothing));
  calls.run(rows);
}

}  // namespace

void measureCalls(const Settings& settings, Rows& rows) {
  const SilentLog silent;
  measureObject(settings, rows);
  checkLength();
  Calls calls(settings);
  calls.add("log line of five pieces, 120 characters", 1.2, "the conversion of narrow pieces by the system",
            each(&logRecord), each(&logFormatted));
  calls.run(rows);
  countAllocations(settings, rows);
}

}  // namespace zuvia::bench
