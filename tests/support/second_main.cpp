// The program behind SecondProcess: does what its standard input says, line by line, and answers each line
// with "ok" and a result, or with "error" and a code. It ends when its input does.

#include <windows.h>

#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "support/Text.h"

namespace {

using zuvia::test::toWide;

struct CloseHandleOf {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOf>;

struct FreeModule {
  using pointer = HMODULE;
  void operator()(HMODULE module) const { FreeLibrary(module); }
};
using Module = std::unique_ptr<HMODULE, FreeModule>;

[[noreturn]] void failed() {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "failed");
}

std::string nameOfWait(DWORD result) {
  if (result == WAIT_OBJECT_0) return "free";
  if (result == WAIT_ABANDONED) return "abandoned";
  if (result == WAIT_TIMEOUT) return "taken";
  failed();
}

class Second {
 public:
  // Returns what the answer says after "ok".
  std::string obey(const std::string& command, std::istringstream& arguments) {
    if (command == "hello") return {};
    if (command == "complain") return complain(arguments);
    if (command == "hold-file") return holdFile(arguments);
    if (command == "hold-module") return holdModule(arguments);
    if (command == "release-files") return releaseFiles();
    if (command == "lock") return lock(arguments);
    if (command == "unlock") return unlock(arguments);
    if (command == "try") return tryMutex(arguments);
    throw std::invalid_argument("unknown command");
  }

 private:
  static std::wstring rest(std::istringstream& arguments) {
    std::string text;
    std::getline(arguments >> std::ws, text);
    return toWide(text);
  }

  static std::string complain(std::istringstream& arguments) {
    std::cerr << (arguments >> std::ws).rdbuf() << std::endl;
    return {};
  }

  std::string holdFile(std::istringstream& arguments) {
    static constexpr DWORD kShares[] = {0, FILE_SHARE_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE};
    std::size_t share = 0;
    arguments >> share;
    HANDLE file =
        CreateFileW(rest(arguments).c_str(), GENERIC_READ, kShares[share], nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) failed();
    files_.emplace_back(file);
    return {};
  }

  std::string holdModule(std::istringstream& arguments) {
    HMODULE module = LoadLibraryExW(rest(arguments).c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
    if (module == nullptr) failed();
    modules_.emplace_back(module);
    return {};
  }

  std::string releaseFiles() {
    files_.clear();
    modules_.clear();
    return {};
  }

  std::string lock(std::istringstream& arguments) {
    DWORD milliseconds = 0;
    arguments >> milliseconds;
    const std::wstring name = rest(arguments);
    Handle mutex(CreateMutexW(nullptr, FALSE, name.c_str()));
    if (!mutex) failed();
    const std::string state = nameOfWait(WaitForSingleObject(mutex.get(), milliseconds));
    if (state != "taken") mutexes_[name] = std::move(mutex);
    return state;
  }

  std::string unlock(std::istringstream& arguments) {
    const auto found = mutexes_.find(rest(arguments));
    if (found == mutexes_.end()) throw std::invalid_argument("not held");
    if (!ReleaseMutex(found->second.get())) failed();
    mutexes_.erase(found);
    return {};
  }

  static std::string tryMutex(std::istringstream& arguments) {
    const Handle mutex(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, rest(arguments).c_str()));
    if (!mutex && GetLastError() == ERROR_FILE_NOT_FOUND) return "missing";
    if (!mutex) failed();
    const std::string state = nameOfWait(WaitForSingleObject(mutex.get(), 0));
    if (state != "taken") ReleaseMutex(mutex.get());
    return state;
  }

  std::vector<Handle> files_;
  std::vector<Module> modules_;
  std::map<std::wstring, Handle> mutexes_;
};

std::string answer(Second& second, const std::string& line) {
  std::istringstream arguments(line);
  std::string command;
  arguments >> command;
  try {
    return "ok " + second.obey(command, arguments);
  } catch (const std::system_error& error) {
    return "error " + std::to_string(error.code().value());
  } catch (const std::exception& error) {
    return std::string("error ") + error.what();
  }
}

}  // namespace

int main() {
  Second second;
  std::string line;
  while (std::getline(std::cin, line)) std::cout << answer(second, line) << std::endl;
  return 0;
}
