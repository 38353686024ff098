#include "shared/CommandLine.h"

#include <algorithm>
#include <memory>
#include <sstream>

#include <CLI/CLI.hpp>

#include "platform/Windows.h"
#include "shared/Output.h"
#include "shared/Utf8.h"

#include <shellapi.h>

namespace zuvia::tools {
namespace {

int report(const CLI::App& app, const std::string& message, int status) {
  writeLine(Stream::Error, app.get_name() + ": " + printable(message));
  return status;
}

std::string commandNames(const CLI::App& app) {
  std::string names;
  for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names += (names.empty() ? "" : ", ") + command->get_name();
  }
  return names;
}

// The parser does not say which word it took for no command.
std::string faultOf(const CLI::App& app, const CLI::ParseError& error) {
  if (app.get_require_subcommand_min() == 0 || !app.get_subcommands().empty()) return error.what();
  const std::vector<std::string> unknown = app.remaining();
  const std::string fault = unknown.empty() ? "a command is required" : "there is no command " + unknown.front();
  return fault + "; there are " + commandNames(app);
}

// Help and version arrive as exceptions as well; only they end with 0.
int finishParsing(CLI::App& app, const CLI::ParseError& error) {
  if (error.get_exit_code() != 0) return report(app, faultOf(app, error) + "; see --help", kBadInput);
  std::ostringstream text;
  app.exit(error, text, text);
  std::string shown = text.str();
  while (shown.ends_with('\n')) shown.pop_back();
  writeLine(Stream::Output, shown);
  return kDone;
}

}  // namespace

std::vector<std::string> commandLineArguments() {
  int count = 0;
  const std::unique_ptr<LPWSTR, decltype(&LocalFree)> values(CommandLineToArgvW(GetCommandLineW(), &count), &LocalFree);
  std::vector<std::string> arguments;
  for (int index = 1; values && index < count; ++index) arguments.push_back(toUtf8(values.get()[index]));
  return arguments;
}

int runTool(CLI::App& app, std::vector<std::string> arguments) {
  std::reverse(arguments.begin(), arguments.end());  // the order that the parser takes
  try {
    app.parse(std::move(arguments));
    return kDone;
  } catch (const CLI::ParseError& error) {
    return finishParsing(app, error);
  } catch (const Failure& failure) {
    return report(app, failure.what(), failure.status());
  } catch (const std::exception& error) {
    return report(app, error.what(), kBadInput);
  }
}

}  // namespace zuvia::tools
