#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zuhost {

// A line that is no command, or one that cannot be carried out. what() says why, in UTF-8.
class BadCommand : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a command takes first, for completion.
enum class Taking { Nothing, Path, PluginCommand, Event, Iid, Command, Expectation };

struct CommandSyntax {
  std::string_view name;
  std::string_view parameters;  // as a person reads them; those in brackets may be left out
  size_t required;
  size_t most;
  std::string_view effect;
  Taking first = Taking::Nothing;
  std::string_view details = {};  // what else there is to know about it; lines end with a line feed
};

// Every command, in the order in which help lists them.
std::span<const CommandSyntax> commandTable();

// The command of that name; null when there is none.
const CommandSyntax* findCommand(std::string_view name);

struct Command {
  std::string name;
  std::vector<std::string> arguments;
};

// Splits a line into a command and its arguments, at blanks and tabs. The last argument that the
// command can have takes the rest of the line as it is, blanks included.
// Throws BadCommand for an unknown command, for too few or too many arguments and for a line with
// a NUL character. The line must hold more than blanks.
Command parseCommand(std::string_view line);

// Reads an argument that is a number from 0 to most, in decimal, or in hexadecimal after "0x".
// Blanks behind it do not count. Throws BadCommand.
uint64_t numberIn(std::string_view argument, uint64_t most);

// Reads an argument that is a time, at most 2147483647. Throws BadCommand.
std::chrono::milliseconds millisecondsIn(std::string_view argument);

// Cuts the first word off, with the blanks around it. What is left begins with no blank.
std::string takeWord(std::string_view& text);

// Whether a line holds no command: blanks only, or a comment, which begins with "#".
bool holdsNoCommand(std::string_view line);

}  // namespace zuhost
