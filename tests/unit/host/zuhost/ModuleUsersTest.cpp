#include "ModuleUsers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <array>

namespace zuhost {
namespace {

std::wstring ownProgram() {
  std::array<wchar_t, MAX_PATH> path{};
  return {path.data(), GetModuleFileNameW(nullptr, path.data(), MAX_PATH)};
}

// The system's own process, whose number is 0, would be taken for the one that asks.
TEST(ModuleUsers, AreTheProcessesThatLoadedTheModule) {
  const ModuleUsers users;
  const std::vector<ModuleUser> own = users.of(ownProgram());
  EXPECT_THAT(own, testing::Contains(testing::Field(&ModuleUser::process, GetCurrentProcessId())));
  EXPECT_THAT(own, testing::Not(testing::Contains(testing::Field(&ModuleUser::process, 0U))));
  EXPECT_TRUE(users.of(L"C:\\no\\such.dll").empty());
}

}  // namespace
}  // namespace zuhost
