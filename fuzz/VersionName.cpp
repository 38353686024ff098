#include <algorithm>
#include <string>

#include "Targets.h"
#include "Text.h"
#include "common/VersionText.h"

namespace zuvia::fuzz {

void versionName(std::string_view input) {
  const std::wstring name = wideName(input);
  const auto count = [&](auto&& isOne) { return std::count_if(name.begin(), name.end(), isOne); };
  const auto digits = count([](wchar_t character) { return character >= L'0' && character <= L'9'; });
  const auto stops = count([](wchar_t character) { return character == L'.'; });
  const bool expected = digits > 0 && static_cast<size_t>(digits + stops) == name.size();
  require(isVersionName(name) == expected, "digits and full stops, at least one digit, and nothing else");
  if (!expected) return;
  const std::wstring root = L"C:\\plugin";
  auto child = resolved(root);
  child.push_back(name);
  require(resolved(root + L'\\' + name) == child, "it names a direct child of the root");
}

}  // namespace zuvia::fuzz
