#include "BridgeTest.h"

#include <algorithm>

namespace zuvia::test {
namespace {

HMODULE self() {
  return GetModuleHandleW(nullptr);
}

// As GetModuleFileNameW and GetTempPathW do it.
DWORD answerPath(const std::wstring& path, wchar_t* buffer, DWORD size) {
  const auto count = std::min<DWORD>(size, static_cast<DWORD>(path.size()));
  std::copy_n(path.begin(), count, buffer);
  if (count < size) buffer[count] = L'\0';
  return count;
}

}  // namespace

BridgeTest::BridgeTest()
    : moduleFileName(self(), "GetModuleFileNameW",
                     [path = tree.pluginPath()](auto* original, HMODULE module, wchar_t* buffer, DWORD size) {
                       return module == self() ? answerPath(path, buffer, size) : original(module, buffer, size);
                     }),
      temporaryPath(
          self(), "GetTempPathW",
          [path = temporaryFiles()](auto*, DWORD size, wchar_t* buffer) { return answerPath(path, buffer, size); }),
      submitWork(self(), "SubmitThreadpoolWork", [this](auto*, PTP_WORK) { ++submitted; }) {}

BridgeTest::~BridgeTest() = default;

std::wstring BridgeTest::modulePath(const std::wstring& directoryName) const {
  return tree.root() + L'\\' + directoryName + L"\\zuimpl.dll";
}

std::wstring BridgeTest::loadedLine(const std::wstring& version) const {
  return L"Load plugin success, path: " + modulePath(version) + L", version: " + version;
}

void BridgeTest::load() {
  addVersion(L"2.0.0.45");
  entry().onLoaded("path");
  ASSERT_TRUE(loader().isLoaded());
  takeRecord();
  log.clear();
}

std::string BridgeTest::takeRecord() {
  std::string record = monitor().sendCommand("record", nullptr);
  monitor().sendCommand("forget", nullptr);
  return record;
}

std::vector<WideText> BridgeTest::takeMessages() {
  std::vector<WideText> messages = log.messages();
  log.clear();
  return messages;
}

}  // namespace zuvia::test
