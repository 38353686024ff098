#pragma once

#include <cstddef>
#include <string>

// The stages of an update as the libraries and Windows do them, with nothing around: the yardsticks. They throw
// std::runtime_error when something does not work.
namespace zuvia::bench {

// The MD5 of a file by CryptoAPI, read in pieces of 1 MiB; 32 lower-case hexadecimal digits.
std::string bareMd5(const std::wstring& file);

// One transfer with the options that the updater sets, into a file.
void bareDownload(const std::string& url, const std::wstring& file);

// One configuration request with the options that the client sets. Returns the answer.
std::string bareRequest(const std::string& url, const std::string& body);

// A 7z package of files without directories, unpacked by libarchive: each whole into memory, then written with one
// call. package: the file.
void bareUnpack(const std::wstring& package, const std::wstring& directory);

// So many bytes that do not compress, the same each time.
std::string noise(std::size_t size);

}  // namespace zuvia::bench
