#include "Recorder.h"

#include <algorithm>

#include "Command.h"
#include "Pattern.h"
#include "Text.h"

namespace zuhost {
namespace {

std::string onOneLine(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  return text;
}

// What changes nothing and is not the same the next time.
bool isLookingOnly(const std::string& name) {
  return name == "help" || name == "status";
}

std::ofstream fileOrFailure(const std::filesystem::path& file) {
  if (std::filesystem::exists(file)) {
    throw RecordingFailure(utf8Of(file.native()) +
                           " exists already: name another file for the recording, or remove it");
  }
  std::ofstream stream(file, std::ios::binary);
  if (!stream) throw RecordingFailure("cannot make " + utf8Of(file.native()) + " for the recording");
  return stream;
}

}  // namespace

Recorder::Recorder(const std::filesystem::path& file, const std::string& heading) : file_(fileOrFailure(file)) {
  write("# " + onOneLine(heading));
}

void Recorder::commandBegins() {
  const std::lock_guard lock(mutex_);
  isUnderWay_ = true;
}

void Recorder::command(const std::string& line, const Record& answer) {
  std::string_view rest = line;
  const std::string name = takeWord(rest);
  const std::lock_guard lock(mutex_);
  isUnderWay_ = false;
  if (isFailure(answer)) {
    write("# " + onOneLine(line));
    write("# -> " + onOneLine(failureText(answer)));
  } else if (!isLookingOnly(name)) {
    write(line);
  }
  writeHappenings();
  if (!isFailure(answer) && hasResult(answer) && name != "wait")
    write("expect RESULT " + patternFor(resultText(answer)));
}

void Recorder::comment(const std::string& line) {
  const std::lock_guard lock(mutex_);
  write(line);
}

void Recorder::happened(const std::string& what) {
  const std::lock_guard lock(mutex_);
  happenings_.push_back(onOneLine(what));
  if (!isUnderWay_) writeHappenings();
}

void Recorder::writeHappenings() {
  for (const auto& what : happenings_) write("# " + what);
  happenings_.clear();
}

void Recorder::write(const std::string& line) {
  file_ << line << '\n' << std::flush;
}

}  // namespace zuhost
