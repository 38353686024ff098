#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zuhost {

// A process that has loaded a module.
struct ModuleUser {
  uint32_t process;
  std::wstring program;  // its file name
};

// Which processes have loaded which modules, at the moment at which it is made. No file is opened.
// Processes that may not be looked into count as not having loaded anything.
class ModuleUsers {
 public:
  ModuleUsers();

  // path: whole, compared in any letter case.
  std::vector<ModuleUser> of(const std::wstring& path) const;

 private:
  struct Loaded {
    std::wstring path;
    ModuleUser by;
  };

  std::vector<Loaded> loaded_;
};

}  // namespace zuhost
