#include "Completion.h"

#include <zuvia/Commands.h>
#include <zuvia/Events.h>
#include <zuvia/InterfaceIds.h>

#include <algorithm>
#include <filesystem>

#include "Command.h"
#include "Text.h"

namespace zuhost {
namespace {

using Words = std::vector<std::string>;

constexpr std::string_view kBlanks = " \t";

Words commandNames() {
  Words names;
  for (const auto& syntax : commandTable()) names.emplace_back(syntax.name);
  return names;
}

bool isControl(unsigned char character) {
  return character < ' ' || character == 0x7F;
}

// Names with control characters are left out: nobody can type them, and a terminal would obey them.
Words eventNames(const std::set<std::string>& others) {
  std::set<std::string> names = {zuvia::kPluginLoadedEvent, zuvia::kPluginLoadedDoneEvent, zuvia::kPluginUpgradeEvent};
  for (const auto& name : others) {
    if (std::ranges::none_of(name, isControl)) names.insert(name);
  }
  return {names.begin(), names.end()};
}

Words startingWith(Words words, std::string_view beginning) {
  std::erase_if(words, [&](const std::string& word) { return !word.starts_with(beginning); });
  std::ranges::sort(words);
  return words;
}

Words wordsFor(Taking taking, const std::set<std::string>& events) {
  switch (taking) {
    case Taking::PluginCommand:
      return {zuvia::kIsLoadedCommand, zuvia::kGetVersionCommand, zuvia::kSetHostInfoCommand};
    case Taking::Event:
      return eventNames(events);
    case Taking::Iid:
      return {zuvia::IID_IPluginEntryPoint, zuvia::IID_IPluginLoader, zuvia::IID_IWxMonitor, zuvia::IID_IZUPlugin};
    case Taking::Command:
      return commandNames();
    default:
      return {};
  }
}

// A path takes the rest of the line; letter case does not count, as on Windows' disks.
Completion pathCompletion(std::string_view line, size_t begin, const DirectoryNames& namesIn) {
  const size_t separator = line.find_last_of("\\/:");
  const size_t name = separator == std::string_view::npos || separator < begin ? begin : separator + 1;
  const std::wstring wanted = wideOf(line.substr(name));
  Words names = namesIn(std::string(line.substr(begin, name - begin)));
  std::erase_if(names, [&](const std::string& given) {
    return _wcsnicmp(wideOf(given).c_str(), wanted.c_str(), wanted.size()) != 0;
  });
  std::ranges::sort(names);
  return {name, names, true};
}

// before: what stands between "expect" and the last word, which begins at begin.
Completion expectationCompletion(std::string_view before, size_t begin, std::string_view last,
                                 const std::set<std::string>& events) {
  std::string word = takeWord(before);
  if (word == "--within") {
    takeWord(before);
    word = takeWord(before);
  }
  if (word == "EVENT" && before.empty()) return {begin, startingWith(eventNames(events), last), true};
  if (!word.empty()) return {};
  return {.begin = begin, .words = startingWith({"--within", "RESULT", "EVENT", "LOG"}, last)};
}

}  // namespace

Completion completionOf(std::string_view line, const std::set<std::string>& events, const DirectoryNames& namesIn) {
  const size_t begin = line.find_last_of(kBlanks) + 1;  // npos + 1 is 0
  const std::string_view last = line.substr(begin);
  std::string_view before = line.substr(0, begin);
  const std::string name = takeWord(before);
  if (name.empty()) return {.begin = begin, .words = startingWith(commandNames(), last)};
  const CommandSyntax* const syntax = findCommand(name);
  if (syntax == nullptr) return {};
  if (syntax->first == Taking::Path) {
    const size_t path = line.find_first_not_of(kBlanks, line.find(name) + name.size());
    return pathCompletion(line, std::min(path, line.size()), namesIn);
  }
  if (syntax->first == Taking::Expectation) return expectationCompletion(before, begin, last, events);
  if (!before.empty()) return {};
  return {begin, startingWith(wordsFor(syntax->first, events), last), syntax->most == 1};
}

std::vector<std::string> namesInDirectory(const std::string& directory) {
  Words names;
  std::error_code error;
  const std::filesystem::path path = directory.empty() ? L"." : wideOf(directory);
  for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    const bool isDirectory = entry->is_directory(ignored);
    names.push_back(utf8Of(entry->path().filename().native()) + (isDirectory ? "\\" : ""));
  }
  return names;
}

std::string commonBeginning(const std::vector<std::string>& words) {
  if (words.empty()) return {};
  std::u32string common = codePointsOf(words[0]);
  for (const auto& word : words) {
    const std::u32string other = codePointsOf(word);
    const auto differing = std::ranges::mismatch(common, other).in1;
    common.erase(differing, common.end());
  }
  return utf8OfCodePoints(common);
}

}  // namespace zuhost
