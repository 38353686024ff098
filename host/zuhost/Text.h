#pragma once

#include <string>
#include <string_view>

// Conversions to and from UTF-8. What is not valid becomes U+FFFD; none fails.
namespace zuhost {

std::string utf8Of(std::wstring_view wide);

std::wstring wideOf(std::string_view utf8);

// Reads bytes in the system code page.
std::string utf8OfAnsi(std::string_view ansi);

// One element per character, and back.
std::u32string codePointsOf(std::string_view utf8);
std::string utf8OfCodePoints(std::u32string_view characters);

// Returns valid UTF-8 whatever the bytes are.
std::string validUtf8(std::string_view bytes);

}  // namespace zuhost
