// What a module needs of the system when it uses libraries whose names somebody may have planted.

// Before the others.
#include <windows.h>

#define SECURITY_WIN32
#include <bcrypt.h>
#include <security.h>
#include <userenv.h>
#include <winhttp.h>
#include <winldap.h>

// Referred to, so that each is imported; never called.
extern "C" __declspec(dllexport) bool usesSystemNames() {
  const void* const used[] = {
      reinterpret_cast<const void*>(&BCryptOpenAlgorithmProvider),
      reinterpret_cast<const void*>(&GetUserNameExW),
      reinterpret_cast<const void*>(&GetProfilesDirectoryW),
      reinterpret_cast<const void*>(&WinHttpOpen),
      reinterpret_cast<const void*>(&ldap_initW),
      reinterpret_cast<const void*>(&GetFileVersionInfoSizeW),
  };
  for (const void* const one : used) {
    if (one == nullptr) return false;
  }
  return true;
}
