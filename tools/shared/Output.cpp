#include "shared/Output.h"

#include <mutex>
#include <string>

#include "platform/Windows.h"
#include "shared/Utf8.h"

namespace zuvia::tools {
namespace {

std::mutex outputMutex;

void writeToConsole(HANDLE console, std::string_view text) {
  const std::wstring wide = toWide(text);
  DWORD written = 0;
  WriteConsoleW(console, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
}

void writeToFile(HANDLE file, std::string_view text) {
  DWORD written = 0;
  while (!text.empty() && WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) != FALSE) {
    text.remove_prefix(written);
  }
}

HANDLE handleOf(Stream stream) {
  return GetStdHandle(stream == Stream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

}  // namespace

void writeLine(Stream stream, std::string_view text) {
  writeText(stream, std::string(text) + "\n");
}

void writeText(Stream stream, std::string_view text) {
  const std::lock_guard lock(outputMutex);
  if (isConsole(stream)) {
    writeToConsole(handleOf(stream), text);
  } else {
    writeToFile(handleOf(stream), text);
  }
}

bool isConsole(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(handleOf(stream), &mode) != FALSE;
}

}  // namespace zuvia::tools
