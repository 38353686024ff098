#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "support/ImportTable.h"

namespace zuvia::test {

// The entries of one imported function in one module, and what was in them before: the part of ImportHook
// that does not depend on the signature. The module stays loaded for as long as this lives.
class HookedEntries {
 public:
  // Throws std::runtime_error when the module does not import the function.
  HookedEntries(HMODULE module, const std::string& function, const std::string& library);
  ~HookedEntries();

  HookedEntries(const HookedEntries&) = delete;
  HookedEntries& operator=(const HookedEntries&) = delete;

  // The function that the entries lead to, or led to before replace().
  void* original() const { return original_; }

  // Makes every entry lead to replacement. Once at most.
  void replace(void* replacement);

  // Makes them lead to the original again. Returns false, and fails the test, when an entry was given another
  // value meanwhile: that value, which may lead back to the replacement, is left there.
  bool restore();

 private:
  HMODULE module_ = nullptr;
  std::string function_;
  std::vector<Import> imports_;
  void* original_ = nullptr;
  void* replacement_ = nullptr;
};

// Returns an export of a loaded library. Throws std::runtime_error when there is none of that name.
void* findFunction(const std::string& library, const std::string& function);

}  // namespace zuvia::test
