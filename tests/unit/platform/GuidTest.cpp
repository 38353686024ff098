#include "platform/Guid.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <objbase.h>

#include "support/ImportHook.h"
#include "support/WideText.h"

namespace zuvia::test {
namespace {

TEST(FreshGuidText, ShowsThreeFieldsPaddedInLowerCase) {
  ImportHook<decltype(CoCreateGuid)> hook(GetModuleHandleW(nullptr), "CoCreateGuid", [](auto*, GUID* guid) -> HRESULT {
    *guid = {0x00ABCDEF, 0x0012, 0xF00D, {1, 2, 3, 4, 5, 6, 7, 8}};
    return S_OK;
  });
  EXPECT_EQ(WideText(freshGuidText()), L"00abcdef0012f00d");
}

TEST(FreshGuidText, DiffersEachTime) {
  const WideText first = freshGuidText();
  EXPECT_EQ(first.size(), 16u);
  EXPECT_EQ(first.find_first_not_of(L"0123456789abcdef"), std::wstring::npos);
  EXPECT_NE(first, WideText(freshGuidText()));
}

}  // namespace
}  // namespace zuvia::test
