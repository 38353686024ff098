#include "support/SecondProcess.h"

#include <array>
#include <ostream>
#include <stdexcept>

#include "support/Files.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

constexpr std::array<std::string_view, 4> kStateNames = {"free", "abandoned", "taken", "missing"};

}  // namespace

SecondProcess::SecondProcess() : process_(joinPath(programDirectory(), L"zuvia_test_second.exe")) {
  ask("hello", 60000);  // a busy machine starts it slowly
}

void SecondProcess::holdFile(const std::wstring& path, FileShare share) {
  ask("hold-file " + std::to_string(static_cast<int>(share)) + ' ' + toUtf8(path));
}

void SecondProcess::holdModule(const std::wstring& path) {
  ask("hold-module " + toUtf8(path));
}

void SecondProcess::releaseFiles() {
  ask("release-files");
}

MutexState SecondProcess::lockMutex(const std::wstring& name, unsigned milliseconds) {
  return askMutex("lock " + std::to_string(milliseconds) + ' ' + toUtf8(name), milliseconds);
}

void SecondProcess::releaseMutex(const std::wstring& name) {
  ask("unlock " + toUtf8(name));
}

MutexState SecondProcess::tryMutex(const std::wstring& name) {
  return askMutex("try " + toUtf8(name), 0);
}

void SecondProcess::die() {
  process_.terminate();
}

void SecondProcess::exit() {
  process_.closeInput();
  if (!process_.waitForExit()) throw std::runtime_error("The second process does not end");
}

std::string SecondProcess::ask(const std::string& command, unsigned milliseconds) {
  process_.writeLine(command);
  const std::string answer = process_.readLine(milliseconds).value_or("no answer");
  if (!answer.starts_with("ok")) throw std::runtime_error("Second process: " + command + ": " + answer);
  return answer.size() > 3 ? answer.substr(3) : std::string();
}

MutexState SecondProcess::askMutex(const std::string& command, unsigned milliseconds) {
  const std::string answer = ask(command, milliseconds + 10000);
  for (std::size_t state = 0; state < kStateNames.size(); ++state) {
    if (answer == kStateNames[state]) return static_cast<MutexState>(state);
  }
  throw std::runtime_error("Second process: " + command + ": " + answer);
}

std::string_view nameOf(MutexState state) {
  return kStateNames.at(static_cast<std::size_t>(state));
}

void PrintTo(MutexState state, std::ostream* stream) {
  *stream << nameOf(state);
}

}  // namespace zuvia::test
