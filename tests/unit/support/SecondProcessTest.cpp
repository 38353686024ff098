#include "support/SecondProcess.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <stdexcept>
#include <string>

#include "support/InstallTree.h"

namespace zuvia::test {
namespace {

const std::wstring kMutex = L"Local\\zuvia-test-second";

DWORD errorOfOpening(const std::wstring& path, DWORD access) {
  HANDLE file =
      CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return GetLastError();
  CloseHandle(file);
  return ERROR_SUCCESS;
}

TEST(SecondProcess, HoldsAFileUntilItLetsGo) {
  const InstallTree tree(L"a b \u4e2d");
  const std::wstring path = tree.addFile(L"held.dll", "x");
  SecondProcess second;
  second.holdFile(path);
  EXPECT_EQ(errorOfOpening(path, GENERIC_READ), DWORD{ERROR_SHARING_VIOLATION});
  second.releaseFiles();
  EXPECT_EQ(errorOfOpening(path, GENERIC_READ), DWORD{ERROR_SUCCESS});
}

TEST(SecondProcess, HoldsAFileThatMayBeRead) {
  const InstallTree tree;
  const std::wstring path = tree.addFile(L"held.dll", "x");
  SecondProcess second;
  second.holdFile(path, FileShare::Read);
  EXPECT_EQ(errorOfOpening(path, GENERIC_READ), DWORD{ERROR_SUCCESS});
  EXPECT_EQ(errorOfOpening(path, GENERIC_WRITE), DWORD{ERROR_SHARING_VIOLATION});
}

TEST(SecondProcess, SaysWhenAFileCannotBeHeld) {
  SecondProcess second;
  EXPECT_THROW(second.holdFile(L"C:\\no\\such\\file"), std::runtime_error);
}

TEST(SecondProcess, HoldsAMutexUntilItLetsGo) {
  SecondProcess holder;
  SecondProcess other;
  EXPECT_EQ(other.tryMutex(kMutex), MutexState::Missing);
  EXPECT_EQ(holder.lockMutex(kMutex), MutexState::Free);
  EXPECT_EQ(other.tryMutex(kMutex), MutexState::Taken);
  EXPECT_EQ(other.lockMutex(kMutex), MutexState::Taken);
  holder.releaseMutex(kMutex);
  EXPECT_EQ(other.lockMutex(kMutex), MutexState::Free);
}

TEST(SecondProcess, AbandonsItsMutexWhenItDies) {
  HANDLE mutex = CreateMutexW(nullptr, FALSE, kMutex.c_str());
  SecondProcess holder;
  holder.lockMutex(kMutex);
  holder.die();
  EXPECT_EQ(WaitForSingleObject(mutex, 1000), WAIT_ABANDONED);
  SecondProcess other;
  EXPECT_EQ(other.tryMutex(kMutex), MutexState::Taken);
  ReleaseMutex(mutex);
  EXPECT_EQ(other.tryMutex(kMutex), MutexState::Free);
  CloseHandle(mutex);
}

TEST(SecondProcess, RefusesToReleaseWhatItDoesNotHold) {
  SecondProcess second;
  EXPECT_THROW(second.releaseMutex(kMutex), std::runtime_error);
}

TEST(SecondProcess, EndsWithItsObject) {
  unsigned long id = 0;
  {
    SecondProcess second;
    id = second.process().id();
  }
  HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, id);
  EXPECT_TRUE(process == nullptr || WaitForSingleObject(process, 0) == WAIT_OBJECT_0);
  CloseHandle(process);
}

TEST(SecondProcess, ExitsInOrder) {
  SecondProcess second;
  second.exit();
  EXPECT_EQ(second.process().waitForExit(), 0u);
  EXPECT_THROW(second.tryMutex(kMutex), std::runtime_error);
}

}  // namespace
}  // namespace zuvia::test
