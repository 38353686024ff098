#include "History.h"

#include <windows.h>

#include <fstream>
#include <utility>

namespace zuhost {

History::History(std::filesystem::path file) : file_(std::move(file)) {
  std::ifstream stream(file_, std::ios::binary);
  for (std::string line; std::getline(stream, line);) lines_.push_back(line);
  stream.close();
  if (lines_.size() > kMost) shorten();
}

void History::add(const std::string& line) {
  if (line.empty() || line[0] == ' ' || line[0] == '\t' || (!lines_.empty() && lines_.back() == line)) return;
  lines_.push_back(line);
  if (file_.empty()) return;
  std::error_code ignored;
  std::filesystem::create_directories(file_.parent_path(), ignored);
  std::ofstream(file_, std::ios::binary | std::ios::app) << line << '\n';
}

// A second file takes the place of the first, so that no death in between loses any of it.
void History::shorten() {
  lines_.erase(lines_.begin(), lines_.end() - kMost);
  std::filesystem::path shorter = file_;
  shorter += L"." + std::to_wstring(GetCurrentProcessId()) + L".new";
  std::ofstream stream(shorter, std::ios::binary);
  for (const auto& line : lines_) stream << line << '\n';
  stream.close();
  std::error_code error;
  if (stream) std::filesystem::rename(shorter, file_, error);
  if (!stream || error) std::filesystem::remove(shorter, error);
}

std::filesystem::path historyFile() {
  std::wstring directory(32768, L'\0');
  directory.resize(GetEnvironmentVariableW(L"LOCALAPPDATA", directory.data(), static_cast<DWORD>(directory.size())));
  if (directory.empty()) return {};
  return std::filesystem::path(directory) / L"zuvia" / L"zuhost.history";
}

}  // namespace zuhost
