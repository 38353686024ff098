#include "common/ModuleName.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "common/ModuleNameLookup.h"

namespace zuvia {
namespace {

template <size_t size>
DWORD answer(const char (&path)[size], LPSTR buffer) {
  std::memcpy(buffer, path, size);
  return size - 1;
}

BOOL WINAPI noModule(DWORD, LPCWSTR, HMODULE*) {
  return FALSE;
}

TEST(ModuleName, IsTheFileNameOfThisProgram) {
  EXPECT_STREQ(ownModuleName, "common_tests.exe");
  EXPECT_EQ(findModuleName({}), "common_tests.exe");
}

TEST(ModuleName, TheLookUpsAreThoseStated) {
  ModuleNameCalls calls;
  calls.getModuleHandle = [](LPCWSTR name) -> HMODULE {
    EXPECT_STREQ(name, L"Kernel32.dll");
    return GetModuleHandleW(name);
  };
  calls.getProcAddress = [](HMODULE module, LPCSTR name) -> FARPROC {
    EXPECT_STREQ(name, "GetModuleHandleExW");
    return GetProcAddress(module, name);
  };
  calls.getModuleFileName = [](HMODULE module, LPSTR buffer, DWORD size) -> DWORD {
    EXPECT_EQ(module, GetModuleHandleW(nullptr));
    EXPECT_EQ(size, 512U);
    return GetModuleFileNameA(module, buffer, size);
  };
  EXPECT_EQ(findModuleName(calls), "common_tests.exe");
}

TEST(ModuleName, IsEmptyWithoutKernel32) {
  ModuleNameCalls calls;
  calls.getModuleHandle = [](LPCWSTR) -> HMODULE { return nullptr; };
  EXPECT_EQ(findModuleName(calls), "");
}

TEST(ModuleName, IsEmptyWithoutGetModuleHandleEx) {
  ModuleNameCalls calls;
  calls.getProcAddress = [](HMODULE, LPCSTR) -> FARPROC { return nullptr; };
  EXPECT_EQ(findModuleName(calls), "");
}

TEST(ModuleName, IsEmptyWhenTheModuleIsNotFound) {
  ModuleNameCalls calls;
  calls.getProcAddress = [](HMODULE, LPCSTR) -> FARPROC {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&noModule));
  };
  EXPECT_EQ(findModuleName(calls), "");
}

TEST(ModuleName, IsEmptyWhenThePathIs) {
  ModuleNameCalls calls;
  calls.getModuleFileName = [](HMODULE, LPSTR, DWORD) -> DWORD { return 0; };
  EXPECT_EQ(findModuleName(calls), "");
}

TEST(ModuleName, IsTheWholePathWhenItHoldsNoBackslash) {
  ModuleNameCalls calls;
  calls.getModuleFileName = [](HMODULE, LPSTR buffer, DWORD) { return answer("C:/dir/plain.dll", buffer); };
  EXPECT_EQ(findModuleName(calls), "C:/dir/plain.dll");
}

TEST(ModuleName, IsTheTextAfterTheLastBackslash) {
  ModuleNameCalls calls;
  calls.getModuleFileName = [](HMODULE, LPSTR buffer, DWORD) { return answer("C:\\a b\\c\\zuviaplugin.dll", buffer); };
  EXPECT_EQ(findModuleName(calls), "zuviaplugin.dll");
}

TEST(ModuleName, APathThatFillsTheBufferIsReadUpToItsEnd) {
  ModuleNameCalls calls;
  calls.getModuleFileName = [](HMODULE, LPSTR buffer, DWORD size) -> DWORD {
    std::memset(buffer, 'x', size);
    return size;
  };
  EXPECT_EQ(findModuleName(calls), std::string(512, 'x'));
}

}  // namespace
}  // namespace zuvia
