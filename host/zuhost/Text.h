#pragma once

#include <string>
#include <string_view>

// Conversions to and from UTF-8. What is not valid becomes U+FFFD; none fails.
namespace zuhost {

std::string utf8Of(std::wstring_view wide);

std::wstring wideOf(std::string_view utf8);

// Reads bytes in the system code page.
std::string utf8OfAnsi(std::string_view ansi);

// Returns valid UTF-8 whatever the bytes are.
std::string validUtf8(std::string_view bytes);

}  // namespace zuhost
