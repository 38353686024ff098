#pragma once

#include <filesystem>
#include <string>
#include <string_view>

// Text inside the tools is UTF-8; paths and what Windows takes are UTF-16.

namespace zuvia::tools {

// Each unit that cannot be converted becomes U+FFFD. Any thread.
std::wstring toWide(std::string_view utf8);
std::string toUtf8(std::wstring_view wide);

inline std::filesystem::path toPath(std::string_view utf8) {
  return toWide(utf8);
}
// A path as messages show it.
inline std::string pathText(std::filesystem::path path) {
  return toUtf8(path.make_preferred().wstring());
}

// Returns text that is safe on a terminal and stays on one line: control characters and bytes that are
// not UTF-8 become \xNN, anything else stays. Any thread.
std::string printable(std::string_view utf8);

// The same between double quotes; quotes and backslashes inside get a backslash in front.
std::string quoted(std::string_view utf8);

}  // namespace zuvia::tools
