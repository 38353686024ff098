#include "Keyboard.h"

#include <utility>

namespace zuhost {
namespace {

using Kind = Key::Kind;

Kind withControl(WORD key) {
  switch (key) {
    case VK_LEFT:
      return Kind::WordLeft;
    case VK_RIGHT:
      return Kind::WordRight;
    case VK_BACK:
    case 'W':
      return Kind::DeleteWordBefore;
    case 'A':
      return Kind::Begin;
    case 'E':
      return Kind::End;
    case 'K':
      return Kind::DeleteAllAfter;
    case 'U':
      return Kind::DeleteAllBefore;
    case 'P':
      return Kind::Older;
    case 'N':
      return Kind::Newer;
    case 'H':
      return Kind::DeleteBefore;
    case 'D':
    case 'Z':
      return Kind::EndOfInput;
    default:
      return Kind::None;
  }
}

Kind withoutControl(WORD key) {
  switch (key) {
    case VK_RETURN:
      return Kind::Enter;
    case VK_TAB:
      return Kind::Complete;
    case VK_BACK:
      return Kind::DeleteBefore;
    case VK_DELETE:
      return Kind::DeleteAfter;
    case VK_LEFT:
      return Kind::Left;
    case VK_RIGHT:
      return Kind::Right;
    case VK_HOME:
      return Kind::Begin;
    case VK_END:
      return Kind::End;
    case VK_UP:
      return Kind::Older;
    case VK_DOWN:
      return Kind::Newer;
    case VK_ESCAPE:
      return Kind::Clear;
    default:
      return Kind::None;
  }
}

}  // namespace

Key Keyboard::keyOf(const KEY_EVENT_RECORD& event) {
  // What is composed with Alt and the digits comes with the release of Alt.
  const bool isComposed = event.wVirtualKeyCode == VK_MENU && event.uChar.UnicodeChar != 0;
  if (event.bKeyDown == 0 && !isComposed) return {Kind::None};
  const bool isControl = (event.dwControlKeyState & (LEFT_CTRL_PRESSED | RIGHT_CTRL_PRESSED)) != 0;
  const bool isAlt = (event.dwControlKeyState & (LEFT_ALT_PRESSED | RIGHT_ALT_PRESSED)) != 0;
  // Both together are AltGr, which makes characters.
  const Kind kind = isControl && !isAlt ? withControl(event.wVirtualKeyCode) : withoutControl(event.wVirtualKeyCode);
  if (kind != Kind::None) return {kind};
  return characterOf(event.uChar.UnicodeChar);
}

Key Keyboard::characterOf(wchar_t unit) {
  const wchar_t first = std::exchange(firstHalf_, wchar_t{0});
  if (IS_HIGH_SURROGATE(unit)) {
    firstHalf_ = unit;
    return {Kind::None};
  }
  if (IS_LOW_SURROGATE(unit)) {
    if (first == 0) return {Kind::None};
    return {Kind::Character, 0x10000U + ((first & 0x3FFU) << 10) + (unit & 0x3FFU)};
  }
  if (unit < L' ' || unit == 0x7F) return {Kind::None};
  return {Kind::Character, unit};
}

}  // namespace zuhost
