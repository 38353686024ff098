#include "Command.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace zuhost {
namespace {

constexpr std::string_view kBlanks = " \t";

constexpr CommandSyntax kCommands[] = {
    {"load", "[PATH]", 0, 1, "tell the plugin that it is loaded; without PATH the path is null", Taking::Path,
     "PATH is what a host passes to onLoaded. The rest of the line is the path, blanks included.\n"},
    {"unload", "", 0, 0, "tell the plugin that it is unloaded; waits for what it is still doing"},
    {"send", "CMD [DATA]", 1, 2, "send a command; without DATA the data is null", Taking::PluginCommand,
     "The plugin itself answers isLoaded, getVersion and setHostInfo, the implementation everything else.\n"
     "  send setHostInfo {\"uid\": 1, \"ver\": \"5.0.0\", \"test_env\": true, \"app_path\": \"C:\\\\data\"}\n"
     "begins an update. The rest of the line is the data, blanks included.\n"},
    {"listen", "", 0, 0, "add a listener, which shows every event"},
    {"unlisten", "ID", 1, 1, "remove a listener"},
    {"query", "IID", 1, 1, "ask for an interface", Taking::Iid},
    {"loaded", "", 0, 0, "ask whether an implementation is loaded"},
    {"version", "", 0, 0, "ask for the version of the implementation"},
    {"relay1", "A B C", 3, 3, "call the first relay with three whole numbers"},
    {"relay2", "A B C", 3, 3, "call the second relay with three whole numbers"},
    {"wait", "EVENT MS", 2, 2, "wait until EVENT arrives, or has since the last wait for it, for MS ms at most",
     Taking::Event, "It needs a listener. In a script it is an error when the event does not come.\n"},
    {"expect", "[--within MS] RESULT|EVENT|LOG PATTERN", 1, 1, "check what was answered, raised or logged",
     Taking::Expectation,
     "In PATTERN * stands for any characters and ? for one; it is compared with a whole text:\n"
     "  RESULT  what the last command answered: a result, version, number or true, false, null\n"
     "  EVENT   \"NAME\" or \"NAME DATA\" of an event that no expect has taken yet; it takes the oldest that matches,\n"
     "          and waits for it, 10000 ms unless --within says otherwise; it needs a listener\n"
     "  LOG     a message that was logged since the last load, unload, send, relay1, relay2 or destroy began;\n"
     "          it waits for it only when --within says so\n"},
    {"status", "[APP_PATH]", 0, 1, "show what is installed and what a load would take", Taking::Path,
     "APP_PATH is the host's application path, where the caches are; without it the app_path that was sent last\n"
     "with setHostInfo, or else the temporary directory. Nothing is loaded, locked or written.\n"},
    {"sleep", "MS", 1, 1, "do nothing for MS ms"},
    {"destroy", "", 0, 0, "delete the plugin object"},
    {"help", "[COMMAND]", 0, 1, "list the commands, or tell more about one", Taking::Command},
    {"quit", "", 0, 0, "end the program at once, as the end of the input does"},
};

std::string_view withoutLeadingBlanks(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

const CommandSyntax& syntaxOf(const std::string& name) {
  const CommandSyntax* const found = findCommand(name);
  if (found == nullptr) throw BadCommand("unknown command: " + name + "; help lists them");
  return *found;
}

std::string usage(const CommandSyntax& syntax) {
  std::string text = "usage: " + std::string(syntax.name);
  if (!syntax.parameters.empty()) text.append(" ").append(syntax.parameters);
  return text;
}

}  // namespace

std::span<const CommandSyntax> commandTable() {
  return kCommands;
}

const CommandSyntax* findCommand(std::string_view name) {
  const auto found = std::ranges::find(kCommands, name, &CommandSyntax::name);
  return found == std::end(kCommands) ? nullptr : found;
}

Command parseCommand(std::string_view line) {
  if (line.find('\0') != std::string_view::npos) throw BadCommand("a line must not hold a NUL character");
  std::string_view rest = line;
  Command command{.name = takeWord(rest), .arguments = {}};
  const CommandSyntax& syntax = syntaxOf(command.name);
  while (command.arguments.size() + 1 < syntax.most && !rest.empty()) command.arguments.push_back(takeWord(rest));
  if (!rest.empty()) command.arguments.emplace_back(rest);
  if (command.arguments.size() < syntax.required || command.arguments.size() > syntax.most) {
    throw BadCommand(usage(syntax));
  }
  return command;
}

uint64_t numberIn(std::string_view argument, uint64_t most) {
  const std::string_view digits = argument.substr(0, argument.find_last_not_of(kBlanks) + 1);
  const bool isHexadecimal = digits.starts_with("0x");
  const char* const begin = digits.data() + (isHexadecimal ? 2 : 0);
  const char* const end = digits.data() + digits.size();
  uint64_t number = 0;
  const auto [stopped, error] = std::from_chars(begin, end, number, isHexadecimal ? 16 : 10);
  if (error != std::errc() || stopped != end || number > most) {
    throw BadCommand("not a number from 0 to " + std::to_string(most) + ": " + std::string(digits));
  }
  return number;
}

std::chrono::milliseconds millisecondsIn(std::string_view argument) {
  return std::chrono::milliseconds(numberIn(argument, std::numeric_limits<int32_t>::max()));
}

std::string takeWord(std::string_view& text) {
  text = withoutLeadingBlanks(text);
  const size_t length = std::min(text.find_first_of(kBlanks), text.size());
  std::string word(text.substr(0, length));
  text = withoutLeadingBlanks(text.substr(length));
  return word;
}

bool holdsNoCommand(std::string_view line) {
  const std::string_view text = withoutLeadingBlanks(line);
  return text.empty() || text.starts_with('#');
}

}  // namespace zuhost
