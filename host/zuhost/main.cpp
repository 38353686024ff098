#include <windows.h>
// After windows.h, on which it depends.
#include <shellapi.h>

#include <hxbase/LogControl.h>

#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "Command.h"
#include "Options.h"
#include "Plugin.h"
#include "Session.h"
#include "Terminal.h"
#include "Text.h"

namespace {

using namespace zuhost;

constexpr int kUnusable = 2;
constexpr uint16_t kPluginLogLevel = 1;

// Ends the process while threads of the plugin may be running, as a host may do: nothing of this
// program is destroyed under them.
[[noreturn]] void finish(int status) {
  std::_Exit(status);
}

std::vector<std::string> programArguments() {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(utf8Of(words[i]));
  LocalFree(words);
  return arguments;
}

Options optionsOrFinish() {
  try {
    return parseOptions(programArguments());
  } catch (const Refusal& refusal) {
    writeText(refusal.status == 0 ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE, refusal.text);
    finish(refusal.status);
  }
}

zuvia::IPluginEntryPoint& pluginOrFinish(const Options& options) {
  try {
    return loadPlugin(options.plugin.value_or(defaultPlugin()));
  } catch (const LoadFailure& failure) {
    writeText(STD_ERROR_HANDLE, std::string("zuhost: ") + failure.what() + "\n");
    finish(kUnusable);
  }
}

void printLogLine(void* output, uint16_t level, const char* className, const char* sourceFile, uint16_t line,
                  const char* functionName, const wchar_t* message, const char* moduleName) noexcept {
  static_cast<Output*>(output)->print(
      logRecord({level, className, sourceFile, line, functionName, message, moduleName}));
}

// The answer to a line, whatever happens.
Record answerTo(Session& session, const std::string& line) {
  try {
    return session.execute(parseCommand(line));
  } catch (const BadCommand& error) {
    return errorRecord(error.what());
  } catch (const std::exception& exception) {
    return errorRecord(std::string("the plugin threw: ") + exception.what());
  } catch (...) {
    return errorRecord("the plugin threw what is no standard exception");
  }
}

void runCommands(Input& input, Output& output, Session& session) {
  for (;;) {
    output.prompt();
    const auto line = input.nextLine();
    output.promptAnswered();
    if (!line) return;
    if (isBlank(*line)) continue;
    const Record record = answerTo(session, *line);
    output.print(record);
    if (record.fields["done"] == "quit") return;
  }
}

}  // namespace

int main() {
  const Options options = optionsOrFinish();
  Input input;
  Output output(options.json ? Output::Style::Json : Output::Style::Readable, !options.json && input.isTerminal());
  HxSetLogSink(printLogLine, &output);
  if (options.levelOff) HxSetLogLevelEnabled(kPluginLogLevel, false);
  Session session(pluginOrFinish(options), output);
  runCommands(input, output, session);
  finish(EXIT_SUCCESS);
}
