#pragma once

#include <windows.h>

#include <string>
#include <vector>

// The import address table of a loaded module: which functions of other modules it was linked to, and
// the pointers through which it calls them.

namespace zuvia::test {

struct Import {
  std::string library;     // as the module names it, for example "KERNEL32.dll"
  std::string function;    // "" when it is imported by ordinal
  WORD ordinal = 0;        // 0 when it is imported by name
  void** entry = nullptr;  // the pointer the module calls through; lives as long as the module
};

// Lists what a module imports, in the order of its table. Delay-loaded functions are not in it.
// module must be loaded, and stay so for as long as the entries are used. Any thread.
std::vector<Import> importsOf(HMODULE module);

// Returns the entries through which a module calls a function: those imported by that name, and those
// imported by ordinal that lead to the library's export of that name. library narrows it to one
// library, without regard to letter case; empty: whichever library the module names.
std::vector<Import> findImports(HMODULE module, const std::string& function, const std::string& library = {});

// Puts a value into an entry and returns the one before. The change is one atomic exchange, so other
// threads call either the old or the new function. Throws std::system_error when the page cannot be written.
void* exchangeEntry(void** entry, void* value);

}  // namespace zuvia::test
