#include "support/ImportHook.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/ImportTable.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

// The hooked module is this program.
HMODULE self() {
  return GetModuleHandleW(nullptr);
}

// Not inlined: within one function the compiler reads the entry once.
DWORD (*const volatile attributes)(const wchar_t* path) = [](const wchar_t* path) { return GetFileAttributesW(path); };

TEST(ImportTable, ListsWhatTheProgramImports) {
  EXPECT_THAT(importsOf(self()), Contains(Field(&Import::function, "GetFileAttributesW")));
  EXPECT_THAT(findImports(self(), "GetFileAttributesW"), SizeIs(1));
  EXPECT_THAT(findImports(self(), "GetFileAttributesW", "kernel32.DLL"), SizeIs(1));
}

TEST(ImportTable, FindsNothingUnderAnotherNameOrLibrary) {
  EXPECT_THAT(findImports(self(), "getFileAttributesW"), IsEmpty());
  EXPECT_THAT(findImports(self(), "GetFileAttributesW", "user32.dll"), IsEmpty());
}

TEST(ImportTable, ReadsTheTableOfASystemLibrary) {
  EXPECT_THAT(importsOf(LoadLibraryW(L"ws2_32.dll")), testing::Not(IsEmpty()));
}

TEST(ImportHook, CallsTheReplacementForItsScope) {
  const DWORD before = attributes(L"C:\\");
  {
    ImportHook<decltype(GetFileAttributesW)> hook(self(), "GetFileAttributesW",
                                                  [](auto*, const wchar_t*) -> DWORD { return 12345; });
    EXPECT_EQ(attributes(L"C:\\"), 12345u);
  }
  EXPECT_EQ(attributes(L"C:\\"), before);
  EXPECT_NE(before, 12345u);
}

TEST(ImportHook, PassesOnWhatItIsNotMeantFor) {
  ImportHook<decltype(GetFileAttributesW)> hook(
      self(), "GetFileAttributesW", [](auto* original, const wchar_t* path) -> DWORD {
        return std::wstring(path) == L"C:\\chosen" ? DWORD{7} : original(path);
      });
  EXPECT_EQ(attributes(L"C:\\chosen"), 7u);
  EXPECT_TRUE(attributes(L"C:\\") & FILE_ATTRIBUTE_DIRECTORY);
}

TEST(ImportHook, LeavesTheLastErrorOfTheReplacement) {
  ImportHook<decltype(GetFileAttributesW)> hook(self(), "GetFileAttributesW", [](auto*, const wchar_t*) -> DWORD {
    SetLastError(0x80000005);
    return INVALID_FILE_ATTRIBUTES;
  });
  EXPECT_EQ(attributes(L"C:\\"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), 0x80000005u);
}

TEST(ImportHook, NestsAndRestoresInReverseOrder) {
  const auto plusOne = [](auto* original, const wchar_t* path) -> DWORD { return original(path) + 1; };
  const DWORD plain = attributes(L"C:\\");
  ImportHook<decltype(GetFileAttributesW)> outer(self(), "GetFileAttributesW", plusOne);
  {
    ImportHook<decltype(GetFileAttributesW)> inner(self(), "GetFileAttributesW", plusOne);
    EXPECT_EQ(attributes(L"C:\\"), plain + 2);
  }
  EXPECT_EQ(attributes(L"C:\\"), plain + 1);
}

TEST(ImportHook, ReportsHooksThatEndInAnotherOrder) {
  const auto plusOne = [](auto* original, const wchar_t* path) -> DWORD { return original(path) + 1; };
  using Hook = ImportHook<decltype(GetFileAttributesW)>;
  const DWORD plain = attributes(L"C:\\");
  static std::unique_ptr<Hook> first;
  first = std::make_unique<Hook>(self(), "GetFileAttributesW", plusOne);
  const Hook second(self(), "GetFileAttributesW", plusOne);
  EXPECT_NONFATAL_FAILURE(first.reset(), "The hooks of GetFileAttributesW did not end in the reverse order");
  EXPECT_EQ(attributes(L"C:\\"), plain + 1);  // the one that is left still works
}

TEST(ImportHook, RefusesWhatTheModuleDoesNotImport) {
  using Hook = ImportHook<decltype(GetFileAttributesW)>;
  EXPECT_THROW(Hook(self(), "NoSuchFunction", nullptr), std::runtime_error);
  EXPECT_THROW(Hook(self(), "GetFileAttributesW", nullptr, "user32.dll"), std::runtime_error);
}

TEST(ImportHook, TakesFunctionsOfManyArguments) {
  std::wstring opened;
  ImportHook<decltype(CreateFileW)> hook(self(), "CreateFileW",
                                         [&](auto* original, const wchar_t* path, auto... rest) -> HANDLE {
                                           opened = path;
                                           return original(path, rest...);
                                         });
  HANDLE file =
      CreateFileW(L"C:\\", GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  EXPECT_NE(file, INVALID_HANDLE_VALUE);
  CloseHandle(file);
  EXPECT_EQ(opened, L"C:\\");
}

TEST(ImportHook, WaitsForACallThatIsInsideTheReplacement) {
  std::atomic<bool> inside = false;
  std::atomic<bool> left = false;
  std::optional<ImportHook<decltype(GetFileAttributesW)>> hook;
  hook.emplace(self(), "GetFileAttributesW", [&](auto* original, const wchar_t* path) -> DWORD {
    inside = true;
    Sleep(200);
    left = true;
    return original(path);
  });
  std::thread caller([] { attributes(L"C:\\"); });
  while (!inside) Sleep(1);
  hook.reset();
  EXPECT_TRUE(left);
  caller.join();
}

TEST(ImportHook, ComesAndGoesWhileOtherThreadsCall) {
  std::atomic<bool> stop = false;
  std::atomic<int> wrong = 0;
  const DWORD plain = attributes(L"C:\\");
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([&] {
      while (!stop) {
        const DWORD got = attributes(L"C:\\");
        if (got != plain && got != plain + 1) ++wrong;
      }
    });
  }
  for (int round = 0; round < 200; ++round) {
    ImportHook<decltype(GetFileAttributesW)> hook(
        self(), "GetFileAttributesW", [](auto* original, const wchar_t* path) -> DWORD { return original(path) + 1; });
  }
  stop = true;
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(wrong, 0);
}

TEST(ImportHook, LimitsHowManyLiveAtOnce) {
  using Hook = ImportHook<decltype(DeleteFileW)>;
  const auto passOn = [](auto* original, const wchar_t* path) -> BOOL { return original(path); };
  std::vector<std::unique_ptr<Hook>> hooks;
  const auto addOne = [&] { hooks.push_back(std::make_unique<Hook>(self(), "DeleteFileW", passOn)); };
  for (std::size_t i = 0; i < Thunk<decltype(DeleteFileW)>::kMostAtOnce; ++i) addOne();
  EXPECT_THROW(addOne(), std::runtime_error);
  EXPECT_FALSE(DeleteFileW(L"C:\\no\\such\\file"));
  while (!hooks.empty()) hooks.pop_back();
}

TEST(LookupHook, ReplacesWhatIsLookedUpByName) {
  using Function = DWORD();
  const auto lookUp = [](const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
  };
  LookupHook<Function> hook(self(), "kernel32.dll", "GetCurrentThreadId",
                            [](auto* original) -> DWORD { return original() + 1; });
  EXPECT_EQ(lookUp("GetCurrentThreadId")(), GetCurrentThreadId() + 1);
  EXPECT_EQ(lookUp("GetCurrentProcessId")(), GetCurrentProcessId());
}

TEST(LookupHook, RefusesWhatDoesNotExist) {
  using Hook = LookupHook<DWORD()>;
  EXPECT_THROW(Hook(self(), "kernel32.dll", "NoSuchFunction", nullptr), std::runtime_error);
}

TEST(FailingImport, FailsTheChosenCallOnly) {
  FailingImport<decltype(GetFileAttributesW)> failing(self(), "GetFileAttributesW", INVALID_FILE_ATTRIBUTES,
                                                      {.lastError = 0x80000005, .fromCall = 2});
  EXPECT_NE(attributes(L"C:\\"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(failing.failures(), 0u);
  EXPECT_EQ(attributes(L"C:\\"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(GetLastError(), 0x80000005u);
  EXPECT_NE(attributes(L"C:\\"), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(failing.calls(), 3u);
  EXPECT_EQ(failing.failures(), 1u);
}

TEST(FailingImport, FailsEveryMatchingCall) {
  FailingImport<decltype(GetFileAttributesW)> failing(
      self(), "GetFileAttributesW", INVALID_FILE_ATTRIBUTES,
      {.lastError = ERROR_ACCESS_DENIED, .callCount = kEveryCall},
      [](const wchar_t* path) { return std::wstring(path) == L"C:\\chosen"; });
  EXPECT_NE(attributes(L"C:\\"), INVALID_FILE_ATTRIBUTES);
  for (int i = 0; i < 3; ++i) {
    attributes(L"C:\\chosen");
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  }
  EXPECT_EQ(failing.calls(), 3u);
}

TEST(FailingImport, SetsErrnoForTheCLibrary) {
  FailingImport<decltype(_wfopen)> failing(self(), "_wfopen", nullptr, {.errnoValue = EACCES});
  errno = 0;
  EXPECT_EQ(_wfopen(L"C:\\any", L"rb"), nullptr);
  EXPECT_EQ(errno, EACCES);
}

TEST(RecordedImport, KeepsTheArgumentsOfEveryCall) {
  RecordedImport<decltype(GetFileAttributesW), std::wstring> asked(
      self(), "GetFileAttributesW", [](const wchar_t* path) { return std::wstring(path); });
  attributes(L"C:\\one");
  EXPECT_TRUE(attributes(L"C:\\") & FILE_ATTRIBUTE_DIRECTORY);
  EXPECT_THAT(asked.records(), ElementsAre(L"C:\\one", L"C:\\"));
}

}  // namespace
}  // namespace zuvia::test
