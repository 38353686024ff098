// Before windows.h.
#include <winsock2.h>

#include "integration/order/Stage.h"

#include <shlobj.h>
#include <wincrypt.h>

#include <array>
#include <atomic>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "support/ImportHook.h"

namespace zuvia::test {
namespace {

constexpr std::array kNames = {
    std::pair{Stage::Request, "Request"},   std::pair{Stage::Cache, "Cache"},
    std::pair{Stage::Decision, "Decision"}, std::pair{Stage::Download, "Download"},
    std::pair{Stage::Package, "Package"},   std::pair{Stage::Digest, "Digest"},
    std::pair{Stage::Lock, "Lock"},         std::pair{Stage::Unpack, "Unpack"},
    std::pair{Stage::Module, "Module"},     std::pair{Stage::Check, "Check"},
    std::pair{Stage::Publish, "Publish"},   std::pair{Stage::Published, "Published"},
    std::pair{Stage::CleanUp, "CleanUp"},   std::pair{Stage::Callback, "Callback"},
};

constexpr std::string_view kSevenZip = "7z\xBC\xAF\x27\x1C";
constexpr std::string_view kExecutable = "MZ";

using Hook = std::shared_ptr<void>;
using Reached = std::function<void()>;

// The action before each call that matches.
template <typename Function, typename Matcher>
Hook before(HMODULE plugin, const char* function, const Reached& reached, Matcher matches) {
  return std::make_shared<ImportHook<Function>>(plugin, function, [=](auto* original, auto... arguments) {
    if (matches(arguments...)) reached();
    return original(arguments...);
  });
}

Hook atConnection(HMODULE plugin, const Reached& reached, int number) {
  const auto count = std::make_shared<std::atomic<int>>(0);
  return before<decltype(connect)>(plugin, "connect", reached, [=](auto...) { return ++*count == number; });
}

// In the middle of what is written first and begins so.
Hook halfWritten(HMODULE plugin, const Reached& reached, std::string_view start) {
  using Write = int(int, const void*, unsigned);
  return std::make_shared<ImportHook<Write>>(plugin, "_write",
                                             [=](auto* original, int file, const void* data, unsigned size) {
                                               const auto bytes = static_cast<const char*>(data);
                                               if (!std::string_view(bytes, size).starts_with(start))
                                                 return original(file, data, size);
                                               const unsigned half = size / 2;
                                               const int written = original(file, bytes, half);
                                               reached();
                                               return written + original(file, bytes + half, size - half);
                                             });
}

bool isOffered(std::wstring_view path) {
  return path.ends_with(L"\\2.0.0.47");
}

bool isTemporary(std::wstring_view path) {
  return path.find(L"\\.update-") != std::wstring_view::npos;
}

Hook atMove(HMODULE plugin, const Reached& reached, bool moved) {
  using Move = decltype(MoveFileExW);
  return std::make_shared<ImportHook<Move>>(plugin, "MoveFileExW",
                                            [=](auto* original, const wchar_t* from, const wchar_t* to, DWORD flags) {
                                              if (!isOffered(to)) return original(from, to, flags);
                                              if (!moved) reached();
                                              const BOOL result = original(from, to, flags);
                                              if (moved) reached();
                                              return result;
                                            });
}

// The host's thread waits as long for another lock.
Hook atVersionLock(HMODULE plugin, const Reached& reached) {
  const DWORD host = GetCurrentThreadId();
  return before<decltype(WaitForSingleObject)>(plugin, "WaitForSingleObject", reached, [=](HANDLE, DWORD milliseconds) {
    return milliseconds == 30000 && GetCurrentThreadId() != host;
  });
}

Hook atEvent(IWxMonitor& monitor, const Reached& reached) {
  monitor.addListener([=](const char* name, const char*) {
    if (std::string_view(name) == "pluginUpgradeEvent") reached();
  });
  return nullptr;
}

Hook makeHook(HMODULE plugin, IWxMonitor& monitor, Stage stage, const Reached& reached) {
  switch (stage) {
    case Stage::Request:
      return atConnection(plugin, reached, 1);
    case Stage::Cache:
      return before<decltype(_wfopen)>(plugin, "_wfopen", reached, [](const wchar_t* path, const wchar_t*) {
        return std::wstring_view(path).ends_with(L"\\bbs.cache");
      });
    case Stage::Decision:
      return before<decltype(GetFileAttributesW)>(plugin, "GetFileAttributesW", reached, isOffered);
    case Stage::Download:
      return atConnection(plugin, reached, 2);
    case Stage::Package:
      return halfWritten(plugin, reached, kSevenZip);
    case Stage::Digest:
      return before<decltype(CryptHashData)>(plugin, "CryptHashData", reached, [](auto...) { return true; });
    case Stage::Lock:
      return atVersionLock(plugin, reached);
    case Stage::Unpack:
      return before<decltype(SHCreateDirectoryExW)>(
          plugin, "SHCreateDirectoryExW", reached,
          [](HWND, const wchar_t* path, const SECURITY_ATTRIBUTES*) { return isTemporary(path); });
    case Stage::Module:
      return halfWritten(plugin, reached, kExecutable);
    case Stage::Check:
      return before<decltype(GetFileVersionInfoSizeW)>(plugin, "GetFileVersionInfoSizeW", reached,
                                                       [](const wchar_t* path, DWORD*) { return isTemporary(path); });
    case Stage::Publish:
      return atMove(plugin, reached, false);
    case Stage::Published:
      return atMove(plugin, reached, true);
    case Stage::CleanUp:
      return before<decltype(DeleteFileW)>(plugin, "DeleteFileW", reached, [](const wchar_t* path) {
        return std::wstring_view(path).ends_with(L".zip");
      });
    case Stage::Callback:
      return atEvent(monitor, reached);
  }
  throw std::invalid_argument("No such stage");
}

}  // namespace

const std::vector<Stage>& allStages() {
  static const std::vector<Stage> stages = [] {
    std::vector<Stage> all;
    for (const auto& [stage, name] : kNames) all.push_back(stage);
    return all;
  }();
  return stages;
}

std::string nameOf(Stage stage) {
  for (const auto& [known, name] : kNames) {
    if (known == stage) return name;
  }
  throw std::invalid_argument("No such stage");
}

Stage stageNamed(const std::string& name) {
  for (const auto& [stage, known] : kNames) {
    if (known == name) return stage;
  }
  throw std::invalid_argument("No stage " + name);
}

StageHook::StageHook(HMODULE plugin, IWxMonitor& monitor, Stage stage, std::function<void()> action) {
  const auto first = std::make_shared<std::atomic<bool>>(true);
  hook_ = makeHook(plugin, monitor, stage, [first, run = std::move(action)] {
    if (first->exchange(false)) run();
  });
}

}  // namespace zuvia::test
