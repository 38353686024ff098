#include "zupack/PackageContent.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "common/Limits.h"
#include "platform/Windows.h"
#include "shared/CommandLine.h"
#include "shared/SystemError.h"
#include "shared/Utf8.h"

namespace zuvia::zupack {
namespace {

using tools::Failure;

constexpr std::size_t kMaxNameLength = 260;
constexpr std::wstring_view kReserved = L"<>:\"|?*\\";
constexpr std::wstring_view kPortDigits = L"0123456789\u00B9\u00B2\u00B3";  // superscripts count as well

bool isDeviceName(std::wstring stem) {
  static const std::set<std::wstring, std::less<>> kDevices = {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"};
  CharUpperW(stem.data());
  const bool isPort = stem.size() == 4 && (stem.starts_with(L"COM") || stem.starts_with(L"LPT"));
  return kDevices.contains(stem) || (isPort && kPortDigits.find(stem[3]) != std::wstring_view::npos);
}

// Whether Windows makes a file of exactly this name.
bool isPlainPart(std::wstring_view part) {
  const bool hasBadCharacter = std::ranges::any_of(
      part, [](wchar_t character) { return character < L' ' || kReserved.find(character) != std::wstring_view::npos; });
  if (part.empty() || hasBadCharacter || part.back() == L'.' || part.back() == L' ') return false;
  return !isDeviceName(std::wstring(part.substr(0, part.find(L'.'))));
}

void checkName(const std::string& name) {
  const std::wstring wide = tools::toWide(name);
  bool isPlain = wide.size() <= kMaxNameLength;
  for (std::size_t begin = 0; begin <= wide.size() && isPlain;) {
    const std::size_t end = std::min(wide.find(L'/', begin), wide.size());
    isPlain = isPlainPart(std::wstring_view(wide).substr(begin, end - begin));
    begin = end + 1;
  }
  if (!isPlain) throw Failure("not a legal name in a package: " + tools::quoted(name));
}

std::wstring folded(const std::string& name) {
  std::wstring wide = tools::toWide(name);
  CharUpperW(wide.data());
  return wide;
}

// A name that is there twice, whatever the case of its letters, or that is a file and a directory at once.
void checkMeetings(const std::vector<PackageFile>& files) {
  std::set<std::wstring> names;
  for (const PackageFile& file : files) {
    if (!names.insert(folded(file.name)).second) throw Failure("twice in the package: " + tools::quoted(file.name));
  }
  for (const PackageFile& file : files) {
    const std::wstring directory = folded(file.name) + L'/';
    const auto below = names.lower_bound(directory);
    if (below != names.end() && below->starts_with(directory)) {
      throw Failure("a file and a directory in the package: " + tools::quoted(file.name));
    }
  }
}

std::uint64_t sizeOf(const PackageFile& file) {
  std::error_code error;
  const bool isFile = std::filesystem::is_regular_file(file.file, error);
  const std::uintmax_t size = isFile ? std::filesystem::file_size(file.file, error) : 0;
  if (error) throw Failure("cannot read " + tools::pathText(file.file) + ": " + error.message());
  if (!isFile) throw Failure("not a file: " + tools::pathText(file.file));
  return size;
}

void checkSizes(const std::vector<PackageFile>& files) {
  constexpr std::uint64_t kMax = kMaxPackageBytes;
  std::uint64_t total = 0;
  for (const PackageFile& file : files) {
    const std::uint64_t size = sizeOf(file);
    if (size > kMax || total + size > kMax) {
      throw Failure("too large: " + tools::pathText(file.file) + " has " + std::to_string(size) +
                    " bytes, the files before it " + std::to_string(total) + ", all together may have " +
                    std::to_string(kMax));
    }
    total += size;
  }
}

}  // namespace

PackageFile parseAddition(const std::string& text) {
  const std::size_t separator = text.find('=');
  if (separator == std::string::npos) return {tools::pathText(tools::toPath(text).filename()), tools::toPath(text)};
  std::string name = text.substr(0, separator);
  std::ranges::replace(name, '\\', '/');
  return {std::move(name), tools::toPath(text.substr(separator + 1))};
}

void checkContent(const std::vector<PackageFile>& files) {
  for (const PackageFile& file : files) checkName(file.name);
  checkMeetings(files);
  checkSizes(files);
}

}  // namespace zuvia::zupack
