#pragma once

#include <string>
#include <string_view>

#include "support/ChildProcess.h"

namespace zuvia::test {

// With whom a file is shared while it is held open.
enum class FileShare { None, Read, ReadWrite, ReadWriteDelete };

// What a process found when it asked for a named mutex.
enum class MutexState {
  Free,       // nobody held it
  Abandoned,  // its holder had died; it is held now as if it had been free
  Taken,      // another holds it
  Missing     // there is none of that name; only where it must exist already
};

// A process that holds what the tested one wants. It ends with the object at the latest, and what it holds
// ends with it. Operations return when the process has done them; a process that does not answer throws
// std::runtime_error. One thread at a time.
class SecondProcess {
 public:
  SecondProcess();

  // Opens a file for reading and keeps it open. Throws when it cannot be opened.
  void holdFile(const std::wstring& path, FileShare share = FileShare::None);

  // Loads a module, without running its start-up code, and keeps it loaded.
  void holdModule(const std::wstring& path);

  // Lets go of all files and modules.
  void releaseFiles();

  // Makes or opens a named mutex and takes it, waiting for so long. Free and Abandoned: it is held now.
  MutexState lockMutex(const std::wstring& name, unsigned milliseconds = 0);

  // Lets go of a mutex that it holds.
  void releaseMutex(const std::wstring& name);

  // Looks how a mutex stands, by trying to take it; what was taken is let go of at once. Missing when no
  // process has it open.
  MutexState tryMutex(const std::wstring& name);

  // Dies at once, without letting go of anything: its mutexes are abandoned.
  void die();

  // Exits in order; its mutexes are abandoned, too, when they are held. Returns when it has ended.
  void exit();

  ChildProcess& process() { return process_; }

 private:
  // Sends a command, and returns what follows "ok" in the answer.
  std::string ask(const std::string& command, unsigned milliseconds = 10000);
  MutexState askMutex(const std::string& command, unsigned milliseconds);

  ChildProcess process_;
};

// For messages of tests.
std::string_view nameOf(MutexState state);
void PrintTo(MutexState state, std::ostream* stream);

}  // namespace zuvia::test
