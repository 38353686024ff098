#pragma once

#include <cstdint>
#include <string>

namespace zuvia {

// The numbers that an operating system gives of itself.
struct OsVersion {
  uint32_t major = 0;
  uint32_t minor = 0;
  uint32_t build = 0;
  uint8_t productType = 0;  // 1 a workstation, 2 a domain controller, 3 a server
};

// One line of text for people, at most 254 characters.
std::wstring osVersionText(const OsVersion& version);

// The same where the product type is not known.
std::wstring plainOsVersionText(const OsVersion& version);

}  // namespace zuvia
