#pragma once

#include <windows.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace zuvia::test {

// Counts the calls by which a module reaches beyond its process (files, directories, named objects, other modules,
// network, threads, the host's logger), and ends the process at one of them, before it is made: the module's whole
// import table, whatever the signatures. What happens inside of the process alone, such as memory and its locks,
// does not count, because nothing of it is left when the process is gone.
//
// It stays for as long as the process. One for a module; hooks of other kinds on the same module are made before.
class CallCutter {
 public:
  // The status of a process that was ended here.
  static constexpr unsigned kCutStatus = 77;

  // Throws std::runtime_error when the module imports a function of which nobody has said whether it counts.
  explicit CallCutter(HMODULE module);
  ~CallCutter() = delete;

  // How often each function was called since the making, those that were. Any thread.
  std::map<std::string, std::size_t> calls() const;

  // Ends the process at the call of that number, counted from 1 and from now. Throws std::invalid_argument when the
  // module does not import the function.
  void cutAt(const std::string& function, std::size_t number);

 private:
  struct Private;
  const std::unique_ptr<Private> m;
};

}  // namespace zuvia::test
