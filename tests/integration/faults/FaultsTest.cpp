#include "integration/faults/FaultsTest.h"

#include <map>
#include <set>

namespace zuvia::test {

namespace {

// The source file that a class names in its lines.
const std::map<std::string, std::string> kSources = {{"ZuLoaderPrivate", "ZuLoader"},
                                                     {"ZuDllLoader", "ZuDllLoader"},
                                                     {"ZuDllUpdater", "ZuDllUpdater"},
                                                     {"BssConfig", "..\\common\\config\\BssConfig"},
                                                     {"ZuUpdateConfig", "config\\ZuUpdateConfig"}};

// What LeakCheck calls helpless.
const std::set<std::string> kOfThreads = {"Event", "Thread", "Semaphore", "running threads"};

}  // namespace

bool isByAddress(DWORD flags, const wchar_t*, HMODULE*) {
  constexpr DWORD kFromAddressWithoutReference = 6;
  return flags == kFromAddressWithoutReference;
}

void PrintTo(const Line& line, std::ostream* stream) {
  *stream << line.function << ' ';
  PrintTo(line.message, stream);
}

FaultsTest::FaultsTest() {
  for (const wchar_t* name : {kCurlMutex, kCleanUpMutex, kVersionMutex}) {
    kept_.push_back(CreateMutexW(nullptr, FALSE, name));
  }
}

FaultsTest::~FaultsTest() {
  for (HANDLE mutex : kept_) CloseHandle(mutex);
}

Lines FaultsTest::linesOf(unsigned long threadId) const {
  return select([threadId](const LogLine& line) { return line.threadId == threadId; });
}

Lines FaultsTest::otherLines() const {
  return select([own = GetCurrentThreadId()](const LogLine& line) { return line.threadId != own; });
}

Lines FaultsTest::select(const std::function<bool(const LogLine&)>& isWanted) const {
  Lines lines;
  for (const LogLine& line : log.lines()) {
    if (!isWanted(line)) continue;
    EXPECT_EQ(line.level, 1);
    EXPECT_EQ(line.className, line.functionName.substr(0, line.functionName.find(':')));
    EXPECT_EQ(line.sourceFile, kSources.at(line.className));
    EXPECT_NE(line.line, 0);
    EXPECT_EQ(line.moduleName, "zuviaplugin.dll");
    lines.push_back({line.functionName, line.message});
  }
  return lines;
}

unsigned long FaultsTest::threadOf(const std::string& function) const {
  for (const LogLine& line : log.lines()) {
    if (line.functionName == function) return line.threadId;
  }
  return 0;
}

void FaultsTest::expectMutexesFree() {
  for (const wchar_t* name : {kCurlMutex, kCleanUpMutex, kVersionMutex}) {
    EXPECT_EQ(second.tryMutex(name), MutexState::Free) << toUtf8(name);
  }
}

LeakCheck::~LeakCheck() {
  constexpr int kSlices = 40;
  std::string grown = growth();
  for (int slice = 0; !grown.empty() && slice < kSlices; ++slice) {
    Sleep(50);
    grown = growth();
  }
  EXPECT_EQ(grown, "") << "more is open than before";
}

std::string LeakCheck::growth() const {
  HandleCount allowed = before_;
  for (const std::string& type : kOfThreads) allowed[type] += helpless_;
  return describeGrowth(allowed, countHandles());
}

bool waitUntil(const std::function<bool()>& condition) {
  constexpr DWORD kSlice = 2;
  for (DWORD waited = 0; waited < 10'000; waited += kSlice) {
    if (condition()) return true;
    Sleep(kSlice);
  }
  return condition();
}

}  // namespace zuvia::test
