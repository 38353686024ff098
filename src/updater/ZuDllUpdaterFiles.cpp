#include <array>
#include <cstring>
#include <new>

#include "common/Limits.h"
#include "platform/DirectoryRemoval.h"
#include "platform/FileVersion.h"
#include "platform/Handles.h"
#include "platform/ModuleDirectory.h"
#include "updater/ZuDllUpdater.h"
#include "updater/ZuDllUpdaterLog.h"

namespace zuvia {

namespace {

constexpr DWORD kHashChunkBytes = 8192;
constexpr size_t kMd5Bytes = 16;

FileHandle openForReading(const std::wstring& path) {
  return FileHandle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
}

// Logs a failed step of the digest with the error code it left and returns the empty digest.
std::string digestFailed(const char* step, const std::wstring& path) {
  const DWORD error = GetLastError();
  UPDATER_LOG("getFileMD5") << "Get file md5 fail! " << step << " error: " << error << ", path: " << path;
  return {};
}

// False when hashing failed; a failing read ends the file.
bool hashContent(HANDLE file, HCRYPTHASH hash) {
  std::array<BYTE, kHashChunkBytes> chunk;
  DWORD read = 0;
  while (ReadFile(file, chunk.data(), kHashChunkBytes, &read, nullptr) && read > 0) {
    if (!CryptHashData(hash, chunk.data(), read, 0)) {
      return false;
    }
  }
  return true;
}

std::string hexadecimal(const std::array<BYTE, kMd5Bytes>& bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  for (const BYTE byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

// Fills `out`, which has the size of the file, and returns how many bytes were read.
int64_t readContent(HANDLE file, const std::wstring& path, std::string& out) {
  const int64_t size = static_cast<int64_t>(out.size());
  int64_t total = 0;
  while (total < size) {
    DWORD read = 0;
    const BOOL succeeded = ReadFile(file, out.data() + total, static_cast<DWORD>(size - total), &read, nullptr);
    if (!succeeded || read == 0) {
      const DWORD error = GetLastError();
      UPDATER_LOG("readAllBytes") << "Read file fail! ReadFile error: " << error << ", read: " << read
                                  << ", offset: " << total << ", path: " << path;
      break;
    }
    total += read;
  }
  return total;
}

// False when there is no memory for that much.
bool resize(std::string& out, int64_t size) {
  try {
    out.resize(static_cast<size_t>(size));
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void logRemovalFault(const RemovalFault& fault) {
  using Kind = RemovalFault::Kind;
  switch (fault.kind) {
    case Kind::NotPlainDirectory:
      UPDATER_LOG("deleteDirectory") << "Delete directory fail! Not a plain directory, attributes: "
                                     << fault.attributes;
      break;
    case Kind::ListFailed:
      UPDATER_LOG("deleteDirectory") << "Delete directory fail! FindFirstFile error: " << fault.error;
      break;
    case Kind::ReparsePoint:
      UPDATER_LOG("deleteDirectory") << "Delete directory: skip reparse point child: " << fault.path;
      break;
    case Kind::FileNotDeleted:
      UPDATER_LOG("deleteDirectory") << "Delete file fail! error: " << fault.error << ", path: " << fault.path;
      break;
    case Kind::NotRemoved:
      UPDATER_LOG("deleteDirectory") << "Remove directory fail! error: " << fault.error << ", path: " << fault.path;
      break;
  }
}

}  // namespace

std::string ZuDllUpdater::getFileMD5(const std::wstring& path) {
  const FileHandle file = openForReading(path);
  if (!file) {
    return digestFailed("CreateFile", path);
  }
  CryptProvider provider;
  if (!CryptAcquireContextW(provider.out(), nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT)) {
    return digestFailed("CryptAcquireContext", path);
  }
  CryptHash hash;
  if (!CryptCreateHash(provider.get(), CALG_MD5, 0, 0, hash.out())) {
    return digestFailed("CryptCreateHash", path);
  }
  if (!hashContent(file.get(), hash.get())) {
    return digestFailed("CryptHashData", path);
  }
  std::array<BYTE, kMd5Bytes> digest = {};
  DWORD size = kMd5Bytes;
  if (!CryptGetHashParam(hash.get(), HP_HASHVAL, digest.data(), &size, 0)) {
    return digestFailed("CryptGetHashParam", path);
  }
  return hexadecimal(digest);
}

bool ZuDllUpdater::isSameDigest(const std::string& computed, const std::string& expected) {
  return !computed.empty() && _stricmp(computed.c_str(), expected.c_str()) == 0;
}

bool ZuDllUpdater::readAllBytes(const std::wstring& path, std::string& out) {
  out.clear();
  const FileHandle file = openForReading(path);
  if (!file) {
    const DWORD error = GetLastError();
    UPDATER_LOG("readAllBytes") << "Read file fail! CreateFile error: " << error << ", path: " << path;
    return false;
  }
  LARGE_INTEGER size = {};
  if (!GetFileSizeEx(file.get(), &size) || size.QuadPart < 1 || size.QuadPart > kMaxPackageBytes) {
    const DWORD error = GetLastError();
    UPDATER_LOG("readAllBytes") << "Read file fail! Invalid file size: " << size.QuadPart
                                << ", max: " << kMaxPackageBytes << ", error: " << error << ", path: " << path;
    return false;
  }
  const int64_t total = resize(out, size.QuadPart) ? readContent(file.get(), path, out) : 0;
  if (total == size.QuadPart) {
    return true;
  }
  UPDATER_LOG("readAllBytes") << "Read file fail! Incomplete read, got: " << total << ", expect: " << size.QuadPart
                              << ", path: " << path;
  out.clear();
  return false;
}

bool ZuDllUpdater::deleteDirectory(const std::wstring& dir) {
  return removeDirectoryTree(dir, RemovalCheck::PlainDirectory, &logRemovalFault);
}

bool ZuDllUpdater::getDllVersion(const std::wstring& path, DllCandidate& out) {
  using Step = FileVersionReport::Step;
  const FileVersionReport report = readFileVersion(path);
  if (report.step == Step::Size) {
    UPDATER_LOG("getDllVersion") << "Get dll version fail! No version resource, path: " << path
                                 << ", error: " << report.error;
    return false;
  }
  if (report.step == Step::Info) {
    UPDATER_LOG("getDllVersion") << "Get dll version fail! GetFileVersionInfo error: " << report.error
                                 << ", size: " << report.size << ", path: " << path;
    return false;
  }
  if (report.step != Step::Done || report.length < sizeof(VS_FIXEDFILEINFO)) {
    UPDATER_LOG("getDllVersion") << "Get dll version fail! VerQueryValue invalid, len: " << report.length
                                 << ", expect: " << sizeof(VS_FIXEDFILEINFO)
                                 << ", fixedInfo: " << (report.hasFixedInfo ? "valid" : "null") << ", path: " << path;
    return false;
  }
  out.major = report.major;
  out.minor = report.minor;
  out.build = report.build;
  out.revision = report.revision;
  return true;
}

std::wstring ZuDllUpdater::getCurrentDllDirectory() {
  return findModuleDirectory().directory;
}

}  // namespace zuvia
