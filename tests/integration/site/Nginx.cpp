#include "integration/site/Nginx.h"

#include <windows.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <vector>

#include "support/Files.h"
#include "support/Text.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

constexpr const wchar_t* kProgram = L"/usr/sbin/nginx";

std::wstring file(std::wstring_view name) {
  return joinPath(Nginx::directory(), name);
}

// Without daemons of other users' directories, and heard of at the level that tells of its workers.
std::string mainConfiguration(const std::wstring& include) {
  std::string text =
      "worker_processes 1;\nuser root;\npid nginx.pid;\nerror_log error.log notice;\n"
      "events { worker_connections 256; }\n"
      "http {\n  access_log off;\n  keepalive_requests 100000;\n";
  for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
    text += std::string("  ") + kind + "_temp_path " + kind + ";\n";
  }
  return text + "  include \"" + toUtf8(include) + "\";\n}\n";
}

std::string errorLog() {
  return fileExists(file(L"error.log")) ? readFile(file(L"error.log")) : "";
}

std::size_t timesIn(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

void waitUntil(const std::function<bool()>& condition, const std::string& what) {
  for (int waited = 0; !condition(); waited += 20) {
    if (waited > 15000) throw std::runtime_error("nginx does not " + what + ":\n" + errorLog());
    Sleep(20);
  }
}

std::size_t endedWorkers() {
  return timesIn(errorLog(), "exited with code 0");
}

}  // namespace

Nginx::Nginx(const std::wstring& include) {
  writeFile(file(L"main.conf"), mainConfiguration(include));
  writeFile(file(L"error.log"), "");
  run(L"");
  waitUntil([] { return timesIn(errorLog(), "start worker process ") > 0; }, "start");
}

Nginx::~Nginx() {
  run(L"stop");
  waitUntil([] { return !fileExists(file(L"nginx.pid")); }, "end");
}

void Nginx::reload() {
  const std::size_t before = endedWorkers();
  run(L"reload");
  waitUntil([before] { return endedWorkers() > before; }, "read its configuration again");
}

std::wstring Nginx::directory() {
  std::wstring path = L"Z:" + linuxDirectory();
  std::ranges::replace(path, L'/', L'\\');
  return path;
}

std::wstring Nginx::linuxDirectory() {
  std::wstring path(MAX_PATH, L'\0');
  path.resize(GetEnvironmentVariableW(L"ZUVIA_NGINX", path.data(), MAX_PATH));
  if (path.empty()) throw std::runtime_error("run this through with-nginx");
  return path;
}

void Nginx::run(const std::wstring& action) {
  std::vector<std::wstring> arguments = {L"-p", linuxDirectory(), L"-e", L"error.log", L"-c", L"main.conf"};
  if (!action.empty()) arguments.insert(arguments.end(), {L"-s", action});
  runLinuxProgram(kProgram, arguments);
}

}  // namespace zuvia::test
