#include "support/HookedEntries.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace zuvia::test {
namespace {

HMODULE addReference(HMODULE module) {
  HMODULE referenced = nullptr;
  const auto address = reinterpret_cast<const wchar_t*>(module);
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, address, &referenced);
  return referenced;
}

}  // namespace

HookedEntries::HookedEntries(HMODULE module, const std::string& function, const std::string& library)
    : function_(function), imports_(findImports(module, function, library)) {
  if (imports_.empty()) throw std::runtime_error("The module does not import " + function);
  original_ = *imports_.front().entry;
  module_ = addReference(module);
}

HookedEntries::~HookedEntries() {
  FreeLibrary(module_);
}

void HookedEntries::replace(void* replacement) {
  replacement_ = replacement;
  for (const Import& import : imports_) exchangeEntry(import.entry, replacement);
}

bool HookedEntries::restore() {
  bool whole = true;
  for (const Import& import : imports_) {
    if (*import.entry == replacement_) {
      exchangeEntry(import.entry, original_);
    } else {
      whole = false;
    }
  }
  if (!whole) ADD_FAILURE() << "The hooks of " << function_ << " did not end in the reverse order of their making";
  return whole;
}

void* findFunction(const std::string& library, const std::string& function) {
  const HMODULE module = GetModuleHandleA(library.c_str());
  const FARPROC found = module == nullptr ? nullptr : GetProcAddress(module, function.c_str());
  if (found == nullptr) throw std::runtime_error("There is no " + function + " in " + library);
  return reinterpret_cast<void*>(found);
}

}  // namespace zuvia::test
