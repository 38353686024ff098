#pragma once

#include <string>
#include <string_view>
#include <vector>

// What targets make of their input, and what they hold the project's rules against.

namespace zuvia::fuzz {

// The pieces between the separators; always at least one.
std::vector<std::string_view> split(std::string_view text, char separator);

// A JSON text that means these bytes, whatever they are.
std::string quoted(std::string_view bytes);

// Whether the bytes are UTF-8: shortest forms only, no surrogates, at most U+10FFFF.
bool isUtf8(std::string_view bytes);

// The units of UTF-16LE up to the first NUL, each as one wide character; an odd byte at the end is left out.
std::wstring wideName(std::string_view bytes);

// The components that a path leads through when "." and ".." and repeated separators (both kinds) are resolved. A
// ".." that has nothing to go back to stays.
std::vector<std::wstring> resolved(std::wstring_view path);

// Whether one list of components leads to the other or below it.
bool isAtOrBelow(const std::vector<std::wstring>& path, const std::vector<std::wstring>& directory);

}  // namespace zuvia::fuzz
