#pragma once

#include <string>
#include <string_view>

namespace zuvia::test {

// UTF-16 to UTF-8 and back. What has no counterpart becomes U+FFFD.
std::string toUtf8(std::wstring_view text);
std::wstring toWide(std::string_view text);

}  // namespace zuvia::test
