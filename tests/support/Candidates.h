#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zuvia::test {

// A file that the plugin would try to load, judged by code of the tests' own.
struct Candidate {
  std::wstring path;
  std::optional<std::array<std::uint32_t, 4>> version;  // nothing: unreadable, so it is none
  bool loads = false;                                   // as a library that gives an object
};

// Finds every file or link named zuimpl.dll below a directory, itself included, in any letter case and at any depth;
// links are not followed. Tries each with a version: in this process, where some of them stay mapped. Newest first.
std::vector<Candidate> findCandidates(const std::wstring& root);

// "2.0.0.47" of a version, and the version of such a text; nothing: it is none.
std::string versionText(const std::array<std::uint32_t, 4>& version);
std::optional<std::array<std::uint32_t, 4>> versionOf(const std::string& text);

}  // namespace zuvia::test
