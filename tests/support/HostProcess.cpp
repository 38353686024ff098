#include "support/HostProcess.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <memory>
#include <sstream>
#include <string_view>
#include <system_error>

#include "support/Files.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using Clock = std::chrono::steady_clock;

struct CloseHandleOf {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOf>;

unsigned millisecondsUntil(Clock::time_point deadline) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  return static_cast<unsigned>(std::max<std::int64_t>(left.count(), 0));
}

// "VERSION loads PATH".
Candidate parseCandidate(const std::string& line) {
  std::istringstream text(line);
  std::string version;
  std::string verdict;
  std::string path;
  std::getline(text >> version >> verdict >> std::ws, path);
  return {toWide(path), versionOf(version), verdict == "loads"};
}

}  // namespace

HostProcess::HostProcess(const InstallTree& tree, unsigned short port)
    : process_(joinPath(programDirectory(), L"zuvia_test_host.exe")), root_(tree.root()) {
  ask("plugin " + toUtf8(tree.pluginPath()));
  ask("app " + toUtf8(tree.appPath()));
  ask("port " + std::to_string(port));
}

void HostProcess::trustOnly(const std::string& rootPem) {
  std::string line = rootPem;
  std::ranges::replace(line, '\n', '|');
  ask("trust " + line);
}

std::string HostProcess::load(unsigned milliseconds) {
  return ask("load", milliseconds);
}

void HostProcess::sendHostInformation(unsigned milliseconds) {
  ask("info", milliseconds);
}

void HostProcess::unload(unsigned milliseconds) {
  ask("unload", milliseconds);
}

bool HostProcess::waitForEvent(const std::string& text, unsigned milliseconds) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (std::ranges::find(events_, text) == events_.end()) {
    if (!takeLine(millisecondsUntil(deadline))) return false;
  }
  return true;
}

bool HostProcess::waitForMessage(const std::wstring& start, unsigned milliseconds) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  const auto begins = [&](const WideText& message) { return message.starts_with(start); };
  while (std::ranges::none_of(messages_, begins)) {
    if (!takeLine(millisecondsUntil(deadline))) return false;
  }
  return true;
}

std::optional<unsigned long> HostProcess::waitForEnd(unsigned milliseconds) {
  return process_.waitForExit(milliseconds);
}

void HostProcess::terminate() {
  process_.terminate();
}

void HostProcess::exit() {
  process_.closeInput();
  if (!process_.waitForExit(30000)) throw std::runtime_error("The host does not end");
}

std::vector<WideText> HostProcess::messages() {
  takeAll();
  return messages_;
}

std::vector<std::string> HostProcess::events() {
  takeAll();
  return events_;
}

std::map<std::string, std::string> HostProcess::locks() {
  takeAll();
  return locks_;
}

void HostProcess::forget() {
  takeAll();
  messages_.clear();
  events_.clear();
}

void HostProcess::cutAt(const std::string& function, std::size_t number) {
  ask("cut " + function + ' ' + std::to_string(number));
}

std::map<std::string, std::size_t> HostProcess::calls() {
  std::istringstream text(ask("calls"));
  std::map<std::string, std::size_t> calls;
  std::string function;
  for (std::size_t number = 0; text >> function >> number;) calls[function] = number;
  return calls;
}

HandleCount HostProcess::handles() {
  std::istringstream text(ask("handles"));
  HandleCount handles;
  for (std::string type; std::getline(text, type, '=');) {
    std::string number;
    std::getline(text, number, ';');
    handles[type] = std::stoul(number);
  }
  return handles;
}

MemoryCount HostProcess::memory() {
  std::istringstream text(ask("memory"));
  MemoryCount memory;
  text >> memory.heapBlocks >> memory.heapBytes >> memory.privateBytes >> memory.workingSet >> memory.peakWorkingSet;
  return memory;
}

void HostProcess::keepLoaded(const std::wstring& library) {
  ask("library " + toUtf8(library));
}

std::vector<Candidate> HostProcess::findCandidates() {
  candidates_.clear();
  ask("candidates " + toUtf8(root_));
  std::vector<Candidate> candidates;
  std::ranges::transform(candidates_, std::back_inserter(candidates), &parseCandidate);
  return candidates;
}

std::string HostProcess::ask(const std::string& command, unsigned milliseconds) {
  begin(command);
  return finish(milliseconds);
}

void HostProcess::begin(const std::string& command) {
  command_ = command;
  answer_.reset();
  process_.writeLine(command);
}

std::string HostProcess::finish(unsigned milliseconds) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (!answer_) {
    if (takeLine(millisecondsUntil(deadline))) continue;
    // Its output ends a moment before it does.
    if (process_.waitForExit(1000)) throw HostEnded("The host ended at: " + command_);
    throw std::runtime_error("The host does not answer: " + command_);
  }
  if (!answer_->starts_with("ok ")) throw std::runtime_error("Host: " + command_ + ": " + *answer_);
  return answer_->substr(3);
}

void HostProcess::stopAt(const std::wstring& start) {
  ask("stop " + toUtf8(start));
}

void HostProcess::resume() {
  const Handle event(OpenEventW(EVENT_MODIFY_STATE, FALSE, nameOfResumeEvent(process_.id()).c_str()));
  if (event && SetEvent(event.get()) != FALSE) return;
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "The host is not to stop anywhere");
}

bool HostProcess::takeLine(unsigned milliseconds) {
  const std::optional<std::string> line = process_.readLine(milliseconds);
  if (!line) return false;
  const auto told = [&](std::string_view kind) { return line->starts_with(kind); };
  if (told("log ")) {
    messages_.push_back(toWide(line->substr(4)));
  } else if (told("event ")) {
    events_.push_back(line->substr(6));
  } else if (told("lock ")) {
    const std::size_t blank = line->find(' ', 5);
    noteLock(line->substr(5, blank - 5), line->substr(blank + 1));
  } else if (told("candidate ")) {
    candidates_.push_back(line->substr(10));
  } else {
    answer_ = *line;
  }
  return true;
}

void HostProcess::noteLock(const std::string& step, const std::string& name) {
  if (step == "left") {
    locks_.erase(name);
  } else {
    locks_[name] = step;
  }
}

// Once it has ended, its output does, too: the wait is for what is still on the way.
void HostProcess::takeAll() {
  const unsigned patience = process_.waitForExit(0) ? 10000 : 0;
  while (takeLine(patience)) {
  }
}

std::wstring nameOfResumeEvent(unsigned long processId) {
  return L"Local\\zuvia-test-host-" + std::to_wstring(processId);
}

}  // namespace zuvia::test
