#include "unit/updater/UpdaterFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <future>

#include "common/HostInfo.h"
#include "platform/Handles.h"
#include "support/PackageBuilder.h"
#include "support/Text.h"

namespace zuvia::test {

namespace {

constexpr std::string_view kClass = "ZuDllUpdater";
constexpr auto kLongestWait = std::chrono::seconds(10);

}  // namespace

UpdaterTest::UpdaterTest()
    : moduleName_(self(), "GetModuleFileNameW",
                  [this](auto* original, HMODULE module, wchar_t* path, DWORD size) -> DWORD {
                    if (module != self()) return original(module, path, size);
                    return copyPluginPath(path, size);
                  }) {
  hostInfo().appPathW = tree.appPath();
}

DWORD UpdaterTest::copyPluginPath(wchar_t* path, DWORD size) const {
  const std::wstring plugin = tree.pluginPath();
  if (plugin.size() >= size) return 0;
  std::copy_n(plugin.c_str(), plugin.size() + 1, path);
  return static_cast<DWORD>(plugin.size());
}

std::vector<WideText> UpdaterTest::logged() const {
  std::vector<WideText> texts;
  for (const LogLine& line : log.lines()) {
    if (line.className != kClass) continue;
    EXPECT_EQ(line.level, 1);
    EXPECT_EQ(line.sourceFile, kClass);
    EXPECT_NE(line.line, 0);
    EXPECT_THAT(line.functionName, testing::StartsWith("ZuDllUpdater::"));
    const size_t nameStart = line.functionName.find("::") + 2;
    std::wstring text = toWide(line.functionName.substr(nameStart));
    text.append(L": ").append(line.message);
    texts.push_back(text);
  }
  return texts;
}

std::string makePackage(const PackageEntries& entries) {
  PackageBuilder builder;
  for (const auto& [name, content] : entries) builder.add(name, content);
  return builder.build();
}

void Gate::pass() {
  std::unique_lock lock(mutex_);
  called_ = true;
  changed_.notify_all();
  // In slices: under Wine a wake-up is lost now and then.
  while (!changed_.wait_for(lock, std::chrono::milliseconds(50), [this] { return open_; })) {
  }
}

bool Gate::waitForCall() const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, kLongestWait, [this] { return called_; });
}

void Gate::open() {
  const std::lock_guard lock(mutex_);
  open_ = true;
  changed_.notify_all();
}

bool isMutexFree(const std::wstring& name) {
  return std::async(std::launch::async,
                    [&name] {
                      const MutexHandle mutex(OpenMutexW(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, name.c_str()));
                      if (!mutex) return true;
                      const bool taken = WaitForSingleObject(mutex.get(), 0) == WAIT_TIMEOUT;
                      if (!taken) ReleaseMutex(mutex.get());
                      return !taken;
                    })
      .get();
}

}  // namespace zuvia::test
