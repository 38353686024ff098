#include "Keyboard.h"

#include <gtest/gtest.h>

namespace zuhost {
namespace {

using Kind = Key::Kind;

KEY_EVENT_RECORD press(WORD key, wchar_t character = 0, DWORD state = 0) {
  KEY_EVENT_RECORD event{};
  event.bKeyDown = TRUE;
  event.wVirtualKeyCode = key;
  event.uChar.UnicodeChar = character;
  event.dwControlKeyState = state;
  return event;
}

TEST(Keyboard, TellsKeysByTheirMeaning) {
  Keyboard keyboard;
  EXPECT_EQ(keyboard.keyOf(press(VK_RETURN, L'\r')).kind, Kind::Enter);
  EXPECT_EQ(keyboard.keyOf(press(VK_TAB, L'\t')).kind, Kind::Complete);
  EXPECT_EQ(keyboard.keyOf(press(VK_UP)).kind, Kind::Older);
  EXPECT_EQ(keyboard.keyOf(press(VK_LEFT, 0, LEFT_CTRL_PRESSED)).kind, Kind::WordLeft);
  EXPECT_EQ(keyboard.keyOf(press('U', 0x15, RIGHT_CTRL_PRESSED)).kind, Kind::DeleteAllBefore);
  EXPECT_EQ(keyboard.keyOf(press('Z', 0x1A, LEFT_CTRL_PRESSED)).kind, Kind::EndOfInput);
  EXPECT_EQ(keyboard.keyOf(press(VK_SHIFT)).kind, Kind::None);
  EXPECT_EQ(keyboard.keyOf(press(VK_F5)).kind, Kind::None);
}

TEST(Keyboard, TellsCharacters) {
  Keyboard keyboard;
  const Key key = keyboard.keyOf(press('A', L'\u6587', SHIFT_PRESSED));
  EXPECT_EQ(key.kind, Kind::Character);
  EXPECT_EQ(key.character, U'\u6587');
  EXPECT_EQ(keyboard.keyOf(press('Q', L'@', LEFT_CTRL_PRESSED | RIGHT_ALT_PRESSED)).character, U'@');
}

TEST(Keyboard, PutsHalvesTogether) {
  Keyboard keyboard;
  EXPECT_EQ(keyboard.keyOf(press(0, wchar_t{0xD83C})).kind, Kind::None);
  EXPECT_EQ(keyboard.keyOf(press(0, wchar_t{0xDF0D})).character, char32_t{0x1F30D});
  EXPECT_EQ(keyboard.keyOf(press(0, wchar_t{0xDF0D})).kind, Kind::None);
}

TEST(Keyboard, DoesNotCountReleasesButOfComposedCharacters) {
  Keyboard keyboard;
  KEY_EVENT_RECORD event = press('A', L'a');
  event.bKeyDown = FALSE;
  EXPECT_EQ(keyboard.keyOf(event).kind, Kind::None);
  event = press(VK_MENU, L'\u00E4');
  event.bKeyDown = FALSE;
  EXPECT_EQ(keyboard.keyOf(event).character, U'\u00E4');
}

}  // namespace
}  // namespace zuhost
