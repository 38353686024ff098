#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "Record.h"
#include "Text.h"

namespace zuhost {
namespace {

std::string footer() {
  return "Commands are read from the standard input, one per line; the last argument takes the rest of the line:\n\n" +
         readableLine(help(), false) +
         "\n\n"
         "Events and log lines are shown as they happen, on whichever thread raises them. A listener must not\n"
         "unload the plugin: onUnload would wait for the event that it was called from.\n\n"
         "Exit status: 0; 2 when the plugin cannot be loaded or the command line is wrong.";
}

}  // namespace

Options parseOptions(std::vector<std::string> arguments) {
  Options options;
  std::string plugin;
  CLI::App app("A simulated host: loads a plugin as a host does and runs commands on it.", "zuhost");
  app.add_option("--plugin", plugin, "The plugin; zuviaplugin.dll beside this program by default")->type_name("FILE");
  app.add_flag("--json", options.json, "Answer, and tell events and log lines, as JSON, one object per line");
  app.add_flag("--level-off", options.levelOff, "Disable the log level that the plugin uses");
  app.set_version_flag("--version", "zuhost " ZUHOST_VERSION);
  app.footer(footer());
  try {
    std::ranges::reverse(arguments);  // as this overload wants them
    app.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    throw Refusal{app.help(), 0};
  } catch (const CLI::CallForVersion& version) {
    throw Refusal{std::string(version.what()) + "\n", 0};
  } catch (const CLI::ParseError& error) {
    throw Refusal{std::string("zuhost: ") + error.what() + "\n", 2};
  }
  if (app.count("--plugin") != 0) options.plugin = wideOf(plugin);
  return options;
}

}  // namespace zuhost
