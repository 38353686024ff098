#include "Bare.h"

// The options of the transfer are marked as deprecated and are those that the updater sets.
#define CURL_DISABLE_DEPRECATION

// Before windows.h.
#include <curl/curl.h>

#include <archive.h>
#include <archive_entry.h>
#include <windows.h>
// After windows.h.
#include <wincrypt.h>

#include <array>
#include <cstdio>
#include <memory>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

#include "support/Files.h"

namespace zuvia::bench {
namespace {

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(std::string("The yardstick fails: ") + what);
}

struct CloseHandleOf {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using File = std::unique_ptr<void, CloseHandleOf>;

File openFile(const std::wstring& path) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  require(file != INVALID_HANDLE_VALUE, "a file cannot be opened");
  return File(file);
}

std::string readWhole(const std::wstring& path) {
  const File file = openFile(path);
  LARGE_INTEGER size{};
  require(GetFileSizeEx(file.get(), &size), "a file has no size");
  std::string content(static_cast<std::size_t>(size.QuadPart), '\0');
  DWORD read = 0;
  require(ReadFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &read, nullptr) &&
              read == content.size(),
          "a file cannot be read");
  return content;
}

void writeWhole(const std::wstring& path, const std::string& content) {
  const HANDLE handle =
      CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  require(handle != INVALID_HANDLE_VALUE, "a file cannot be made");
  const File file(handle);
  DWORD written = 0;
  require(WriteFile(handle, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) &&
              written == content.size(),
          "a file cannot be written");
}

struct CurlCleanup {
  void operator()(CURL* curl) const { curl_easy_cleanup(curl); }
};
using Curl = std::unique_ptr<CURL, CurlCleanup>;

Curl openCurl(const std::string& url) {
  static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
  Curl curl(curl_easy_init());
  require(initialised == CURLE_OK && curl != nullptr, "libcurl does not start");
  curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_PROTOCOLS, CURLPROTO_HTTPS);
  curl_easy_setopt(curl.get(), CURLOPT_REDIR_PROTOCOLS, CURLPROTO_HTTPS);
  curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(curl.get(), CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_NATIVE_CA));
  curl_easy_setopt(curl.get(), CURLOPT_FAILONERROR, 1L);
  return curl;
}

void perform(CURL* curl) {
  const CURLcode code = curl_easy_perform(curl);
  if (code != CURLE_OK) throw std::runtime_error(std::string("The yardstick fails: ") + curl_easy_strerror(code));
}

std::size_t appendTo(char* data, std::size_t size, std::size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

}  // namespace

std::string bareMd5(const std::wstring& path) {
  const File file = openFile(path);
  HCRYPTPROV provider = 0;
  HCRYPTHASH hash = 0;
  require(CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) &&
              CryptCreateHash(provider, CALG_MD5, 0, 0, &hash),
          "there is no MD5");
  std::vector<BYTE> piece(1u << 20);
  DWORD read = 0;
  while (ReadFile(file.get(), piece.data(), static_cast<DWORD>(piece.size()), &read, nullptr) && read > 0) {
    require(CryptHashData(hash, piece.data(), read, 0), "MD5");
  }
  std::array<BYTE, 16> digest{};
  auto size = static_cast<DWORD>(digest.size());
  require(CryptGetHashParam(hash, HP_HASHVAL, digest.data(), &size, 0), "the digest");
  CryptDestroyHash(hash);
  CryptReleaseContext(provider, 0);
  std::string text;
  for (const BYTE byte : digest) {
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", byte);
    text += digits.data();
  }
  return text;
}

void bareDownload(const std::string& url, const std::wstring& path) {
  const Curl curl = openCurl(url);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(_wfopen(path.c_str(), L"wb"), &std::fclose);
  require(file != nullptr, "a file cannot be made");
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, file.get());  // libcurl writes with fwrite
  curl_easy_setopt(curl.get(), CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_CONNECTTIMEOUT, 30L);
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 300L);
  curl_easy_setopt(curl.get(), CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(104857600));
  curl_easy_setopt(curl.get(), CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_LOW_SPEED_TIME, 6L);
  perform(curl.get());
}

std::string bareRequest(const std::string& url, const std::string& body) {
  const Curl curl = openCurl(url);
  std::string answer;
  curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, &appendTo);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &answer);
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 60L);
  perform(curl.get());
  return answer;
}

void bareUnpack(const std::wstring& package, const std::wstring& directory) {
  const std::string bytes = readWhole(package);
  const std::unique_ptr<archive, int (*)(archive*)> reader(archive_read_new(), &archive_read_free);
  require(archive_read_support_format_7zip(reader.get()) == ARCHIVE_OK &&
              archive_read_open_memory(reader.get(), bytes.data(), bytes.size()) == ARCHIVE_OK,
          "the package cannot be opened");
  std::vector<std::pair<std::wstring, std::string>> files;
  archive_entry* entry = nullptr;
  int result = ARCHIVE_OK;
  while ((result = archive_read_next_header(reader.get(), &entry)) == ARCHIVE_OK) {
    std::string content(static_cast<std::size_t>(archive_entry_size(entry)), '\0');
    require(archive_read_data(reader.get(), content.data(), content.size()) == static_cast<la_ssize_t>(content.size()),
            "an entry cannot be read");
    files.emplace_back(archive_entry_pathname_w(entry), std::move(content));
  }
  require(result == ARCHIVE_EOF && !files.empty(), "the package is empty or cannot be read");
  test::makeDirectories(directory);
  for (const auto& [name, content] : files) writeWhole(directory + L'\\' + name, content);
}

std::string noise(std::size_t size) {
  std::mt19937_64 generator(1);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(generator());
  return bytes;
}

}  // namespace zuvia::bench
