#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "Record.h"
#include "Text.h"

namespace zuhost {
namespace {

std::string footer() {
  return "Commands are read from the standard input, one per line; the last argument takes the rest of the line:\n\n" +
         help().text +
         "\n\n"
         "Events and log lines are shown as they happen, on whichever thread raises them. A listener must not\n"
         "unload the plugin: onUnload would wait for the event that it was called from.\n\n"
         "Exit status: 0; 1 when a command of a script fails; 2 when the plugin cannot be loaded, a file cannot\n"
         "be read or made, or the command line is wrong.";
}

std::optional<std::filesystem::path> pathOf(const CLI::App& app, const char* option, const std::string& text) {
  if (app.count(option) == 0) return std::nullopt;
  return std::filesystem::path(wideOf(text));
}

}  // namespace

Options parseOptions(std::vector<std::string> arguments) {
  Options options;
  std::string plugin;
  std::string script;
  std::string appPath;
  std::string recording;
  CLI::App app("A simulated host: loads a plugin as a host does and runs commands on it.", "zuhost");
  app.add_option("--plugin", plugin, "The plugin; zuviaplugin.dll beside this program by default")->type_name("FILE");
  app.add_flag("--json", options.json, "Answer, and tell events and log lines, as JSON, one object per line");
  app.add_flag("--level-off", options.levelOff, "Disable the log level that the plugin uses");
  CLI::Option* const record = app.add_option("--record", recording, "Write the session to a new file, as a script");
  record->type_name("FILE");
  app.set_version_flag("--version", "zuhost " ZUHOST_VERSION);
  app.footer(footer());
  app.require_subcommand(0, 1);
  CLI::App* const run = app.add_subcommand("run", "Run the commands of a script and stop at the first that fails");
  run->add_option("FILE", script, "The script")->required()->type_name("");
  run->fallthrough();
  CLI::App* const status = app.add_subcommand("status", "Show what is installed and what a load would take");
  status->add_option("--app-path", appPath, "The host's application path; the temporary directory by default")
      ->type_name("DIRECTORY");
  status->fallthrough();
  status->excludes(record);
  try {
    std::ranges::reverse(arguments);  // as this overload wants them
    app.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    throw Refusal{app.help(), 0};
  } catch (const CLI::CallForVersion& version) {
    throw Refusal{std::string(version.what()) + "\n", 0};
  } catch (const CLI::ParseError& error) {
    throw Refusal{std::string("zuhost: ") + error.what() + "; see --help\n", 2};
  }
  if (run->parsed()) options.mode = Options::Mode::Run;
  if (status->parsed()) options.mode = Options::Mode::Status;
  options.script = wideOf(script);
  options.plugin = pathOf(app, "--plugin", plugin);
  options.appPath = pathOf(*status, "--app-path", appPath);
  options.recording = pathOf(app, "--record", recording);
  return options;
}

}  // namespace zuhost
