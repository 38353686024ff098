#pragma once

#include <windows.h>

#include "LineEditor.h"

namespace zuhost {

// Understands what Windows tells about keys. One thread at a time.
class Keyboard {
 public:
  // Returns what the event means to the editor; None for the release of a key, a key without a meaning, and the
  // first half of a character that comes in two.
  Key keyOf(const KEY_EVENT_RECORD& event);

 private:
  Key characterOf(wchar_t unit);

  wchar_t firstHalf_ = 0;
};

}  // namespace zuhost
