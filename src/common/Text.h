#pragma once

#include <string>

namespace zuvia {

// Conversions between narrow and UTF-16 text. They read the text up to its first NUL character.
// What cannot be converted gives an empty text; nothing is logged. Any thread; they throw
// std::bad_alloc only.

// Narrow text in the system's ANSI code page.
std::wstring AnsiToWide(const std::string& narrow);
std::string WideToAnsi(const std::wstring& wide);

// Narrow text in UTF-8; read in the ANSI code page when it is not valid UTF-8.
std::wstring Utf8ToWide(const std::string& narrow);

}  // namespace zuvia
