#include <windows.h>
// After windows.h, on which it depends.
#include <shellapi.h>

#include <hxbase/LogControl.h>

#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "Command.h"
#include "Completion.h"
#include "History.h"
#include "Installation.h"
#include "LineEditor.h"
#include "Options.h"
#include "Plugin.h"
#include "ProductMessages.h"
#include "Recorder.h"
#include "Script.h"
#include "Session.h"
#include "StatusRecord.h"
#include "Terminal.h"
#include "Text.h"

namespace {

using namespace zuhost;

constexpr int kFailed = 1;
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

[[noreturn]] void refuse(const std::string& why) {
  writeText(STD_ERROR_HANDLE, "zuhost: " + why + "\n");
  finish(kUnusable);
}

// What makes a file or a plugin, or ends the program with the reason why that cannot be had.
template <typename Make>
auto orRefuse(Make make) -> decltype(make()) {
  try {
    return make();
  } catch (const LoadFailure& failure) {
    refuse(failure.what());
  } catch (const UnreadableScript& failure) {
    refuse(failure.what());
  } catch (const RecordingFailure& failure) {
    refuse(failure.what());
  }
}

struct LogReceiver {
  Output& output;
  Arrivals& messages;
};

void receiveLogLine(void* receiver, uint16_t level, const char* className, const char* sourceFile, uint16_t line,
                    const char* functionName, const wchar_t* message, const char* moduleName) noexcept {
  if (ProductMessages::caught(message)) return;
  auto& [output, messages] = *static_cast<LogReceiver*>(receiver);
  output.print(logRecord({level, className, sourceFile, line, functionName, message, moduleName}));
  messages.add(utf8Of(message));
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

// A session with a plugin, whoever says the lines.
class Conversation {
 public:
  explicit Conversation(const Options& options)
      : options_(options),
        output_(options.json ? Output::Style::Json : Output::Style::Readable),
        receiver_{output_, messages_} {
    HxSetLogSink(receiveLogLine, &receiver_);
    if (options.levelOff) HxSetLogLevelEnabled(kPluginLogLevel, false);
  }

  void showStatus() { output_.print(statusRecord(lookAt(pluginFile(), options_.appPath.value_or(defaultAppPath())))); }

  void hold() {
    Input input;
    Session& session = begin();
    if (options_.json || !input.isTerminal() || !output_.isTerminal()) {
      return holdWith(session, [&] { return input.nextLine(); });
    }
    History history(historyFile());
    LineEditor editor(
        history, [&](const std::string& line) { return completionOf(line, session.eventNames(), &namesInDirectory); });
    holdWith(session, [&] {
      auto line = input.nextTyped(editor, output_);
      if (line) history.add(*line);
      return line;
    });
  }

  // Returns the exit status.
  int run() {
    Script script = orRefuse([&] { return Script(options_.script); });
    Session& session = begin();
    while (const auto line = script.nextLine()) {
      if (isComment(*line)) continue;
      if (!options_.json) output_.print(scriptLine(*line));
      const Record answer = carryOut(session, *line, script.position());
      if (isFailure(answer)) {
        writeText(STD_ERROR_HANDLE, "zuhost: " + script.position() + ": " + failureText(answer) + "\n");
        return kFailed;
      }
      if (answer.fields["done"] == "quit") break;
    }
    return EXIT_SUCCESS;
  }

 private:
  std::filesystem::path pluginFile() const { return options_.plugin.value_or(defaultPlugin()); }

  // The session is never destroyed: the plugin may call it for as long as the process lives.
  Session& begin() {
    auto& plugin = orRefuse([&]() -> auto& { return loadPlugin(pluginFile()); });
    if (options_.recording) {  // behind the plugin: without one no file is left in the way of the next attempt
      const std::string heading = "zuhost " ZUHOST_VERSION ", with " + utf8Of(pluginFile().native());
      recorder_ = orRefuse([&] { return new Recorder(*options_.recording, heading); });
    }
    return *new Session(plugin, {output_, messages_, recorder_, pluginFile()});
  }

  template <typename NextLine>
  void holdWith(Session& session, NextLine nextLine) {
    while (const auto line = nextLine()) {
      if (isComment(*line)) continue;
      if (carryOut(session, *line, {}).fields["done"] == "quit") return;
    }
  }

  // Also of blank lines, which are recorded as they are.
  bool isComment(const std::string& line) {
    if (!holdsNoCommand(line)) return false;
    if (recorder_ != nullptr) recorder_->comment(line);
    return true;
  }

  // position: where the line stands in a script; "" when it does not come from one.
  Record carryOut(Session& session, const std::string& line, const std::string& position) {
    if (recorder_ != nullptr) recorder_->commandBegins();
    Record answer = answerTo(session, line);
    if (isFailure(answer) && !position.empty()) answer.fields["at"] = validUtf8(position);
    output_.print(answer);
    if (recorder_ != nullptr) recorder_->command(line, answer);
    return answer;
  }

  const Options& options_;
  Arrivals messages_;
  Output output_;
  LogReceiver receiver_;
  Recorder* recorder_ = nullptr;
};

}  // namespace

int main() {
  const Options options = optionsOrFinish();
  Conversation conversation(options);
  if (options.mode == Options::Mode::Run) finish(conversation.run());
  if (options.mode == Options::Mode::Status) {
    conversation.showStatus();
  } else {
    conversation.hold();
  }
  finish(EXIT_SUCCESS);
}
