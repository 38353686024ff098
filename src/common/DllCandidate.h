#pragma once

#include <cstdint>
#include <string>

namespace zuvia {

// One implementation module that was found, with its file version. Each number lies in 0-65535.
struct DllCandidate {
  std::wstring path;  // of the zuimpl.dll, as the scan built it
  uint32_t major = 0;
  uint32_t minor = 0;
  uint32_t build = 0;
  uint32_t revision = 0;
};

// The version order: number by number from the major one, whatever the paths are.
bool isOlder(const DllCandidate& left, const DllCandidate& right);
bool isSameVersion(const DllCandidate& left, const DllCandidate& right);

// "major.minor.build.revision" and "major.minor.build", decimal numbers without padding.
std::string candidateVersionString(const DllCandidate& candidate);
std::string candidateShortVersionString(const DllCandidate& candidate);

}  // namespace zuvia
