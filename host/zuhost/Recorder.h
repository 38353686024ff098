#pragma once

#include <filesystem>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "Record.h"

namespace zuhost {

// The file could not be made. what() names it and says why, in UTF-8.
class RecordingFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Writes a session as a script that "zuhost run" replays. Each command is written, with the result that it had
// as an "expect", when it has been answered; what would stop the script, and events, become comments.
class Recorder {
 public:
  // Makes the file. One that is there already is left alone. Throws RecordingFailure.
  Recorder(const std::filesystem::path& file, const std::string& heading);

  // A command is carried out from now on, until command() tells its answer.
  void commandBegins();

  // A line that was carried out, and its answer.
  void command(const std::string& line, const Record& answer);

  // A line that is no command.
  void comment(const std::string& line);

  // Something that happened, for a comment behind the command that is under way; when there is none, it is written at
  // once, behind the last one. Any thread.
  void happened(const std::string& what);

 private:
  void writeHappenings();
  void write(const std::string& line);

  std::mutex mutex_;  // guards what follows
  std::ofstream file_;
  bool isUnderWay_ = false;              // a command is
  std::vector<std::string> happenings_;  // since it is
};

}  // namespace zuhost
