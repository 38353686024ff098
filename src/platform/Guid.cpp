#include "platform/Guid.h"

#include <array>
#include <cwchar>

#include "platform/Windows.h"

#include <objbase.h>

namespace zuvia {

std::wstring freshGuidText() {
  GUID guid = {};
  CoCreateGuid(&guid);
  std::array<wchar_t, 17> text = {};
  std::swprintf(text.data(), text.size(), L"%08lx%04x%04x", static_cast<unsigned long>(guid.Data1), guid.Data2,
                guid.Data3);
  return text.data();
}

}  // namespace zuvia
