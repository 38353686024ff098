#include "Plugin.h"

#include <windows.h>
#include <zuvia/Exports.h>

#include <algorithm>
#include <string>

#include "Text.h"

namespace zuhost {
namespace {

std::string utf8Path(const std::filesystem::path& path) {
  return utf8Of(path.native());
}

std::string systemText(DWORD error) {
  wchar_t buffer[512];
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                                      buffer, 512, nullptr);
  std::wstring text(buffer, length);
  std::ranges::replace_if(
      text, [](wchar_t c) { return c < L' '; }, L' ');
  text.erase(text.find_last_not_of(L' ') + 1);
  return utf8Of(text);
}

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& why) {
  throw LoadFailure("cannot load " + utf8Path(file) + ": " + why);
}

[[noreturn]] void failWithLastError(const std::filesystem::path& file, const std::string& what) {
  const DWORD error = GetLastError();
  fail(file, what + "error " + std::to_string(error) + ", " + systemText(error));
}

// The system says the same of a file that is missing and of one that lacks a library.
[[noreturn]] void failToLoad(const std::filesystem::path& file) {
  const DWORD error = GetLastError();
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(file, ignored)) fail(file, "there is no such file; --plugin names the plugin");
  SetLastError(error);
  failWithLastError(file, error == ERROR_MOD_NOT_FOUND ? "a library that it needs is missing, " : "");
}

zuvia::IPluginEntryPoint* callCreate(const std::filesystem::path& file, zuvia::CreateFunction* create) {
  try {
    return create();
  } catch (const std::exception& exception) {
    fail(file, std::string("create threw: ") + exception.what());
  }
}

}  // namespace

zuvia::IPluginEntryPoint& loadPlugin(const std::filesystem::path& file) {
  SetErrorMode(SEM_FAILCRITICALERRORS);  // a missing library is told by the return, not by a window
  const std::filesystem::path path = std::filesystem::absolute(file);
  const HMODULE module = LoadLibraryW(path.c_str());
  if (module == nullptr) failToLoad(path);
  const auto create =
      reinterpret_cast<zuvia::CreateFunction*>(reinterpret_cast<void*>(GetProcAddress(module, zuvia::kCreateExport)));
  if (create == nullptr) failWithLastError(path, std::string("no export ") + zuvia::kCreateExport + ", ");
  zuvia::IPluginEntryPoint* const plugin = callCreate(path, create);
  if (plugin == nullptr) fail(path, "create returned no object");
  return *plugin;
}

std::filesystem::path defaultPlugin() {
  std::wstring program(32768, L'\0');
  program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
  return std::filesystem::path(program).replace_filename(L"zuviaplugin.dll");
}

}  // namespace zuhost
