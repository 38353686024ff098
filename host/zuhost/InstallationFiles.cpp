#include "InstallationFiles.h"

#include <json/reader.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "Text.h"
#include "common/config/ConfigAnswer.h"
#include "config/UpdateEntryText.h"
#include "platform/DirectoryListing.h"
#include "platform/Handles.h"
#include "platform/SystemClock.h"
#include "updater/HitSequence.h"

namespace zuhost {
namespace {

constexpr uint64_t kMostBytes = 256ULL << 20;

// From FILETIME, whose units are the same, to what systemTicks counts.
int64_t ticksSince1970(const FILETIME& time) {
  constexpr int64_t kTicksUntil1970 = 116'444'736'000'000'000;
  return (static_cast<int64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime) - kTicksUntil1970;
}

// What an answer of the configuration service means to the updater.
std::string meaningOf(const std::string& answer) {
  try {
    std::string text;
    std::string errors;
    zuvia::UpdateEntry entry;
    if (zuvia::parseConfigAnswer(answer, "zu_plugin_update", text, errors) != zuvia::ConfigAnswer::Value ||
        text.empty()) {
      return "offers nothing";
    }
    if (!zuvia::parseUpdateEntry(text, entry, errors)) return "holds an entry that is no JSON";
    return entry.ver.empty() ? "offers nothing" : "offers " + entry.ver + " at " + entry.url;
  } catch (const std::exception&) {
    return "is not understood";
  }
}

CachedAnswer answerOf(const Json::Value& entry) {
  return {.url = entry["key_url"].asString(),
          .milliseconds = entry["timestamp_ms"].asInt64(),
          .meaning = meaningOf(entry["response_data"].asString())};
}

void readAnswers(const std::wstring& path, Caches& caches) {
  const FileFacts facts = factsOf(path);
  if (!facts.isFile) return;
  caches.answerBytes = facts.bytes;
  try {
    const auto content = contentOf(path);
    if (!content) throw std::runtime_error("it cannot be read");
    if (content->empty()) return;
    std::istringstream stream(*content);
    Json::Value document;
    std::string errors;
    if (!Json::parseFromStream(Json::CharReaderBuilder(), stream, &document, &errors)) {
      throw std::runtime_error("it is no JSON");
    }
    for (const auto& entry : std::as_const(document)["entries"]) caches.answers.push_back(answerOf(entry));
  } catch (const std::exception& fault) {
    caches.answerFault = fault.what();
  }
}

std::optional<std::string> hitSequenceIn(const std::wstring& path) {
  const auto content = contentOf(path);
  if (!content) return std::nullopt;
  return std::string(zuvia::trimHitSequence(content->substr(0, content->find('\n'))));
}

}  // namespace

FileFacts factsOf(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data) == 0) return {};
  return {.isFile = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0,
          .bytes = static_cast<uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow,
          .ageSeconds = (zuvia::systemTicks() - ticksSince1970(data.ftLastWriteTime)) / zuvia::kTicksPerSecond};
}

FoundFile fileAt(const std::wstring& path, const std::wstring& name) {
  const FileFacts facts = factsOf(path);
  return {.name = name, .bytes = facts.bytes, .ageSeconds = facts.ageSeconds};
}

std::optional<std::string> contentOf(const std::wstring& path) {
  const zuvia::FileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  LARGE_INTEGER size{};
  if (!file || GetFileSizeEx(file.get(), &size) == 0 || static_cast<uint64_t>(size.QuadPart) > kMostBytes) return {};
  std::string content(static_cast<size_t>(size.QuadPart), '\0');
  DWORD count = 0;
  if (ReadFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &count, nullptr) == 0) return {};
  content.resize(count);
  return content;
}

Caches cachesOf(const std::filesystem::path& appPath) {
  Caches caches;
  caches.directory = (appPath / L"zuviaplugin" / L"cache").make_preferred().native();
  caches.hitSequence = hitSequenceIn(caches.directory + L"\\hit.cache");
  readAnswers(caches.directory + L"\\bbs.cache", caches);
  const std::wstring packages = caches.directory + L"\\update\\";
  zuvia::DirectoryListing listing(packages + L"*");
  while (listing && listing.next()) caches.packages.push_back(fileAt(packages + listing.name(), listing.name()));
  std::ranges::sort(caches.packages, {}, &FoundFile::name);
  return caches;
}

std::filesystem::path defaultAppPath() {
  std::array<wchar_t, MAX_PATH + 1> directory{};
  GetTempPathW(MAX_PATH, directory.data());
  return directory.data();
}

}  // namespace zuhost
